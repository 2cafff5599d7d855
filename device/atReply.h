// Reading a modem's reply: text in, value out. Pure functions; any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace orvix::gsm {

// The csq parameter of a "+CSQ: " answer, signal strength: the text up to the reply's first comma, or two characters
// when there is no comma. The comma is searched from the start of the reply, so one in front of the answer makes the
// value reach to the end; hosts rely on it. Nothing when the reply holds no such answer.
std::optional<std::string> findCsq(const std::string& reply);

// Where the stat parameter of a "+CREG: " answer stands, one character or none; the parameter before it is taken to be
// one character wide. Beyond the end of a reply that breaks off before it. Nothing when the reply holds no such answer.
std::optional<std::size_t> findCregStat(const std::string& reply);

// The number a value text begins with: decimal, leading blanks allowed, limited to 32 bits; 0 when there is none.
std::int32_t numberOf(const std::string& text);

// From "ERROR: " to the end, without any character that is not printable; nothing when the reply holds no error text.
std::optional<std::string> errorText(const std::string& reply);

}  // namespace orvix::gsm
