// Reading a modem's reply: text in, value out. Pure functions; any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace orvix::gsm {

// The first parameter of a "+CSQ: " answer: the text up to the reply's first comma, or two characters when there is no
// comma. The comma is searched from the start of the reply, so one in front of the answer makes the value reach to the
// end; hosts rely on it. Nothing when the reply holds no such answer.
std::optional<std::string> signalText(const std::string& reply);

// Whether the reply holds a "+CREG: " answer, and its second parameter, one character or none; the first parameter is
// taken to be one character wide. The text is for replies that hold an answer; it throws std::out_of_range when fewer
// than two characters follow.
bool hasRegistration(const std::string& reply);
std::string registrationText(const std::string& reply);

// The number a value text begins with: decimal, leading blanks allowed, limited to 32 bits; 0 when there is none.
std::int32_t numberOf(const std::string& text);

// From "ERROR: " to the end, without any character that is not printable; nothing when the reply holds no error text.
std::optional<std::string> errorText(const std::string& reply);

}  // namespace orvix::gsm
