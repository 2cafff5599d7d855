// Any bytes as what the gateway reads: a digit that says what, then a target, a body or an MQTT payload, an
// Alertmanager's notification, the service's own answer or its configuration.

#include <functional>

#include "fuzz/fuzz.h"
#include "gateway/client/httpClient.h"
#include "gateway/http/alertmanager.h"
#include "gateway/http/target.h"
#include "gateway/message/name.h"
#include "gateway/mqtt/command.h"
#include "gateway/service/service.h"
#include "tests/world/host.h"

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

// A service that never commits: what is accepted would go to the line like this.
void submit(const Submission& submission) {
  static const world::TemporaryFolder folder;
  static const Config config = [] {
    Config made;
    made.storage = {folder.path(), 0, 0};
    made.sending.longText = LongText::kNumber;
    made.sending.nonAscii = NonAscii::kTransliterate;
    made.modems.resize(2);
    made.modems[0].name = "main";
    made.modems[1].name = "gsm";
    made.modems[1].charset = orvix::hostkit::Charset::kGsm;
    return made;
  }();
  static Outbox outbox(config.storage, config.sending);
  static ServiceClock clock(0, 0);
  Service service(config, &outbox, &clock);
  const auto result = service.submit(Caller{"mqtt", {{"*"}, 0, Priority::kAlarm, false}}, submission);
  if (const auto* const accepted = std::get_if<Accepted>(&result)) {
    for (const Message& message : accepted->messages) {
      fuzz::require(message.to.find_first_not_of("+0123456789") == std::string::npos, "digits are dialled");
      const auto isPlain = [](char c) { return c == '\n' || (c >= ' ' && c <= '~'); };
      fuzz::require(std::all_of(message.text.begin(), message.text.end(), isPlain), "no control code goes to a modem");
    }
  }
  outbox.rollback();
}

void readBody(const std::string& bytes) {
  const auto [id, command] = readCommand(bytes);
  requireStatus(command);
  fuzz::require(id.empty() || isName(id), "an id that is told needs no escape");
  const auto read = readSubmission(bytes);
  requireStatus(read);
  if (const auto* const submission = std::get_if<Submission>(&read)) {
    submit(*submission);
  }
}

void readConfiguration(const std::string& bytes) {
  static const world::TemporaryFolder folder;
  const ConfigResult read = readConfig(folder.write("gateway.json", bytes));
  fuzz::require(!read.problems.empty() || !read.config.modems.empty(), "a configuration without problems has modems");
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
  const std::function<void()> readers[] = {
      [&] { requireStatus(readTarget(bytes)); },
      [&] { readBody(bytes); },
      [&] { readNotification(bytes, orvix::hostkit::Charset::kIra); },
      [&] { readNotification(bytes, orvix::hostkit::Charset::kGsm); },
      [&] { readAnswer(bytes); },
      [&] { readConfiguration(bytes); },
  };
  readers[static_cast<std::uint8_t>(kind - '0') % std::size(readers)]();
  return 0;
}
