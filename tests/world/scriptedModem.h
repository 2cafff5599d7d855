// A modem that is data: command and answer by line. One thread, on the virtual clock.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "tests/world/ptyPair.h"
#include "tests/world/virtualClock.h"

namespace world {

struct Piece {
  std::int64_t atMs;
  std::string text;                // may be empty
  std::function<void()> act = {};  // done behind it
  bool isPrompt = false;           // what comes after it is a message's text
};

struct Exchange {
  std::string command;             // exactly what arrives on the line
  std::string reply;               // written when due
  int delayMs = 10;                // counted from the moment the command was sent
  bool hangUp = false;             // the line goes dead instead of an answer
  std::vector<Piece> pieces = {};  // whatever else comes, counted likewise, in order
};

// Answers each arriving command with the first row that names it; a command without a row gets "\r\nERROR\r\n".
// Once the answer to AT+CMGS has held a prompt, what comes is text, whatever it says, and is echoed: until Ctrl-Z, with
// which it is looked up like a command, or Escape, which drops it and is answered with OK.
class ScriptedModem final : public ClockListener {
 public:
  explicit ScriptedModem(std::vector<Exchange> exchanges);
  ~ScriptedModem();

  std::vector<Exchange> script;
  // Every command and text as it arrived.
  std::vector<std::string> received;
  bool isWaitingForText = false;
  PtyPair line;

  void beforeSleep(std::int64_t nowMs) override;
  void afterSleep(std::int64_t nowMs) override;

 private:
  void schedule(const std::string& command, std::int64_t nowMs);
  void takeText(const std::string& bytes, std::int64_t nowMs);

  std::string text;        // so far, while it is waited for
  std::vector<Piece> due;  // by the clock
};

// The rows of a modem that answers everything this plug-in asks.
std::vector<Exchange> healthyModem();
// The same with the given rows in front of them, so that these win.
std::vector<Exchange> healthyModemBut(std::vector<Exchange> rows);

}  // namespace world
