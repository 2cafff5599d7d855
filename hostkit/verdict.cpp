#include "hostkit/verdict.h"

#include <algorithm>

#include "common/printable.h"
#include "hostkit/modemErrors.h"
#include "hostkit/resultLine.h"

namespace orvix::hostkit {
namespace {

constexpr char kEndOfText = '\x1a';
// A modem may say thousands of results, or one of thousands of bytes.
constexpr std::size_t kLongestReason = 500;

// The traffic taken apart at the steps of the dialogue.
struct Dialogue {
  bool isNumberGiven = false;  // AT+CMGS is out
  bool isTextBegun = false;
  bool isTextWritten = false;  // to its Ctrl-Z
  bool hasAnswer = false;
  std::string before;  // what came after AT+CMGS and before the Ctrl-Z
  std::string after;   // what came after the Ctrl-Z
};

// How far the dialogue is, by all that was sent so far. The text may hold anything, so the first AT+CMGS counts.
void follow(const std::string& sent, Dialogue* dialogue) {
  const std::size_t command = sent.find("AT+CMGS=");
  const std::size_t end = command == std::string::npos ? command : sent.find('\r', command);
  dialogue->isNumberGiven = command != std::string::npos;
  dialogue->isTextBegun = end != std::string::npos && end + 1 < sent.size();
  dialogue->isTextWritten = end != std::string::npos && sent.find(kEndOfText, end) != std::string::npos;
}

Dialogue dialogueOf(const std::vector<TrafficPiece>& traffic) {
  Dialogue dialogue;
  std::string sent;
  for (const TrafficPiece& piece : traffic) {
    if (piece.kind == kXplTraceSent) {
      sent += piece.bytes;
      // The whole so far, since a write may have taken part of a command only.
      follow(sent, &dialogue);
    } else if (piece.kind == kXplTraceReceived) {
      dialogue.hasAnswer = dialogue.hasAnswer || !piece.bytes.empty();
      // What came before AT+CMGS answers other commands.
      if (dialogue.isTextWritten) {
        dialogue.after += piece.bytes;
      } else if (dialogue.isNumberGiven) {
        dialogue.before += piece.bytes;
      }
    }
  }
  return dialogue;
}

// The results among the lines. `echoed`: a text that the modem may have echoed in between.
std::vector<ResultLine> resultsOf(const std::string& received, const std::string& echoed) {
  std::vector<std::string> lines = linesOf(received);
  for (const std::string& own : linesOf(echoed + kEndOfText)) {
    // Each line of the text takes one away, so that a modem that answers as the text reads still counts.
    const auto echo = std::find(lines.begin(), lines.end(), own);
    if (echo != lines.end()) {
      lines.erase(echo);
    }
  }
  std::vector<ResultLine> results;
  for (const std::string& line : lines) {
    if (const std::optional<ResultLine> result = resultOf(line)) {
      results.push_back(*result);
    }
  }
  return results;
}

ErrorKind errorKindOf(const ResultLine& result) {
  if (!isError(result)) {
    return ErrorKind::kNone;
  }
  return !result.number ? ErrorKind::kWord : result.kind == ResultKind::kCms ? ErrorKind::kCms : ErrorKind::kCme;
}

std::string quoted(const ResultLine& result) {
  return result.number && isError(result) ? errorText(errorKindOf(result), *result.number) : escaped(result.text);
}

// The text is not out: the modem refused the number, or the dialogue ended before.
Judgement judgeBeforeText(const Dialogue& dialogue, const std::string& text, bool hasReturned) {
  Judgement judgement;
  const std::vector<ResultLine> results = resultsOf(dialogue.before, dialogue.isTextBegun ? text : "");
  const auto error = std::find_if(results.begin(), results.end(), isError);
  // As the device looks for it: anywhere.
  const bool hasPrompt = dialogue.before.find('>') != std::string::npos;
  judgement.mayWaitAtPrompt = dialogue.isNumberGiven && error == results.end();
  judgement.mayPromptCome = judgement.mayWaitAtPrompt && !hasPrompt;
  // A dead process may have written after the last piece that it told of.
  if (!hasReturned && hasPrompt) {
    judgement.verdict = Verdict::kUncertain;
    judgement.reason = "the sending process ended at the modem's prompt: the text may have been written";
  } else if (hasReturned && error != results.end()) {
    judgement.verdict = Verdict::kRefused;
    judgement.errorKind = errorKindOf(*error);
    judgement.code = error->number;
    judgement.reason = "the modem refused the number: " + quoted(*error);
  } else if (hasPrompt) {
    judgement.reason = dialogue.isTextBegun ? "the text was not written to its end"
                                            : "the modem's prompt came, but no text was written";
  } else if (dialogue.isNumberGiven) {
    judgement.reason = "the modem gave no prompt for the text";
  } else {
    judgement.reason = dialogue.hasAnswer ? "the modem did not take the text mode" : "the modem gave no answer";
  }
  return judgement;
}

std::string listed(const std::vector<ResultLine>& results) {
  std::string text;
  for (const ResultLine& result : results) {
    text += (text.empty() ? "" : " and ") + quoted(result);
  }
  return text;
}

std::string doubtOf(const std::vector<ResultLine>& results, bool hasReturned) {
  if (results.empty()) {
    return hasReturned ? "the modem gave no result for the text" : "the sending process ended behind the text";
  }
  if (results.size() == 1) {
    return "the modem answered " + quoted(results[0]) + ", which does not tell";
  }
  return "the modem answered " + listed(results);
}

bool isAnyOf(const ResultLine& result, std::initializer_list<ResultKind> kinds) {
  return std::find(kinds.begin(), kinds.end(), result.kind) != kinds.end();
}

Judgement judgeAfterText(const std::vector<ResultLine>& results, bool hasReturned, bool okIsSent,
                         const ClassOverrides& overrides) {
  Judgement judgement;
  const auto count = [&results](auto&& wanted) { return std::count_if(results.begin(), results.end(), wanted); };
  const auto isReference = [](const ResultLine& result) { return result.kind == ResultKind::kCmgs; };
  const auto errors = count(isError);
  const auto references = count(isReference);
  const auto error = std::find_if(results.begin(), results.end(), isError);
  const auto reference = std::find_if(results.begin(), results.end(), isReference);
  const bool isLoneOk = results.size() == 1 && results[0].kind == ResultKind::kOk;

  // A lone ERROR or OK may still be followed by what it leaves open.
  judgement.mayResultCome =
      !(okIsSent && isLoneOk) && count([](const ResultLine& result) {
                                   return isAnyOf(result, {ResultKind::kCmgs, ResultKind::kCms, ResultKind::kCme});
                                 }) == 0;
  if (error != results.end()) {
    judgement.errorKind = errorKindOf(*error);
    judgement.code = error->number;
  }
  // The OK after +CMGS: may be missing: the reference alone is the network's word.
  if (references == 1 && errors == 0 && reference->number) {
    judgement.verdict = Verdict::kSent;
    judgement.reference = reference->number;
    judgement.reason = "the modem answered " + quoted(*reference);
  } else if (okIsSent && isLoneOk) {
    judgement.verdict = Verdict::kSent;
    judgement.reason = "the modem answered OK";
  } else if (results.size() == 1 && errors == 1 &&
             classOf(judgement.errorKind, judgement.code, false, overrides) != ErrorClass::kDoubt) {
    judgement.verdict = Verdict::kRefused;
    judgement.reason = "the modem refused the message: " + quoted(*error);
  } else {
    judgement.verdict = Verdict::kUncertain;
    judgement.reason = doubtOf(results, hasReturned);
  }
  return judgement;
}

}  // namespace

const char* verdictName(Verdict verdict) {
  switch (verdict) {
    case Verdict::kSent:
      return "sent";
    case Verdict::kRefused:
      return "refused";
    case Verdict::kNotSent:
      return "notSent";
    case Verdict::kUncertain:
      break;
  }
  return "uncertain";
}

Judgement judge(const std::vector<TrafficPiece>& traffic, const std::string& text, bool hasReturned, bool okIsSent,
                const ClassOverrides& overrides) {
  const Dialogue dialogue = dialogueOf(traffic);
  Judgement judgement = dialogue.isTextWritten
                            ? judgeAfterText(resultsOf(dialogue.after, text), hasReturned, okIsSent, overrides)
                            : judgeBeforeText(dialogue, text, hasReturned);
  judgement.isTextWritten = dialogue.isTextWritten;
  judgement.hasAnswer = dialogue.hasAnswer;
  // ASCII, so that no character is cut in two.
  judgement.reason.resize(std::min(judgement.reason.size(), kLongestReason));
  return judgement;
}

}  // namespace orvix::hostkit
