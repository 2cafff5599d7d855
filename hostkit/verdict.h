// What became of an attempt to send a message, judged by the line's traffic. Pure functions; any thread.
//
// The status of "sendSMS" cannot tell: to the device an "OK" inside an echoed text is success, an answer after its
// waits a failure. The traffic can, for it holds every byte that was written and read.
//
//   what the traffic shows                                                            verdict
//   before the text's Ctrl-Z, and the call returned: an error result to AT+CMGS       kRefused, with the code
//   no Ctrl-Z was written, the call returned, no error result                         kNotSent
//   after the Ctrl-Z: one "+CMGS: N", no error result (an OK may be missing)          kSent, reference N
//   after it: one "+CMS ERROR: N" or "+CME ERROR: N" alone, N no code of doubt        kRefused, code N
//   anything else                                                                     kUncertain
//
// Results are whole lines. Of the lines that equal a line of the message's own text, one each is its echo.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "hostkit/errorClass.h"
#include "hostkit/traffic.h"

namespace orvix::hostkit {

enum class Verdict { kSent, kRefused, kNotSent, kUncertain };

// "sent", "refused", "notSent", "uncertain".
const char* verdictName(Verdict verdict);

struct Judgement {
  Verdict verdict = Verdict::kNotSent;
  std::optional<int> reference;            // of a sent message, where the modem gave one
  ErrorKind errorKind = ErrorKind::kNone;  // of the error result that decided, or that leaves the doubt
  std::optional<int> code;                 // its number
  std::string reason;                      // one clause for people in ASCII, 500 bytes at most

  bool isTextWritten = false;    // the Ctrl-Z is out: from here on the message may be
  bool hasAnswer = false;        // the modem sent any byte at all
  bool mayWaitAtPrompt = false;  // the modem may take the next command for a text: heal it (heal.h)
  bool mayPromptCome = false;    // and its prompt may be still to come: listen before healing (lineWatch.h)
  bool mayResultCome = false;    // the text is written and no result is there yet: listen on (lineWatch.h)
};

// Judges one attempt: `traffic` from before its AT+CMGS on, `text` as it was given to the device.
// `hasReturned`: the call of the device came back. If it did not, because its process died, the text may have been
// written after the last piece of traffic, once a prompt was there.
// `okIsSent`: the modem answers a message that it sent with OK alone.
// `overrides`: the modem's own use of codes.
Judgement judge(const std::vector<TrafficPiece>& traffic, const std::string& text, bool hasReturned, bool okIsSent,
                const ClassOverrides& overrides = {});

}  // namespace orvix::hostkit
