// What the sources behind WorkerProcess share: workerProcess.cpp starts, watches and ends the process, workerNews.cpp
// takes what it tells. Internal. One thread, the supervisor's loop.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>

#include "common/duration.h"
#include "gateway/worker/attemptRecord.h"
#include "gateway/worker/protocol.h"

namespace orvix::gateway {

inline constexpr std::int64_t kFirstRestartMs = kSecondMs;

// The life of a process: started, told its StartOrder, heard and watched, ended (by itself, killed, or cut off for
// breaking the protocol), reaped, and after a delay replaced. socket and pid are both there from the start to the end,
// and pid alone until it is reaped. All times are service time in ms.
struct WorkerProcess::State {
  // As the constructor got them.
  ModemConfig config;
  std::string plugin;
  int lateSeconds;
  WorkerListener* listener;
  std::string program;

  bool isWanted = false;  // one that dies is to be replaced
  int socket = -1;        // -1: no process, or one that is dying
  pid_t pid = -1;         // -1: none, and none to be reaped
  bool isKilled = false;
  FrameBuffer incoming;
  // Frames that the socket has not taken yet: a worker that is busy reads them later.
  std::string outgoing;
  // When the last byte came; silence is counted from here.
  std::int64_t heardMs = 0;
  std::optional<std::int64_t> callMs;  // since when it is inside the plug-in
  // What the listener was told last.
  std::string doing;
  // From the order to its end or the process's; none when the modem is free.
  std::optional<AttemptRecord> running;
  // The next process begins with an Escape. Kept over a process's end, which is when it matters.
  bool mayWaitAtPrompt = false;
  bool isLineLost = false;                 // in the middle of a call of this process
  bool wasLineLost = false;                // by an earlier one, and no modem is back yet
  std::int64_t delayMs = kFirstRestartMs;  // before the next start; doubles with each death
  // Not before this the next process is started.
  std::int64_t startMs = 0;
  // Not before this the last one is asked for its exit status again.
  std::int64_t reapMs = 0;

  // None can be started: the listener is told, and the next try is delayed as after a death.
  void startProcess(std::int64_t nowMs);
  void delayStart(std::int64_t nowMs);
  // Queued and written as far as the socket takes it; never blocks.
  void send(const ToWorker& message);
  void flush();
  bool receive(std::int64_t nowMs);
  // Until the frames are through or the process is gone, for a frame may end it.
  void handleFrames(std::int64_t nowMs);
  // Each frame is taken by the function of its type; ProtocolError for what no honest worker tells at that moment.
  AttemptRecord& attemptOf(const char* news);
  void take(const StateNews& news, std::int64_t nowMs);
  void take(const ModemReport& report, std::int64_t nowMs);
  void take(const DoingNews& news, std::int64_t nowMs);
  void take(const TrafficNews& news, std::int64_t nowMs);
  void take(const PromptNews& news, std::int64_t nowMs);
  void take(const EndNews& news, std::int64_t nowMs);
  void take(const HealedNews& news, std::int64_t nowMs);
  void take(const ReconnectedNews& news, std::int64_t nowMs);
  void take(const LineLostNews& news, std::int64_t nowMs);
  // The ends of a process: without its line, for a reason, and what the listener is told of it.
  void endLineless(std::int64_t nowMs);
  // Kills the process if it still lives, and closes its socket; tells the listener of it.
  void end(const std::string& reason, std::int64_t nowMs);
  void tellDeath(const std::string& reason);
  // Does not wait; the process's exit status is logged where it is not 0.
  void reap(std::int64_t nowMs);
  // "" while it is not stuck.
  std::string stuckReason(std::int64_t nowMs) const;
};

}  // namespace orvix::gateway
