#include "host/progress.h"

#include <cstdio>
#include <iostream>

#include "program/terminal.h"

namespace orvix::host {

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
  };
  for (const Step& step : kSteps) {
    if (command.substr(0, step.command.size()) == step.command) {
      return step.text;
    }
  }
  return "handing over the text, waiting for the network";
}

Progress::Progress(bool isWanted) {
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

void Progress::onTraffic(XplTraceKind kind, std::string_view bytes) {
  if (kind == kXplTraceSent) {
    const std::lock_guard<std::mutex> guard(lock);
    step = stepOf(bytes);
  }
}

void Progress::redraw() {
  using namespace std::chrono;
  const auto begin = steady_clock::now();
  std::unique_lock<std::mutex> guard(lock);
  do {
    const double seconds = duration<double>(steady_clock::now() - begin).count();
    std::fprintf(stderr, "\r\x1b[K\x1b[?7l  %4.1f s  %s\x1b[?7h", seconds, step.c_str());  // never wrapped
  } while (!wake.wait_for(guard, milliseconds(100), [this] { return isDone; }));
  std::fputs("\r\x1b[K", stderr);
}

}  // namespace orvix::host
