#include "program/terminal.h"

#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <iostream>
#include <string_view>

namespace orvix::program {
namespace {

std::string_view environment(const char* name) {
  const char* const value = std::getenv(name);
  return value != nullptr ? value : "";
}

bool isSwitchedOff = false;

// NO_COLOR counts when it is not empty (no-color.org).
bool isPainting(const std::ostream& stream) {
  return !isSwitchedOff && isTerminal(stream) && environment("NO_COLOR").empty() && environment("TERM") != "dumb";
}

// Select Graphic Rendition (ECMA-48), switched off again after the text.
std::string painted(const std::ostream& stream, const char* code, const std::string& text) {
  return isPainting(stream) ? std::string("\x1b[") + code + "m" + text + "\x1b[0m" : text;
}

}  // namespace

void switchColorOff() {
  isSwitchedOff = true;
}

bool isTerminal(const std::ostream& stream) {
  // A stream does not tell its descriptor.
  return isatty(&stream == &std::cout ? STDOUT_FILENO : STDERR_FILENO) != 0;
}

std::string bold(const std::ostream& stream, const std::string& text) {
  return painted(stream, "1", text);
}

std::string dim(const std::ostream& stream, const std::string& text) {
  return painted(stream, "2", text);
}

std::string green(const std::ostream& stream, const std::string& text) {
  return painted(stream, "32", text);
}

std::string yellow(const std::ostream& stream, const std::string& text) {
  return painted(stream, "33", text);
}

std::string red(const std::ostream& stream, const std::string& text) {
  return painted(stream, "31", text);
}

std::string timeOfDay(bool withMilliseconds) {
  using namespace std::chrono;
  const auto now = system_clock::now();
  const std::time_t seconds = system_clock::to_time_t(now);
  tzset();  // localtime_r looks for the zone only once
  std::tm local{};
  localtime_r(&seconds, &local);
  char text[48];
  std::strftime(text, sizeof text, "%H:%M:%S", &local);
  if (!withMilliseconds) {
    return text;
  }
  char milliseconds[8];
  std::snprintf(milliseconds, sizeof milliseconds, ".%03d",
                static_cast<int>(duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() % 1000));
  return std::string(text) + milliseconds;
}

}  // namespace orvix::program
