// Any bytes as what a client of the gateway sends: a digit that says what, then a target, a body, an
// Alertmanager's notification or the service's own answer.
#include "fuzz/fuzz.h"
#include "gateway/client/httpClient.h"
#include "gateway/http/alertmanager.h"
#include "gateway/http/target.h"

using namespace orvix::gateway;

namespace {

template <typename Value>
void requireStatus(const std::variant<Value, Refusal>& read) {
  const auto* const refusal = std::get_if<Refusal>(&read);
  fuzz::require(refusal == nullptr || refusal->status == 400 || refusal->status == 422,
                "what is refused is a 400 or 422");
  fuzz::require(refusal == nullptr || !refusal->error.empty(), "what is refused is told why");
}

void readNotification(const std::string& bytes, orvix::hostkit::Charset charset) {
  const auto read = readAlerts(bytes, charset);
  requireStatus(read);
  if (const auto* const notice = std::get_if<AlertNotice>(&read)) {
    fuzz::require(orvix::hostkit::textFit(notice->text, charset).isFit(), "an alert's text is fit to send");
  }
}

void readAnswer(const std::string& bytes) {
  try {
    readReply(bytes);
  } catch (const NoAnswer&) {
  }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Input input(data, size);
  const std::uint8_t kind = input.byte();
  const std::string bytes = input.text(input.size());
  switch (static_cast<std::uint8_t>(kind - '0') % 5) {
    case 0:
      requireStatus(readTarget(bytes));
      break;
    case 1:
      requireStatus(readSubmission(bytes));
      break;
    case 2:
      readNotification(bytes, orvix::hostkit::Charset::kIra);
      break;
    case 3:
      readNotification(bytes, orvix::hostkit::Charset::kGsm);
      break;
    default:
      readAnswer(bytes);
  }
  return 0;
}
