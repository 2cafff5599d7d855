// Status and the small conversions of text and time.

#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <limits>
#include <string>
#include <tuple>
#include <utility>

#include "common/isoTime.h"
#include "common/printable.h"
#include "common/status.h"
#include "common/text.h"

using orvix::Status;

TEST(StatusTest, CodesHaveTheirFactoriesAndPrefixes) {
  using FromChars = Status (*)(const char*, const char*);
  using FromStrings = Status (*)(const std::string&, const std::string&);
  const std::tuple<unsigned, FromChars, FromStrings, std::string> rows[] = {
      {1, Status::okWithMessage, Status::okWithMessage, "OK: "},
      {2, Status::aborted, Status::aborted, "Aborted: "},
      {3, Status::accessDenied, Status::accessDenied, "Access denied: "},
      {4, Status::failed, Status::failed, "Failed: "},
      {5, Status::invalidArgument, Status::invalidArgument, "Invalid argument: "},
      {6, Status::invalidHandle, Status::invalidHandle, "Invalid handle: "},
      {7, Status::invalidPointer, Status::invalidPointer, "Invalid pointer: "},
      {8, Status::noInterface, Status::noInterface, "No interface: "},
      {9, Status::notImplemented, Status::notImplemented, "Not implemented: "},
      {10, Status::outOfMemory, Status::outOfMemory, "Out of memory: "},
      {11, Status::pendingOperation, Status::pendingOperation, "Pending operation: "},
      {12, Status::unexpected, Status::unexpected, "Unexpected: "},
      {13, Status::forbidden, Status::forbidden, "Forbidden: "}};
  for (const auto& [code, chars, strings, prefix] : rows) {
    SCOPED_TRACE(code);
    for (const Status& bare : {chars("text", nullptr), chars("text", ""), strings("text", "")}) {
      EXPECT_EQ(bare.code(), code);
      EXPECT_TRUE(bare.isOk() == (code == 1) && static_cast<bool>(bare) == (code == 1));
      EXPECT_EQ(bare.toString(), prefix + "text");
    }
    EXPECT_EQ(chars("", "why").toString(), prefix + ": why");
    EXPECT_EQ(strings("text", "why").toString(), prefix + "text: why");
  }
  EXPECT_EQ(Status(Status::eCode{14}, "text", nullptr).toString(), "Unknown code(0xe): text");
  const Status highest(Status::eCode{255}, "text", "why");
  EXPECT_EQ(highest.toString(), "Unknown code(0xff): text: why");
  EXPECT_TRUE(highest.code() == 255 && !highest.isOk());
}

TEST(StatusTest, CopiesAreIndependentAndSuccessIsBare) {
  Status copy;
  EXPECT_TRUE(copy.isOk() && copy.code() == Status::kOk);
  {
    const Status failed = Status::failed("text", "why");
    copy = failed;
    EXPECT_EQ(Status(failed).toString() + failed.toString(), "Failed: text: whyFailed: text: why");
  }
  const Status& itself = copy;
  copy = itself;
  EXPECT_EQ(copy.toString(), "Failed: text: why");
  copy = Status::aborted("other");
  EXPECT_EQ(copy.toString(), "Aborted: other");
  copy = Status();
  EXPECT_EQ(copy.toString() + Status(copy).toString(), "OKOK");
}

TEST(StatusTest, TextIsCutAtItsLengthField) {
  constexpr std::size_t kLongest = 65535;
  const std::tuple<std::size_t, std::size_t, std::string> rows[] = {
      {kLongest + 1, 5, std::string(kLongest, 'm')},
      {kLongest - 1, 5, std::string(kLongest - 1, 'm') + ":"},
      {kLongest - 5, 3, std::string(kLongest - 5, 'm') + ": ddd"},
      {1, 200000, "m: " + std::string(kLongest - 3, 'd')}};
  for (const auto& [message, detail, expected] : rows) {
    const Status status = Status::failed(std::string(message, 'm'), std::string(detail, 'd'));
    EXPECT_TRUE(Status(status).toString() == "Failed: " + expected) << message << " + " << detail;
  }
}

TEST(StatusDeathTest, SuccessWithATextAndANullMessageAbort) {
  EXPECT_DEATH(Status(Status::kOk, "text", nullptr),
               "app/common/status:57: void orvix::Status::initState\\(orvix::Status::eCode, const char\\*, size_t, "
               "const char\\*, size_t\\): Assertion `kOk != code' failed\\.");
  const char* const none = nullptr;
  const std::string message =
      "app/common/status:96: orvix::Status::Status\\(orvix::Status::eCode, const char\\*, const char\\*\\): "
      "Assertion `nullptr != pszMsg' failed\\.";
  EXPECT_DEATH(Status::failed(none, "why"), message);  // cppcheck-suppress nullPointer
  EXPECT_DEATH(Status(Status::kOk, nullptr, nullptr), message) << "the message is looked at first";
}

