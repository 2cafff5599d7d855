#include "tests/world/scriptedModem.h"

#include <algorithm>
#include <utility>

namespace world {

ScriptedModem::ScriptedModem(std::vector<Exchange> exchanges) : script(std::move(exchanges)) {
  VirtualClock::instance().listener = this;
}

ScriptedModem::~ScriptedModem() {
  VirtualClock::instance().listener = nullptr;
}

// The product writes a command in one piece right before it sleeps, so what has arrived by then is one command.
void ScriptedModem::beforeSleep(std::int64_t nowMs) {
  const std::string bytes = line.receive();
  if (bytes.empty()) {
    return;
  }
  received.push_back(bytes);
  if (isWaitingForText) {
    takeText(bytes, nowMs);
  } else {
    schedule(bytes, nowMs);
  }
}

void ScriptedModem::takeText(const std::string& bytes, std::int64_t nowMs) {
  const std::size_t end = bytes.find_first_of("\x1a\x1b");
  const std::string echo = bytes.substr(0, end);
  text += echo;
  due.push_back({nowMs, echo});
  if (end == std::string::npos) {
    return;
  }
  isWaitingForText = false;
  const std::string ended = std::exchange(text, "") + bytes.substr(end);
  if (bytes[end] == '\x1a') {
    schedule(ended, nowMs);
  } else {
    due.push_back({nowMs, "\r\nOK\r\n"});
  }
}

void ScriptedModem::schedule(const std::string& command, std::int64_t nowMs) {
  const auto row = std::find_if(script.begin(), script.end(), [&](const Exchange& e) { return e.command == command; });
  if (row == script.end()) {
    due.push_back({nowMs, "\r\nERROR\r\n"});
  } else if (row->hangUp) {
    line.hangUp();
  } else {
    const bool isMessage = command.rfind("AT+CMGS=", 0) == 0;
    const auto add = [&](std::int64_t afterMs, const std::string& piece, const std::function<void()>& act) {
      due.push_back({nowMs + afterMs, piece, act, isMessage && piece.find('>') != std::string::npos});
    };
    add(row->delayMs, row->reply, {});
    for (const Piece& piece : row->pieces) {
      add(piece.atMs, piece.text, piece.act);
    }
  }
}

void ScriptedModem::afterSleep(std::int64_t nowMs) {
  std::vector<Piece> later;
  for (const Piece& piece : due) {
    if (piece.atMs > nowMs) {
      later.push_back(piece);
      continue;
    }
    if (!piece.text.empty()) {
      line.send(piece.text);
    }
    if (piece.isPrompt) {
      isWaitingForText = true;
      text.clear();
    }
    if (piece.act) {
      piece.act();
    }
  }
  due = later;
}

std::vector<Exchange> healthyModem() {
  return {
      {"AT+CMGF?\r", "\r\n+CMGF: 0\r\n\r\nOK\r\n"},   {"AT+CSQ\r", "\r\n+CSQ: 20,99\r\n\r\nOK\r\n"},
      {"AT+CREG?\r", "\r\n+CREG: 0,1\r\n\r\nOK\r\n"}, {"AT+CMGF=1\r", "\r\nOK\r\n"},
      {"AT+CMGS=\"0123456789\"\r", "\r\n> "},         {"hi\x1a\r\n\r", "\r\n+CMGS: 12\r\n\r\nOK\r\n"},
  };
}

std::vector<Exchange> healthyModemBut(std::vector<Exchange> rows) {
  const std::vector<Exchange> rest = healthyModem();
  rows.insert(rows.end(), rest.begin(), rest.end());
  return rows;
}

}  // namespace world
