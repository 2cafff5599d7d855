#include "host/answerText.h"

#include <algorithm>
#include <optional>

#include "common/printable.h"
#include "hostkit/modemErrors.h"
#include "hostkit/resultLine.h"

namespace orvix::host {
namespace {

// The last error result among the lines, with its meaning; "" when there is none.
std::string errorIn(const std::string& received) {
  std::string text;
  for (const std::string& line : hostkit::linesOf(received)) {
    const std::optional<hostkit::ResultLine> result = hostkit::resultOf(line);
    if (result && hostkit::isError(*result)) {
      text = hostkit::explained(result->text);
    }
  }
  return text;
}

// Whether what came back is what was sent, and nothing else.
bool isEcho(const std::string& sent, const std::string& received) {
  const std::vector<std::string> commands = hostkit::linesOf(sent);
  // An echo need not have come to its line end yet.
  const std::vector<std::string> lines = hostkit::linesOf(received + "\r");
  return !lines.empty() && std::all_of(lines.begin(), lines.end(), [&](const std::string& line) {
    return std::find(commands.begin(), commands.end(), line) != commands.end();
  });
}

}  // namespace

std::string answerText(const std::string& line, const std::vector<hostkit::TrafficPiece>& traffic) {
  const std::string sent = hostkit::bytesOf(traffic, kXplTraceSent);
  const std::string received = hostkit::bytesOf(traffic, kXplTraceReceived);
  // From the line outwards: what could not leave needs no explanation of its answer.
  if (sent.empty()) {
    return "nothing could be written to " + line + ": the line is full or dead; is the modem powered?";
  }
  if (received.empty()) {
    return "no modem answers on " + line + "; is it powered, is the speed right? Try gsm-host doctor";
  }
  if (const std::string error = errorIn(received); !error.empty()) {
    return "the modem on " + line + " answers " + error;
  }
  // A modem at its prompt takes commands for text: it echoes, and gives no result.
  if (isEcho(sent, received)) {
    return "the modem on " + line +
           " echoes and does not answer: it may be waiting for the text of a message; gsm-host doctor heals that";
  }
  return "what came back on " + line + " is no answer: \"" + escaped(received.substr(0, kShownBytes)) +
         "\"; another port of the modem, or another speed? Try gsm-host doctor";
}

}  // namespace orvix::host
