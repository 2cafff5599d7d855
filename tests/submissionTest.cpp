// What someone wants sent, as text and as JSON, and when the heartbeat is due.
#include "gateway/service/submission.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <tuple>

#include "gateway/service/heartbeat.h"
#include "gateway/service/textFit.h"

namespace orvix::gateway {
namespace {

TEST(HeartbeatTest, IsDueForAnHour) {
  setenv("TZ", "Europe/Berlin", 1);
  constexpr std::int64_t kMidnight = 1772319600000;  // 2026-03-01T00:00:00 there
  const std::tuple<int, std::int64_t, const char*> rows[] = {{420, 419, ""},           {420, 420, "2026-03-01"},
                                                             {420, 480, "2026-03-01"}, {420, 481, ""},
                                                             {1430, 10, "2026-02-28"}, {0, 0, "2026-03-01"}};
  for (const auto& [minute, nowMinute, date] : rows) {
    EXPECT_EQ(heartbeatDate(kMidnight + nowMinute * 60000, minute).value_or(""), date) << nowMinute;
  }
  setenv("TZ", "AAA0BBB,M3.1.0/0,M10.1.0/0", 1);  // where summer time begins on that day at midnight
  EXPECT_EQ(heartbeatDate(kMidnight + 3600000, 30), "2026-03-01");
}

TEST(TextFitTest, TransliteratesAndCutsAtWords) {
  SendingConfig sending;
  sending.longText = LongText::kNumber;
  sending.nonAscii = NonAscii::kTransliterate;
  const std::vector<hostkit::Charset> ira = {hostkit::Charset::kIra};
  const std::vector<hostkit::Charset> gsm = {hostkit::Charset::kGsm};
  const auto count = [&](const std::string& text, const std::vector<hostkit::Charset>& charsets) {
    const auto texts = textsFor(text, charsets, sending);
    return std::holds_alternative<Refusal>(texts) ? -1 : static_cast<int>(std::get<0>(texts).size());
  };
  EXPECT_EQ(std::get<0>(textsFor("gr\xc3\xbc\xc3\x9f 5 \xe2\x82\xac", ira, sending)).at(0), "gruess 5 EUR");
  EXPECT_EQ(count(std::string(160, 'x'), ira), 1);
  EXPECT_EQ(count(std::string(161, 'x'), ira), 2);
  EXPECT_EQ(count(std::string(81, '['), ira), 2) << "two septets each";
  EXPECT_EQ(count(std::string(1386, 'x'), ira), 9);
  EXPECT_EQ(count(std::string(1387, 'x'), ira), -1);
  EXPECT_EQ(count(std::string(150, 'x') + "\n+CMGS: 1", ira), -1) << "also where it would be cut";
  EXPECT_EQ(count("a@b", gsm), -1);
  EXPECT_EQ(count("`\xc3\xbc", ira), -1) << "ASCII stays as it is";
  EXPECT_EQ(count("\xe2\x98\x83 fell", ira), -1) << "a snowman is like nothing";
  EXPECT_EQ(count("", ira), -1);
  std::string words;
  while (words.size() < 400) {
    words += "twelvechars ";
  }
  const auto parts = std::get<0>(textsFor(words, ira, sending));
  ASSERT_EQ(parts.size(), 3U);
  for (const std::string& part : parts) {
    EXPECT_LE(part.size(), 160U);
    EXPECT_EQ(part.substr(6, 6), "twelve");
  }
}

TEST(SubmissionTest, RefusesWhatIsNotMeant) {
  const std::tuple<const char*, int, const char*> rows[] = {
      {R"({"to": "1234", "text": "t"})", 0, ""},
      {R"({"to": ["1234"], "text": "t", "id": "a", "priority": "bulk", "expiresSeconds": 1, "onUncertain": "resend"})",
       0, ""},
      {"", 400, ""},
      {"\xff", 400, ""},
      {R"(["to"])", 422, ""},
      {R"({"to": "1234"})", 422, "text"},
      {R"({"text": "t"})", 422, "to"},
      {R"({"to": "1234", "to": "5678", "text": "t"})", 422, ""},
      {R"({"to": [], "text": "t"})", 422, "to"},
      {R"({"to": 1234, "text": "t"})", 422, "to"},
      {R"({"id": "01234567890123456789012345678901234567890123456789012345678901234"})", 422, "id"},
      {R"({"to": "1234", "text": "t", "id": "a~1"})", 422, "id"},
      {R"({"to": "1234", "text": "t", "expiresSeconds": 0})", 422, "expiresSeconds"},
      {R"({"to": "1234", "text": "t", "expiresSeconds": 1.5})", 422, "expiresSeconds"},
      {R"({"to": "1234", "text": "t", "expiresSeconds": 2678401})", 422, "expiresSeconds"},
      {R"({"to": "1234", "text": "t", "expiresSeconds": 18446744073709551615})", 422, "expiresSeconds"},
      {R"({"to": "1234", "text": "t", "onUncertain": "maybe"})", 422, "onUncertain"},
      {R"({"to": "1234", "text": "t", "flash": true})", 422, "flash"},
      {R"({"to": [[[[[[]]]]]], "text": "t"})", 422, ""},
      {R"({"to": [[[[[[]]]]]], "text": "t")", 400, ""},
  };
  for (const auto& [body, status, field] : rows) {
    SCOPED_TRACE(body);
    const auto answer = readSubmission(body);
    const auto* const refusal = std::get_if<Refusal>(&answer);
    EXPECT_EQ(refusal == nullptr ? 0 : refusal->status, status);
    EXPECT_EQ(refusal == nullptr ? "" : refusal->field.value_or(""), field);
  }
}

}  // namespace
}  // namespace orvix::gateway
