// The supervisor's end of one worker process: spawns it, speaks with it, kills it when it is stuck.
//
// Threads: one, the supervisor's loop; the process is killed when the thread that started it ends. Nothing here blocks:
// frames are queued and moved when the socket is ready. Times are service time in ms, given by the caller. What cannot
// be done (no process can be started, a worker that breaks the protocol) is told to the listener; nothing is thrown.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "gateway/config/config.h"
#include "hostkit/errorClass.h"
#include "hostkit/verdict.h"

namespace orvix::gateway {

enum class ModemState { kNoData, kNotAvailable, kReady };
const char* wordOf(ModemState state);  // "noData", "notAvailable", "ready"

// What the plug-in's report says of signal and registration.
struct ModemReport {
  std::optional<int> dBm;      // -150 to 0; none: unknown
  std::optional<int> percent;  // 0 to 100; none: unknown
  // none, home, searching, denied, unknown, roaming: the values 0 to 5 of +CREG (3GPP TS 27.007, 7.2).
  std::string registration;
  bool isRegistered() const { return registration == "home" || registration == "roaming"; }
};

// One attempt of one message, whose number and text were found fit.
struct AttemptOrder {
  std::string id;
  int number = 0;  // of the attempt within its message, from 1
  std::string to;  // the number that is dialled
  std::string text;
};

// What became of it, as its traffic shows.
struct AttemptResult {
  hostkit::Verdict verdict = hostkit::Verdict::kUncertain;
  std::optional<int> reference;                   // of +CMGS:
  std::optional<int> code;                        // of +CMS ERROR: or +CME ERROR:
  std::optional<hostkit::ErrorClass> errorClass;  // when the modem gave an error
  // False: not a byte came from the modem.
  bool hasAnswered = true;
  std::string reason;     // for people
  std::string recording;  // in the format of docs/recording.md
};

// What a worker tells; all calls come from inside WorkerProcess::onReady or onTime.
class WorkerListener {
 public:
  // At each change; the reason is "" when the modem is ready.
  virtual void onState(const std::string& modem, ModemState state, const std::string& reason) = 0;
  virtual void onReport(const std::string& modem, const ModemReport& report) = 0;
  // What the modem is doing at this moment, for people: "asking for a report", "listening for a late result".
  virtual void onDoing(const std::string& modem, const std::string& doing) = 0;
  // The prompt has come; the text is written only after goAhead().
  virtual void onPrompt(const std::string& modem, const std::string& id, int number) = 0;
  // The modem's answer is judged. Every attempt that was ordered ends once: by this, or by onDied with its order.
  virtual void onAttemptEnded(const std::string& modem, const std::string& id, int number,
                              const AttemptResult& result) = 0;
  // For counters: an Escape freed the modem from its prompt; a modem that was lost is ready again.
  virtual void onHealed(const std::string& modem) = 0;
  virtual void onReconnected(const std::string& modem) = 0;
  // The process is gone, and not because it was told to stop while it had nothing to do. An attempt that it had is
  // over: nothing more will be told of it; `recording` is its traffic so far. Where that traffic holds the modem's
  // result, onAttemptEnded has told it, and `running` is none. onState has told kNoData, or
  // kNotAvailable where the line hung up.
  virtual void onDied(const std::string& modem, const std::optional<AttemptOrder>& running,
                      const std::string& recording, const std::string& reason) = 0;

 protected:
  ~WorkerListener() = default;
};

class WorkerProcess {
 public:
  // `listener` is borrowed. Nothing is started before start(). `program` is executed with the argument "worker" and
  // calls workerMain (workerMain.h).
  WorkerProcess(const ModemConfig& modem, const std::string& plugin, int lateSeconds, WorkerListener* listener,
                const std::string& program = "/proc/self/exe");
  ~WorkerProcess();  // kills, and does not wait for the end
  WorkerProcess(const WorkerProcess&) = delete;
  WorkerProcess& operator=(const WorkerProcess&) = delete;

  // The modem may wait at its prompt: an Escape before any other byte of the next process.
  void escapeFirst();
  // Starts the process, and another one whenever it dies, until stop().
  void start(std::int64_t nowMs);
  // The socket to wait on, -1 while no process runs; whether to wait for writing as well.
  int descriptor() const;
  bool wantsToWrite() const;
  // Moves what is ready in either direction and calls the listener. Returns at once when nothing is.
  // Listeners called from here may give orders at once, an attempt included.
  void onReady(std::int64_t nowMs);
  // Kills what is stuck, starts again after a death with backoff.
  void onTime(std::int64_t nowMs);
  // When onTime must be called at the latest; none: never.
  std::optional<std::int64_t> nextTimeMs() const;

  // Only while the modem is ready and no attempt runs.
  void attempt(const AttemptOrder& order, std::int64_t nowMs);
  // The mark is committed: the text may be written. Without it the process ends after 5 s.
  void goAhead();
  // No new call; the running one ends, at most that much more of listening; then the process ends. Closing its line may
  // take it 30 s.
  void stop(int listenSeconds, std::int64_t nowMs);
  // For the end of patience: the death is told as any other.
  void kill();
  // Also while a killed process is still to be reaped.
  bool isRunning() const;

 private:
  struct State;
  std::unique_ptr<State> state;
};

}  // namespace orvix::gateway