TEST(TextTest, CaseNumberAndTime) {
  EXPECT_EQ(orvix::toUpper(std::string("aZ0-\xE4\0b", 7)), std::string("AZ0-\xE4\0B", 7));
  EXPECT_EQ(orvix::toLower("aZ0-\xC4"), "az0-\xC4");
  EXPECT_EQ(orvix::intToText(INT_MIN, 10) + orvix::intToText(-1, 16), "-2147483648ffffffff");
  EXPECT_EQ(orvix::intToText(INT_MIN, 2), "1" + std::string(31, '0'));
  EXPECT_EQ(orvix::intToText(35, 36) + orvix::intToText(5, 1) + orvix::intToText(5, 37), "z");
  for (const auto& [zone, text] : {std::pair("WEST3", "07.03.2005 04:05"), {"EAST-2", "07.03.2005 09:05"}}) {
    setenv("TZ", zone, 1);
    EXPECT_EQ(orvix::localTimeText(1110179104), text) << "the zone may change while the process runs";
  }
  if (sizeof(std::time_t) > 4) {
    EXPECT_EQ(orvix::localTimeText(static_cast<std::time_t>(-62135596800LL)), "01.01.0001 02:00");
    EXPECT_EQ(orvix::localTimeText(std::numeric_limits<std::time_t>::max()), "");
  }
}

TEST(PrintableTest, BytesAreShownWithoutWhatSteersATerminal) {
  const std::tuple<std::string, std::string, std::string> rows[] = {
      // bytes, escaped, shown
      {std::string("a\0~", 3), "a\\x00~", "a\\x00~"},
      {"\r\n\t\\", "\\r\\n\\x09\\\\", "\\x0d\n\t\\"},
      {"\x1b\x7f", "\\x1b\\x7f", "\\x1b\\x7f"},
      {"\u00e4\u20ac\U0001f600", "\\xc3\\xa4\\xe2\\x82\\xac\\xf0\\x9f\\x98\\x80", "\u00e4\u20ac\U0001f600"},
      {"\u009b\u00a0", "\\xc2\\x9b\\xc2\\xa0", "\\xc2\\x9b\u00a0"},
      {"\u061c\u200d", "\\xd8\\x9c\\xe2\\x80\\x8d", "\\xd8\\x9c\u200d"},
      {"\u202e\u202f", "\\xe2\\x80\\xae\\xe2\\x80\\xaf", "\\xe2\\x80\\xae\u202f"},
      {"\u2069", "\\xe2\\x81\\xa9", "\\xe2\\x81\\xa9"},
      {"\xe4 ", "\\xe4 ", "\\xe4 "},                           // Latin-1
      {"\xc0\x8a", "\\xc0\\x8a", "\\xc0\\x8a"},                // longer than needed
      {"\xed\xa0\x80", "\\xed\\xa0\\x80", "\\xed\\xa0\\x80"},  // half a pair
      {"\xf4\x90\x80\x80", "\\xf4\\x90\\x80\\x80", "\\xf4\\x90\\x80\\x80"},
      {"\xe2\x82", "\\xe2\\x82", "\\xe2\\x82"},  // cut off
      {"\xf8\x80", "\\xf8\\x80", "\\xf8\\x80"}};
  for (const auto& [bytes, asEscaped, asShown] : rows) {
    EXPECT_EQ(orvix::escaped(bytes), asEscaped);
    EXPECT_EQ(orvix::shown(bytes), asShown);
    EXPECT_EQ(orvix::bytesOfHex(orvix::hexText(bytes)), bytes);
  }
  EXPECT_EQ(orvix::hexText("\x0a\xff"), "0aff");
  EXPECT_EQ(orvix::bytesOfHex("0AfF"), "\x0a\xff");
  for (const char* wrong : {"0", "0g", "-1", " 1"}) {
    EXPECT_FALSE(orvix::bytesOfHex(wrong)) << wrong;
  }
}

TEST(IsoTimeTest, TimesAreWrittenAndRead) {
  const std::tuple<std::int64_t, std::string> rows[] = {{0, "1970-01-01T00:00:00.000Z"},
                                                        {-1, "1969-12-31T23:59:59.999Z"},
                                                        {951782400123, "2000-02-29T00:00:00.123Z"},
                                                        {2147483648000, "2038-01-19T03:14:08.000Z"},
                                                        {4107542400000, "2100-03-01T00:00:00.000Z"},
                                                        {-62167219200000, "0000-01-01T00:00:00.000Z"},
                                                        {253402300799999, "9999-12-31T23:59:59.999Z"}};
  for (const auto& [ms, text] : rows) {
    EXPECT_EQ(orvix::rfc3339(ms), text);
    EXPECT_EQ(orvix::msOfRfc3339(text), ms);
  }
  EXPECT_EQ(orvix::msOfRfc3339("1970-01-01t01:00:00.0019+01:00"), 1);
  EXPECT_EQ(orvix::msOfRfc3339("1969-12-31T23:29:60.5-00:30"), 500);
  for (const char* wrong : {"", "1970-01-01", "1970-01-01T00:00:00", "1970-01-01T00:00:00.Z", "1970-13-01T00:00:00Z",
                            "1900-02-29T00:00:00Z", "1970-01-01T24:00:00Z", "1970-01-01T00:00:00Z ",
                            "1970-01-01T00:00:00+0100", "+970-01-01T00:00:00Z"}) {
    EXPECT_FALSE(orvix::msOfRfc3339(wrong)) << wrong;
  }
}

TEST(IsoTimeTest, LocalTimeFollowsTheZone) {
  for (const auto& [zone, text] :
       {std::pair("UTC0", "1970-01-01T00:00:00+00:00"), {"IST-5:30", "1970-01-01T05:30:00+05:30"}}) {
    setenv("TZ", zone, 1);
    EXPECT_EQ(orvix::isoTime(0), text);
  }
}
