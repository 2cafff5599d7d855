#include "gateway/worker/workerMain.h"

#include <sys/prctl.h>

#include <csignal>

#include "common/printable.h"
#include "gateway/worker/modemWorker.h"
#include "gateway/worker/workerTime.h"
#include "hostkit/error.h"
#include "logging/logging.h"

namespace orvix::gateway {
namespace {

constexpr std::int64_t kTryAgainMs = kMinuteMs;

// A plug-in or a configuration that is not fit may be mended while this waits.
void waitToTryAgain(SupervisorLink* link, const std::string& trouble) {
  link->send(StateNews{ModemState::kNotAvailable, escaped(trouble)});
  const std::int64_t endMs = nowMs() + kTryAgainMs;
  while (!link->isStopWished() && nowMs() < endMs) {
    link->receive(kSignOfLifeMs);
    link->send(DoingNews{"waiting", false});
  }
}

void serve(SupervisorLink* link, const StartOrder& order) {
  while (!link->isStopWished()) {
    try {
      ModemWorker(link, order).run();
    } catch (const hostkit::Error& error) {
      waitToTryAgain(link, error.what());
    }
  }
}

}  // namespace

int workerMain(int descriptor) {
  // For a supervisor that dies while we are inside a call and read no socket.
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  prctl(PR_SET_NAME, "gsm-gateway");  // executed as /proc/self/exe, it would be called "exe"
  // A terminal's or a service manager's signal reaches the supervisor too, which says when it is time.
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    std::signal(signal, SIG_IGN);
  }
  SupervisorLink link(descriptor);
  const StartOrder order = link.waitForStart();
  // Only now, since the supervisor says how much is to be logged.
  setUpLogging(true, "gsm-gateway", true, 0, order.verbosity, "", "");
  std::signal(SIGTERM, SIG_IGN);  // once more: glog has taken it for a stack trace
  serve(&link, order);
  tearDownLogging();
  return 0;
}

}  // namespace orvix::gateway
