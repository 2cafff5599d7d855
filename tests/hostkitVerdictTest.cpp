// What became of an attempt, by real modems' ways of answering.
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "hostkit/errorClass.h"
#include "hostkit/verdict.h"

namespace orvix::hostkit {
namespace {

struct Step {
  char direction;  // '>' to the modem, '<' from it
  std::string bytes;
};

struct Row {
  const char* name;
  std::string text;
  std::vector<Step> behindNumber;  // of the traffic behind AT+CMGS
  Verdict verdict;
  std::optional<int> number = {};  // reference of a sent message, code of another
  std::string flags;               // a(nswer), p(rompt may wait), c(an still prompt), r(esult may come), t(ext written)
  bool hasReturned = true;
  bool okIsSent = false;
  ClassOverrides overrides = {};
};

std::string flagsOf(const Judgement& judgement) {
  return std::string(judgement.hasAnswer ? "a" : "") + (judgement.mayWaitAtPrompt ? "p" : "") +
         (judgement.mayPromptCome ? "c" : "") + (judgement.mayResultCome ? "r" : "") +
         (judgement.isTextWritten ? "t" : "");
}

std::vector<TrafficPiece> piecesOf(const std::vector<Step>& steps) {
  std::vector<TrafficPiece> pieces;
  pieces.reserve(steps.size());
  for (const Step& step : steps) {
    pieces.push_back({0, step.direction == '>' ? kXplTraceSent : kXplTraceReceived, step.bytes});
  }
  return pieces;
}

// The row's traffic whole, and with one of its pieces cut in two, at every byte.
void check(const Row& row, const std::vector<Step>& steps) {
  std::vector<std::vector<TrafficPiece>> ways{piecesOf(steps)};
  for (std::size_t i = 0; i < steps.size(); ++i) {
    for (std::size_t cut = 1; cut < steps[i].bytes.size(); ++cut) {
      std::vector<Step> split = steps;
      split[i].bytes.resize(cut);
      split.insert(split.begin() + static_cast<std::ptrdiff_t>(i) + 1,
                   {steps[i].direction, steps[i].bytes.substr(cut)});
      ways.push_back(piecesOf(split));
    }
  }
  for (const std::vector<TrafficPiece>& traffic : ways) {
    const Judgement judgement = judge(traffic, row.text, row.hasReturned, row.okIsSent, row.overrides);
    ASSERT_STREQ(verdictName(judgement.verdict), verdictName(row.verdict)) << row.name << ": " << judgement.reason;
    ASSERT_EQ(judgement.verdict == Verdict::kSent ? judgement.reference : judgement.code, row.number) << row.name;
    ASSERT_EQ(flagsOf(judgement), row.flags) << row.name;
    ASSERT_FALSE(judgement.reason.empty() || judgement.reason.size() > 500) << row.name;
  }
}

std::vector<Step> operator+(std::vector<Step> steps, const std::vector<Step>& more) {
  steps.insert(steps.end(), more.begin(), more.end());
  return steps;
}

// Text mode and number given, and the text as the device writes it.
const std::vector<Step> kPlain{{'>', "AT+CMGF=1\r"}, {'<', "\r\nOK\r\n"}, {'>', "AT+CMGS=\"+491234\"\r"}};
const std::vector<Step> kEcho{{'>', "AT+CMGF=1\r"}, {'<', "AT+CMGF=1\r\r\nOK\r\n"}, kPlain.back()};
std::vector<Step> written(const std::string& prompt, const std::string& text) {
  return {{'<', prompt}, {'>', text + "\x1a\r\n\r"}};
}

const std::string kPrompt = "\r\n> ";
const std::string kEchoPrompt = "AT+CMGS=\"+491234\"\r\r\n> ";

TEST(Verdict, BeforeTheText) {
  const std::vector<Row> rows = {
      {"error in numbers", "hi", {{'<', "\r\n+CMS ERROR: 304\r\n"}}, Verdict::kRefused, 304, "a"},
      {"a code of doubt is none here", "hi", {{'<', "\r\n+CMS ERROR: 500\r\n"}}, Verdict::kRefused, 500, "a"},
      {"ERROR", "hi", {{'<', "\r\nERROR\r\n"}}, Verdict::kRefused, {}, "a"},
      {"in words", "hi", {{'<', "\r\n+CMS ERROR: SIM busy\r\n"}}, Verdict::kRefused, {}, "a"},
      {"behind an unsolicited line", "hi", {{'<', "\r\nRING\r\n\r\n+CME ERROR: 10\r\n"}}, Verdict::kRefused, 10, "a"},
      {"silence", "hi", {}, Verdict::kNotSent, {}, "apc"},
      {"half an error", "hi", {{'<', "\r\n+CMS ERROR: 5"}}, Verdict::kNotSent, {}, "apc"},
      {"the prompt, and no text", "hi", {{'<', kPrompt}}, Verdict::kNotSent, {}, "ap"},
      {"a text cut short", "hi", {{'<', kPrompt}, {'>', "h"}}, Verdict::kNotSent, {}, "ap"},
      {"died in silence", "hi", {}, Verdict::kNotSent, {}, "apc", false},
      {"died at the prompt", "hi", {{'<', kPrompt}}, Verdict::kUncertain, {}, "ap", false},
      {"died behind a refusal", "hi", {{'<', "\r\n+CMS ERROR: 304\r\n"}}, Verdict::kNotSent, {}, "a", false},
  };
  for (const Row& row : rows) {
    check(row, kPlain + row.behindNumber);
  }
  check({"dead line", "hi", {}, Verdict::kNotSent, {}, ""}, {{'>', "AT+CMGF=1\r"}});
  check({"nothing written", "hi", {}, Verdict::kNotSent, {}, ""}, {});
  check({"no text mode", "hi", {}, Verdict::kNotSent, {}, "a"}, {{'>', "AT+CMGF=1\r"}, {'<', "\r\nERROR\r\n"}});
}

TEST(Verdict, BehindTheText) {
  const std::string sent = "\r\n+CMGS: 12\r\n\r\nOK\r\n";
  const std::string refused = "\r\n+CMS ERROR: 38\r\n";
  const ClassOverrides toDoubt{{38, ErrorClass::kDoubt}};
  const std::vector<Row> rows = {
      {"plain", "hi", {{'<', sent}}, Verdict::kSent, 12, "at"},
      {"echo", "hi", {{'<', "hi\x1a" + sent}}, Verdict::kSent, 12, "at"},
      {"echo without its Ctrl-Z", "hi", {{'<', "hi\r\n" + sent}}, Verdict::kSent, 12, "at"},
      {"no OK", "hi", {{'<', "\r\n+CMGS: 12\r\n"}}, Verdict::kSent, 12, "at"},
      {"no blank, a time stamp", "hi", {{'<', "\r\n+CMGS:12,\"26/11/21\"\r\n"}}, Verdict::kSent, 12, "at"},
      {"between others", "hi", {{'<', "+ZDONR: 1,272\r\n+CMGS: 183\r\n+CMTI: 1\r\nOK\r\n"}}, Verdict::kSent, 183, "at"},
      {"refused", "hi", {{'<', refused}}, Verdict::kRefused, 38, "at"},
      {"refused without a blank", "hi", {{'<', "\r\n+CME ERROR:10\r\n"}}, Verdict::kRefused, 10, "at"},
      {"an OK in the echo", "PUMP OK", {{'<', "PUMP OK\x1a\r\n+CMS ERROR: 38\r\n"}}, Verdict::kRefused, 38, "at"},
      {"a code of doubt", "hi", {{'<', "\r\n+CMS ERROR: 500\r\n"}}, Verdict::kUncertain, 500, "at"},
      {"a maker's code", "hi", {{'<', "\r\n+CMS ERROR: 512\r\n"}}, Verdict::kUncertain, 512, "at"},
      {"moved to doubt", "hi", {{'<', refused}}, Verdict::kUncertain, 38, "at", true, false, toDoubt},
      {"in words", "hi", {{'<', "\r\n+CMS ERROR: no network\r\n"}}, Verdict::kUncertain, {}, "at"},
      {"without a number", "hi", {{'<', "\r\n+CMS ERROR: \r\n"}}, Verdict::kUncertain, {}, "at"},
      {"ERROR", "hi", {{'<', "\r\nERROR\r\n"}}, Verdict::kUncertain, {}, "art"},
      {"OK alone", "hi", {{'<', "\r\nOK\r\n"}}, Verdict::kUncertain, {}, "art"},
      {"OK alone is sent", "hi", {{'<', "\r\nOK\r\n"}}, Verdict::kSent, {}, "at", true, true},
      {"the echo's OK is not", "OK", {{'<', "OK\x1a\r\n"}}, Verdict::kUncertain, {}, "art", true, true},
      {"OK in the echo and alone", "OK", {{'<', "OK\x1a\r\n\r\nOK\r\n"}}, Verdict::kSent, {}, "at", true, true},
      {"silence", "hi", {}, Verdict::kUncertain, {}, "art"},
      {"an echo alone", "hi", {{'<', "hi\x1a\r\n"}}, Verdict::kUncertain, {}, "art"},
      {"too long", "hi", {{'<', "+CMS ERROR: " + std::string(999, '!') + "\r"}}, Verdict::kUncertain, {}, "at"},
      {"cut off", "hi", {{'<', "\r\n+CMGS: 1"}}, Verdict::kUncertain, {}, "art"},
      {"no reference", "hi", {{'<', "\r\n+CMGS: \r\n\r\nOK\r\n"}}, Verdict::kUncertain, {}, "at"},
      {"two references", "hi", {{'<', sent + "\r\n+CMGS: 13\r\n"}}, Verdict::kUncertain, {}, "at"},
      {"sent and refused", "hi", {{'<', sent + refused}}, Verdict::kUncertain, 38, "at"},
      {"refused and OK", "hi", {{'<', refused + "\r\nOK\r\n"}}, Verdict::kUncertain, 38, "at"},
      {"refused twice", "hi", {{'<', refused + "\r\nERROR\r\n"}}, Verdict::kUncertain, 38, "at"},
      {"late", "hi", {{'<', "\r\n"}, {'<', sent}}, Verdict::kSent, 12, "at"},
      {"died in silence", "hi", {}, Verdict::kUncertain, {}, "art", false},
      {"died with the result", "hi", {{'<', sent}}, Verdict::kSent, 12, "at", false},
      {"a text that reads as a result, echoed", "+CMGS: 9", {{'<', "+CMGS: 9\x1a" + sent}}, Verdict::kSent, 12, "at"},
      {"the same result behind its echo", "+CMGS: 12", {{'<', "+CMGS: 12\x1a" + sent}}, Verdict::kSent, 12, "at"},
      {"its echo alone", "+CMGS: 9", {{'<', "+CMGS: 9\r\n"}}, Verdict::kUncertain, {}, "art"},
      {"prompts in the echo", "a\n+CMGS: 9\nb", {{'<', "a\r\n> +CMGS: 9\r\n> b\x1a" + sent}}, Verdict::kSent, 12, "at"},
      {"an echoed error", "ERROR\nnow", {{'<', "ERROR\nnow\x1a\r\n" + sent}}, Verdict::kSent, 12, "at"},
      {"a text with a command", "AT+CMGS=\"1\"\r", {{'<', sent}}, Verdict::kSent, 12, "at"},
  };
  for (const Row& row : rows) {
    check(row, kPlain + written(kPrompt, row.text) + row.behindNumber);
    check(row, kEcho + written(kEchoPrompt, row.text) + row.behindNumber);
  }
}

}  // namespace
}  // namespace orvix::hostkit
