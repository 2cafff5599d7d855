#include "gateway/client/view.h"

#include <algorithm>

#include "common/isoTime.h"
#include "common/printable.h"

namespace orvix::gateway::client {
namespace {

using nlohmann::json;
using Rows = std::vector<std::vector<std::string>>;

// Characters, each taken for one column.
std::size_t width(const std::string& text) {
  return static_cast<std::size_t>(std::count_if(
      text.begin(), text.end(), [](char byte) { return (static_cast<unsigned char>(byte) & 0xC0) != 0x80; }));
}

std::vector<std::size_t> widths(const Rows& rows) {
  std::vector<std::size_t> widest;
  for (const auto& row : rows) {
    widest.resize(std::max(widest.size(), row.size()));
    for (std::size_t i = 0; i < row.size(); ++i) {
      widest[i] = std::max(widest[i], width(row[i]));
    }
  }
  return widest;
}

Rows fieldsOf(const json& message) {
  Rows rows;
  for (const char* const key : {"id", "state", "reason", "to", "text", "priority", "modem", "reference", "code"}) {
    rows.push_back({key, cell(message.at(key))});
  }
  for (const char* const key : {"accepted", "due", "expires", "ended"}) {
    rows.push_back({key, timeCell(message.at(key))});
  }
  return rows;
}

std::string signalOf(const json& report) {
  if (report.is_null() || report.at("dBm").is_null()) {
    return "-";
  }
  return cell(report.at("dBm")) + " dBm";
}

// What a modem sends is told first, then why it is not ready, then what it does by itself.
Rows modemRows(const json& modems) {
  Rows rows = {{"MODEM", "STATE", "SIGNAL", "REGISTRATION", "LINE", "DOING"}};
  for (const json& modem : modems) {
    const json& report = modem.at("report");
    const std::string doing = modem.at("sending").is_null()
                                  ? cell(modem.at(modem.at("reason").is_null() ? "doing" : "reason"))
                                  : "sending " + cell(modem.at("sending"));
    rows.push_back({cell(modem.at("name")), cell(modem.at("state")), signalOf(report),
                    report.is_null() ? "-" : cell(report.at("registration")), cell(modem.at("line")), doing});
  }
  return rows;
}

std::string queueLine(const json& queue) {
  std::string line = cell(queue.at("queued")) + " queued, " + cell(queue.at("attempting")) + " attempting, " +
                     cell(queue.at("uncertain")) + " uncertain";
  if (!queue.at("oldestSeconds").is_null()) {
    line += ", the oldest queued " + cell(queue.at("oldestSeconds")) + " s old";
  }
  return line + "\n";
}

}  // namespace

std::string cell(const json& value) {
  if (value.is_null()) {
    return "-";
  }
  // Texts and reasons may hold anything: what would break a row or steer the terminal is made harmless.
  std::string text = shown(value.is_string() ? value.get<std::string>() : value.dump());
  std::replace_if(
      text.begin(), text.end(), [](char character) { return character == '\n' || character == '\t'; }, ' ');
  return text;
}

std::string timeCell(const json& value) {
  // "2026-03-01T09:30:05+01:00" cut after the seconds, with a blank for the T.
  constexpr std::size_t kDate = 10;
  constexpr std::size_t kDateAndTime = 19;
  const auto timeMs = value.is_string() ? msOfRfc3339(value.get<std::string>()) : std::nullopt;
  if (!timeMs) {
    return cell(value);
  }
  return isoTime(static_cast<std::time_t>(*timeMs / 1000)).substr(0, kDateAndTime).replace(kDate, 1, " ");
}

std::string table(const Rows& rows) {
  const std::vector<std::size_t> columns = widths(rows);
  std::string text;
  for (const auto& row : rows) {
    for (std::size_t i = 0; i < row.size(); ++i) {
      // The last column ends the line, so that nothing is padded after it.
      const std::size_t padding = i + 1 == row.size() ? 0 : columns[i] - width(row[i]) + 2;
      text += row[i] + std::string(padding, ' ');
    }
    text += '\n';
  }
  return text;
}

std::string messagesView(const json& list) {
  Rows rows = {{"ID", "STATE", "TO", "ACCEPTED", "TEXT"}};
  for (const json& message : list.at("messages")) {
    const std::string reason = message.at("reason").is_null() ? "" : " (" + cell(message.at("reason")) + ")";
    // The reason after the state, not in a column of its own: most messages have none.
    rows.push_back({cell(message.at("id")), cell(message.at("state")) + reason, cell(message.at("to")),
                    timeCell(message.at("accepted")), cell(message.at("text"))});
  }
  return table(rows);
}

std::string messageView(const json& message) {
  Rows attempts = {{"ATTEMPT", "MODEM", "STARTED", "ENDED", "VERDICT", "REFERENCE", "CODE", "REASON"}};
  for (const json& attempt : message.at("attempts")) {
    attempts.push_back({cell(attempt.at("number")), cell(attempt.at("modem")), timeCell(attempt.at("started")),
                        timeCell(attempt.at("ended")), cell(attempt.at("verdict")), cell(attempt.at("reference")),
                        cell(attempt.at("code")), cell(attempt.at("reason"))});
  }
  return table(fieldsOf(message)) + (attempts.size() > 1 ? "\n" + table(attempts) : "");
}

std::string statusView(const json& status) {
  std::string text;
  for (const json& reason : status.at("reasons")) {
    // First, for that is what somebody who asks has to see.
    text += "TROUBLE: " + cell(reason) + "\n";
  }
  Rows doors = {{"DOOR", "STATE", "ADDRESS"}};
  for (const json& door : status.at("doors")) {
    doors.push_back({cell(door.at("name")), cell(door.at("state")), cell(door.at("address"))});
  }
  return text + table(modemRows(status.at("modems"))) + "\n" + queueLine(status.at("queue")) + "\n" + table(doors);
}

}  // namespace orvix::gateway::client
