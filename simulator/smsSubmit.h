// The message that a client submits in PDU mode (SMS-SUBMIT of 3GPP TS 23.040). Pure: any thread.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace orvix::simulator {

// What a submitted message says, decoded.
struct SmsSubmit {
  std::string number;  // with a leading + when international
  std::string text;    // UTF-8, without the user data header; 8-bit data as Latin-1
};

// Decodes what stands between the prompt and Ctrl-Z: the service centre's address, then a PDU of as many octets as
// AT+CMGS announced, all in hexadecimal. None when the length differs, the PDU is not a whole SMS-SUBMIT, the number is
// not made of digits or the text is compressed.
// Digits of either case. What it says of validity, protocol and reports is passed over.
std::optional<SmsSubmit> decodeSubmit(std::string_view hex, std::size_t announcedOctets);

}  // namespace orvix::simulator
