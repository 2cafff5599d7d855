// What the campaigns share: figures, a gateway of real processes in fast time, simulated modems that know what they
// sent. One thread a world; the modems run in threads of their own.
#pragma once

#include <sys/types.h>

#include <functional>
#include <map>
#include <mutex>
#include <nlohmann/json.hpp>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "simulator/modem.h"
#include "simulator/ptyLine.h"
#include "simulator/runLoop.h"
#include "tests/campaigns/control.h"
#include "tests/world/host.h"

namespace campaign {

// What is told at the end, in the order of the names; a fault is told even if there is none.
struct Figures {
  std::map<std::string, int> counts;
  std::map<std::string, int> faults;
};

// A campaign as the kit's main() calls it: PROGRAM COUNT [SEED].
Figures run(int count, unsigned seed);

class Random {
 public:
  explicit Random(unsigned seed) : engine(seed) {}
  int below(int limit) { return static_cast<int>(engine() % static_cast<unsigned>(limit)); }

 private:
  std::mt19937 engine;
};

// Whether the condition came true within two minutes of real time.
bool until(const std::function<bool()>& condition);

enum Kind { kUsual, kRenumbered, kKeepsPower };

// Switched on as long as it lives, at the end of a link. Its delays are in real time.
class SimulatedModem {
 public:
  // Once unplugged, it comes back renumbered, or as it was, even at its prompt.
  explicit SimulatedModem(const std::string& link, const orvix::simulator::ModemOptions& options = {},
                          Kind itsKind = kUsual);
  ~SimulatedModem();

  std::map<std::string, int> sent();  // how often each text
  bool hasPrompted(const std::string& number);

  const std::string link;
  orvix::simulator::Plug plug;

  // In real time: the last return of the line, and the message that began next, 0 before it did.
  std::atomic<std::int64_t> returnedMs{0};
  std::atomic<std::int64_t> begunMs{0};
  std::atomic<bool> hasReturnedAtPrompt{false};

 private:
  struct Modem : orvix::simulator::Modem {
    Modem(const orvix::simulator::ModemOptions& itsOptions, Kind itsKind)
        : orvix::simulator::Modem(itsOptions), kind(itsKind) {}
    void unplug() override;
    const Kind kind;
  };

  Modem modem;
  bool isAtPrompt = false;
  orvix::simulator::PtyLine line;
  orvix::simulator::StopEvent stop;
  std::mutex mutex;
  std::map<std::string, int> texts;
  std::string lastLine;
  std::set<std::string> prompted;  // the lines that a prompt answered
  std::thread runner;
};

// A program as a process in a group of its own, its errors in the log; without a control page in real time.
pid_t launch(const std::vector<std::string>& words, const std::string& log, const std::string& controlFile = "");

// A mosquitto on a port of its own. It keeps nothing on a disk: a kill loses all sessions and all that was on its way.
class Broker {
 public:
  Broker();  // starts it
  ~Broker();

  void start();
  void kill();
  std::string url() const { return "mqtt://127.0.0.1:" + port; }
  void publish(const std::string& topic, const std::string& payload) const;  // and waits until the broker has it

  std::string port;

 private:
  const world::TemporaryFolder folder;
  std::string configuration;
  pid_t pid = -1;
};

// The service as processes, in a process group of their own.
class Gateway {
 public:
  // `settings`: a configuration without modems, plugin and storage, and http but for its tokens.
  Gateway(const std::vector<SimulatedModem*>& itsModems, nlohmann::json settings, int speed);
  Gateway(const Gateway&) = delete;
  Gateway& operator=(const Gateway&) = delete;
  ~Gateway();  // kills

  void start();      // and waits until it answers or ends
  bool isRunning();  // looks whether it has ended
  void kill(bool isWithWorkers = true);
  void stop();  // SIGTERM, and waits for its end
  std::vector<pid_t> workers() const;

  // The status of the answer, 0 when there was none.
  int post(const nlohmann::json& message);
  std::string text(const std::string& target);  // "" unless 200
  bool hasWork();
  // Holds what the modems sent against what is told of these messages, the text of each by its id. As they are told.
  std::map<std::string, nlohmann::json> account(const std::map<std::string, std::string>& texts, Figures* figures);

  // From now on the processes record what leaves them; in this file, as fastTime.cpp says.
  std::string record() const { return folder.write("control.record", ""); }

  Control* control = nullptr;

 private:
  void countCrashes(Figures* figures) const;

  const std::vector<SimulatedModem*> modems;
  const world::TemporaryFolder folder;
  const std::string socket = folder.file("gateway.sock");
  pid_t pid = -1;
  int ends = 0;  // but for SIGKILL
};

}  // namespace campaign
