#include "host/progress.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <iostream>
#include <string_view>

#include "program/stopSignals.h"
#include "program/terminal.h"

namespace orvix::host {
namespace {

// The step that a command begins.
std::string stepOf(std::string_view command) {
  struct Step {
    std::string_view command;
    const char* text;
  };
  static constexpr Step kSteps[] = {
      {"AT+CMGF?", "asking whether a modem is there"},
      {"AT+CMGF=1", "choosing text mode"},
      {"AT+CMGS=", "giving the number"},
      {"AT+CSQ", "asking for the signal"},
      {"AT+CREG?", "asking for the registration"},
      {"\x1b", "bringing the modem back from its prompt"},
      {"AT\r", "asking whether it is back"},
  };
  for (const Step& step : kSteps) {
    if (command.substr(0, step.command.size()) == step.command) {
      return step.text;
    }
  }
  // Whatever is no command is the message itself.
  return "handing over the text, waiting for the network";
}

// As many whole words as the terminal's line has room for: a line that wraps could not be wiped.
std::string cutToTerminal(std::string text) {
  winsize size{};
  // A column is left free: a cursor after the last one would wrap.
  const std::size_t width = ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 1 ? size.ws_col - 1U : 79U;
  if (text.size() > width) {
    const std::size_t end = text.rfind(' ', width);
    text.resize(end == std::string::npos ? width : end);
  }
  return text;
}

}  // namespace

Progress::Progress(bool isWanted) {
  // In a pipe or a log a line that is drawn again and again would be noise.
  if (isWanted && program::isTerminal(std::cerr)) {
    painter = std::thread([this] { redraw(); });
  }
}

void Progress::finish() {
  {
    const std::lock_guard<std::mutex> guard(lock);
    isDone = true;
  }
  wake.notify_one();
  if (painter.joinable()) {
    painter.join();
  }
}

void Progress::onTraffic(const hostkit::TrafficPiece& piece) {
  if (piece.kind == kXplTraceSent) {
    say(stepOf(piece.bytes));
  }
}

void Progress::say(const std::string& text) {
  const std::lock_guard<std::mutex> guard(lock);
  step = text;
}

void Progress::redraw() {
  using namespace std::chrono;
  const auto begin = steady_clock::now();
  std::unique_lock<std::mutex> guard(lock);
  do {
    char seconds[24];
    std::snprintf(seconds, sizeof seconds, "  %4.1f s  ", duration<double>(steady_clock::now() - begin).count());
    // A stop cannot break a dialogue off; said, so that nobody presses Ctrl-C twice.
    const std::string text = seconds + step + (program::isStopWished() ? "; ending when that is through" : "");
    std::fprintf(stderr, "\r\x1b[K%s", cutToTerminal(text).c_str());
  } while (!wake.wait_for(guard, milliseconds(100), [this] { return isDone; }));
  std::fputs("\r\x1b[K", stderr);
}

}  // namespace orvix::host
