// The command "sms": one message, and what became of it.

#include <iostream>
#include <iterator>

#include "common/printable.h"
#include "host/commands.h"
#include "host/deviceSession.h"
#include "host/output.h"
#include "host/progress.h"
#include "hostkit/connectionString.h"
#include "hostkit/heal.h"
#include "hostkit/lineWatch.h"
#include "hostkit/verdict.h"
#include "plugin/names.h"
#include "program/stopSignals.h"
#include "program/terminal.h"

namespace orvix::host {
namespace {

// The plug-in waits for a prompt for some 3 s; a modem that is busy with its network may take longer.
constexpr int kLatePromptMs = 30000;

std::string textOf(const SmsOptions& options) {
  if (options.text != "-") {
    return options.text;
  }
  std::string text{std::istreambuf_iterator<char>(std::cin), {}};
  if (!text.empty() && text.back() == '\n') {
    text.pop_back();  // a pipe's last line end is not meant
  }
  return text;
}

void requireFit(const hostkit::Fit& fit, bool isForced) {
  if (!fit.isFit() && !isForced) {
    throw Failure(kUsage, fit.problem + " (--force sends it as it is)");
  }
}

// Even forced, a NUL would cut the text off unseen, and an empty number is refused by the device.
void checkMessage(const std::string& phone, const std::string& text, hostkit::Charset charset, bool isForced) {
  if (text.empty()) {
    throw Failure(kUsage, "the text is empty");
  }
  if (isForced && phone.empty()) {
    throw Failure(kUsage, "a message without a number cannot even be forced");
  }
  if (phone.find('\0') != std::string::npos || text.find('\0') != std::string::npos) {
    throw Failure(kUsage, "the text holds a NUL byte, where it would be cut off");
  }
  requireFit(hostkit::numberFit(phone), isForced);
  requireFit(hostkit::textFit(text, charset), isForced);
}

// One attempt: the dialogue, then whatever is still to come of it.
class Attempt {
 public:
  Attempt(DeviceSession* owner, Progress* line, const SmsOptions& smsOptions, std::string message)
      : session(owner), progress(line), options(smsOptions), text(std::move(message)) {}

  hostkit::Judgement run() {
    answer = session->sendSms(options.phone, text);
    // Before it is judged for good: results come late, and no byte may go out meanwhile.
    listen();
    hostkit::Judgement judgement = judged();
    // Left at its prompt, the modem would take the next command for a text.
    if (judgement.mayWaitAtPrompt) {
      isHealed = hostkit::heal(&session->device()).isOk();
    }
    return judgement;
  }

  // What the device itself says.
  hostkit::Answer answer;
  bool isHealed = false;

 private:
  hostkit::Judgement judged() const { return hostkit::judge(session->lastTraffic(), text, true, options.okIsSent); }

  void listen() {
    // A second descriptor of the same line: the device keeps its own, and DTR stays as it is.
    hostkit::LineWatch watch(hostkit::pathOf(session->device().line()));
    const auto isStopped = [] { return program::isStopWished(); };
    if (judged().mayResultCome) {
      progress->say("no result yet: listening for a late one (Ctrl-C ends the waiting)");
      hostkit::listenOn(&watch, &session->lineTrace(), options.lateSeconds * 1000,
                        [&] { return isStopped() || !judged().mayResultCome; });
    } else if (judged().mayPromptCome) {
      progress->say("no prompt yet: listening for a late one");
      hostkit::listenOn(&watch, &session->lineTrace(), kLatePromptMs,
                        [&] { return isStopped() || !judged().mayPromptCome; });
    }
  }

  DeviceSession* session;
  Progress* progress;
  const SmsOptions& options;
  std::string text;
};

template <typename Value>
Json orNull(const std::optional<Value>& value) {
  return value ? Json(*value) : Json();
}

Json fieldsOf(const hostkit::Judgement& judgement, const Attempt& attempt) {
  return {{"verdict", hostkit::verdictName(judgement.verdict)},
          {"reference", orNull(judgement.reference)},
          {"code", orNull(judgement.code)},
          {"reason", judgement.reason},
          {names::kTransmissionResult, attempt.answer.status.toString()}};
}

[[noreturn]] void tellFailure(const hostkit::Judgement& judgement, const Attempt& attempt) {
  const Json fields = fieldsOf(judgement, attempt);
  if (judgement.verdict == hostkit::Verdict::kUncertain) {
    throw Failure(kUncertain, "uncertain, the message may have been sent: " + judgement.reason, fields);
  }
  std::string text = "the message was not sent: " + judgement.reason;
  if (attempt.isHealed) {
    text += "; the modem waited for the text and is brought back";
  } else if (judgement.mayWaitAtPrompt) {
    text += "; the modem may be waiting for the text: gsm-host doctor heals that";
  }
  throw Failure(kModem, text, fields);
}

}  // namespace

void sendMessage(const CommonOptions& common, const SmsOptions& options) {
  const std::string text = textOf(options);
  checkMessage(options.phone, text, options.charset, common.force);
  Progress progress(common.isQuiet());
  DeviceSession session(common, EventOutput::kNone, &progress);
  session.startReady();
  // The last moment at which a Ctrl-C leaves nothing in doubt.
  if (program::isStopWished()) {
    throw Failure(kInternal, "stopped before the message was given to the modem");
  }
  Attempt attempt(&session, &progress, options, text);
  const hostkit::Judgement judgement = attempt.run();
  progress.finish();
  if (judgement.verdict != hostkit::Verdict::kSent) {
    tellFailure(judgement, attempt);
  }
  if (common.json) {
    printJson(fieldsOf(judgement, attempt));
  } else {
    std::cout << program::green(std::cout, "Sent") << " to " << shown(options.phone) << ": " << judgement.reason
              << std::endl;
  }
}

}  // namespace orvix::host
