// Bytes as text that can be shown, and back. One home for it, so that all programs show the same bytes alike. Pure
// functions; any thread.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace orvix {

// For logs, recordings and complaints about single bytes: printable ASCII as it is, CR, LF and backslash as \r, \n and
// \\, every other byte as \xNN. The result is ASCII, whatever the locale, and never holds a line feed.
// Up to four characters a byte. Not to be applied twice: the backslashes would double.
std::string escaped(std::string_view bytes);

// For a person's terminal: UTF-8 as it is, but each byte that could steer the terminal or hide text as \xNN. These are
// the C0 controls except line feed and tab, DEL, C1 (U+0080 to U+009F), the controls of writing direction (U+061C,
// U+200E, U+200F, U+202A to U+202E, U+2066 to U+2069) and whatever is not UTF-8. A backslash stays a single one.
std::string shown(std::string_view text);

// Two hexadecimal digits a byte, in lower case.
// Nothing stands between the bytes, so that bytesOfHex takes it back.
std::string hexText(std::string_view bytes);

// Takes digits of either case; none for an odd number of them and for anything else.
// Without blanks, colons or a leading "0x".
std::optional<std::string> bytesOfHex(std::string_view digits);

}  // namespace orvix
