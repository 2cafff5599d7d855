#include "simulator/smsSubmit.h"

#include <algorithm>

#include "common/printable.h"
#include "simulator/gsmAlphabet.h"

namespace orvix::simulator {
namespace {

// 3GPP TS 23.040, 9.2.2.2 (SMS-SUBMIT) and 9.1.2.5 (addresses).
constexpr unsigned kSubmit = 1;            // message type in the lowest two bits of the first octet
constexpr unsigned kHeaderPresent = 0x40;  // also in the first octet
constexpr unsigned kInternational = 0x91;  // type of number
constexpr std::size_t kMaxDigits = 20;     // of an address
constexpr std::size_t kMaxUserDataOctets = 140;

enum class Alphabet { kSeptets, kOctets, kUcs2, kCompressed };

// Takes fields from the front; once one is missing, good() stays false and every later field is empty.
class Fields {
 public:
  explicit Fields(std::string_view octets) : rest(octets) {}

  std::string_view take(std::size_t count) {
    complete = complete && count <= rest.size();
    const std::string_view field = rest.substr(0, complete ? count : 0);
    rest.remove_prefix(field.size());
    return field;
  }

  unsigned octet() {
    const std::string_view field = take(1);
    return field.empty() ? 0 : static_cast<unsigned char>(field.front());
  }

  std::size_t left() const { return rest.size(); }
  bool good() const { return complete; }

 private:
  std::string_view rest;
  bool complete = true;
};

// Semi-octets, low half first; a fill after an odd count. Empty when there is something else than digits.
std::string digitsOf(std::string_view octets, std::size_t count) {
  constexpr std::string_view kDigits = "0123456789*#abc";
  std::string digits;
  for (std::size_t i = 0; i < count; ++i) {
    const unsigned pair = static_cast<unsigned char>(octets[i / 2]);
    const unsigned digit = i % 2 == 0 ? pair & 0xF : pair >> 4;
    if (digit >= kDigits.size()) {
      return {};
    }
    digits += kDigits[digit];
  }
  return digits;
}

std::string takeNumber(Fields* fields) {
  // The length counts digits, two of which share an octet.
  const std::size_t count = fields->octet();
  const unsigned type = fields->octet();
  const std::string_view octets = fields->take((count + 1) / 2);
  if (!fields->good() || count > kMaxDigits || (type & 0x70) == 0x50) {
    return {};  // too long, or a name in letters, which cannot be called
  }
  const std::string digits = digitsOf(octets, count);
  return (type == kInternational && !digits.empty() ? "+" : "") + digits;
}

// 3GPP TS 23.038, 4: groups 00xx and 01xx are general, 1110 is UCS2, 1111 data and class; reserved codings are to be
// read as the default alphabet.
Alphabet alphabetOf(unsigned coding) {
  constexpr Alphabet kAlphabets[] = {Alphabet::kSeptets, Alphabet::kOctets, Alphabet::kUcs2, Alphabet::kSeptets};
  const unsigned group = coding >> 4;
  if (group < 8) {
    return group & 2 ? Alphabet::kCompressed : kAlphabets[coding >> 2 & 3];
  }
  if (group == 0xF) {
    return coding & 4 ? Alphabet::kOctets : Alphabet::kSeptets;
  }
  return group == 0xE ? Alphabet::kUcs2 : Alphabet::kSeptets;
}

std::size_t octetsOfValidity(unsigned firstOctet) {
  // No validity period, enhanced, relative, absolute (bits 3 and 4).
  constexpr std::size_t kOctets[] = {0, 7, 1, 7};
  return kOctets[firstOctet >> 3 & 3];
}

// The length counts septets or octets, header included.
std::optional<std::string> textOf(std::string_view data, std::size_t length, Alphabet alphabet, bool hasHeader) {
  const std::size_t header = hasHeader && !data.empty() ? static_cast<unsigned char>(data.front()) + 1u : 0;
  if (header > data.size()) {
    return std::nullopt;
  }
  switch (alphabet) {
    case Alphabet::kSeptets:
      // After the header the text begins at the next border of septets.
      return utf8OfGsm(unpackSeptets(data, (header * 8 + 6) / 7, length));
    case Alphabet::kOctets:
      return utf8OfLatin1(data.substr(header));
    case Alphabet::kUcs2:
      return utf8OfUcs2(data.substr(header));
    case Alphabet::kCompressed:
      break;
  }
  return std::nullopt;
}

std::optional<SmsSubmit> decode(Fields fields) {
  const unsigned first = fields.octet();
  fields.octet();  // the message reference, which the modem chooses
  const std::string number = takeNumber(&fields);
  fields.octet();  // the protocol
  const Alphabet alphabet = alphabetOf(fields.octet());
  fields.take(octetsOfValidity(first));
  const std::size_t length = fields.octet();
  // Septets are counted, octets are sent.
  const std::size_t octets = alphabet == Alphabet::kSeptets ? (length * 7 + 7) / 8 : length;
  const std::string_view data = fields.take(octets);
  if (!fields.good() || fields.left() != 0 || (first & 3) != kSubmit || number.empty() || octets > kMaxUserDataOctets) {
    return std::nullopt;
  }
  const std::optional<std::string> text = textOf(data, length, alphabet, (first & kHeaderPresent) != 0);
  return text ? std::optional<SmsSubmit>({number, *text}) : std::nullopt;
}

}  // namespace

std::optional<SmsSubmit> decodeSubmit(std::string_view hex, std::size_t announcedOctets) {
  const std::optional<std::string> octets = bytesOfHex(hex);
  if (!octets) {
    return std::nullopt;
  }
  Fields fields(*octets);
  // Not a part of the PDU, and so not of the length that AT+CMGS announced (3GPP TS 27.005, 4.3).
  fields.take(fields.octet());  // the service centre's address
  if (!fields.good() || fields.left() != announcedOctets) {
    return std::nullopt;
  }
  return decode(fields);
}

}  // namespace orvix::simulator
