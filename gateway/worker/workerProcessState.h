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

struct WorkerProcess::State {
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
  std::string outgoing;
  std::int64_t heardMs = 0;
  std::optional<std::int64_t> callMs;  // since when it is inside the plug-in
  std::string doing;
  std::optional<AttemptRecord> running;
  bool mayWaitAtPrompt = false;
  bool isLineLost = false;                 // in the middle of a call of this process
  bool wasLineLost = false;                // by an earlier one, and no modem is back yet
  std::int64_t delayMs = kFirstRestartMs;  // before the next start; doubles with each death
  std::int64_t startMs = 0;
  std::int64_t reapMs = 0;

  void startProcess(std::int64_t nowMs);
  void delayStart(std::int64_t nowMs);
  void send(const ToWorker& message);
  void flush();
  bool receive(std::int64_t nowMs);
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
  void end(const std::string& reason, std::int64_t nowMs);
  void tellDeath(const std::string& reason);
  void reap(std::int64_t nowMs);
  std::string stuckReason(std::int64_t nowMs) const;
};

}  // namespace orvix::gateway
