#include "gateway/worker/attemptResult.h"

namespace orvix::gateway {

AttemptResult resultOf(const hostkit::Judgement& judgement, const hostkit::ClassOverrides& codes) {
  AttemptResult result;
  result.verdict = judgement.verdict;
  result.reference = judgement.reference;
  result.code = judgement.code;
  // An error before the text left nothing in doubt, which moves it to another class.
  if (judgement.errorKind != hostkit::ErrorKind::kNone) {
    result.errorClass = hostkit::classOf(judgement.errorKind, judgement.code, !judgement.isTextWritten, codes);
  }
  result.hasAnswered = judgement.hasAnswer;
  result.reason = judgement.reason;
  return result;
}

}  // namespace orvix::gateway
