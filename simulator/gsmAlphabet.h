// The characters of short messages (3GPP TS 23.038) as UTF-8. Pure: any thread.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace orvix::simulator {

// Septets packed eight to seven octets, lowest bits first: skips `first` of them and takes those up to `end`, both
// counted from the first octet. Octets that are missing read as zero.
std::string unpackSeptets(std::string_view octets, std::size_t first, std::size_t end);

// What text mode makes of a body's bytes, of which it knows the lower seven bits, one septet a byte: with AT+CSCS="GSM"
// they are septets, with "IRA" ASCII, of which some characters take two and those that the alphabet lacks become "?".
std::string septetsOfGsmText(std::string_view bytes);
std::string septetsOfIraText(std::string_view bytes);

// The default alphabet with its extension table, one septet a byte. A code that the extension table leaves open is
// shown as the default alphabet shows it, an escape after an escape as a blank.
std::string utf8OfGsm(std::string_view septets);

// Two octets a unit, high one first, with surrogate pairs as in UTF-16. Half a pair becomes U+FFFD, an odd octet at the
// end is dropped.
std::string utf8OfUcs2(std::string_view octets);

// Every byte as the character of that number, so that nothing is lost.
std::string utf8OfLatin1(std::string_view bytes);

}  // namespace orvix::simulator
