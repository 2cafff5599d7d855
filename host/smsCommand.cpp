#include <iostream>
#include <iterator>

#include "document/document.h"
#include "host/commands.h"
#include "host/deviceSession.h"
#include "host/exitCode.h"
#include "host/modemErrors.h"
#include "host/progress.h"
#include "program/terminal.h"

namespace orvix::host {
namespace {

void checkPhone(const Options& options) {
  const bool looksRight =
      !options.phone.empty() && options.phone.find_first_not_of("+0123456789*#") == std::string::npos;
  if (!looksRight && !options.force) {
    throw Failure(kUsage, "\"" + options.phone + "\" is no phone number: digits, +, * and # alone, for example " +
                              "+491701234567 (--force sends it as it is)");
  }
}

std::string textOf(const Options& options) {
  if (options.text != "-") {
    return options.text;
  }
  std::string text{std::istreambuf_iterator<char>(std::cin), {}};
  if (!text.empty() && text.back() == '\n') {
    text.pop_back();  // a pipe's last line end is not meant
  }
  return text;
}

void checkText(const std::string& text, const Options& options) {
  if (text.empty()) {
    throw Failure(kUsage, "the text is empty");
  }
  if (text.find('\0') != std::string::npos) {
    throw Failure(kUsage, "the text holds a NUL byte, where it would be cut off");
  }
  if (text.find_first_of("\x1a\x1b") != std::string::npos && !options.force) {
    throw Failure(kUsage, "the text holds Ctrl-Z or Escape, which end it at the modem (--force sends it as it is)");
  }
}

}  // namespace

void sendMessage(const Options& options) {
  checkPhone(options);
  const std::string text = textOf(options);
  checkText(text, options);
  BSONBuilder message;
  message.appendString("phone", options.phone);
  message.appendString("text", text);
  const BSONObject params = message.getObject(false);
  Progress progress(!options.trace && !options.hex && options.verbosity == 0);
  DeviceSession session(options, Telling::kNothing, &progress);
  session.startReady();
  BSONObject answer;
  const Status sent = session.device().IoControl("sendSMS", &params, &answer);
  progress.finish();
  if (options.json && !answer.isEmpty()) {
    std::cout << answer.toJSON() << std::endl;
  }
  if (!sent.isOk()) {
    throw Failure(kModem, "the message was not sent: " + explained(sent.toString()));
  }
  if (!options.json) {
    std::cout << program::green(std::cout, "Sent") << " to " << options.phone << ": the modem answered "
              << answer.getString("TransmissionResult", "") << std::endl;
  }
}

}  // namespace orvix::host
