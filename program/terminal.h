// What a person sees: colours where they are wanted, times. One thread.
#pragma once

#include <iosfwd>
#include <string>

namespace orvix::program {

// Colours are used on terminals, unless NO_COLOR is set, TERM is "dumb" or this was called.
void switchColorOff();
// Whether standard output or standard error, as given, is a terminal.
bool isTerminal(const std::ostream& stream);

// The text for that stream, in the colour or plain.
std::string bold(const std::ostream& stream, const std::string& text);
std::string dim(const std::ostream& stream, const std::string& text);
std::string green(const std::ostream& stream, const std::string& text);
std::string yellow(const std::ostream& stream, const std::string& text);
std::string red(const std::ostream& stream, const std::string& text);

// Local time as "hh:mm:ss", with milliseconds "hh:mm:ss.mmm".
std::string timeOfDay(bool withMilliseconds = false);

}  // namespace orvix::program
