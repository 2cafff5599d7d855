// A fleet on one broker, which is killed and comes back: many gateways in a few processes, with all their MQTT side but
// modems that are played, and some whole ones. Everything becomes known, nothing is sent twice, who falls silent shows.
#include <fcntl.h>
#include <mosquitto.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <deque>
#include <set>

#include "gateway/mqtt/mqttDoor.h"
#include "tests/campaigns/kit.h"
#include "tests/world/fakeWorkers.h"

namespace {

using namespace std::chrono;
using namespace orvix::gateway;
using nlohmann::json;

constexpr int kMembersInAProcess = 64;  // the MQTT library cannot watch descriptors above 1023
constexpr int kMembersForAWhole = 40;
constexpr int kLongestSendingMs = 4000;
constexpr int kMostMessages = 8;  // to a gateway
constexpr auto kRepeat = seconds(5);
constexpr auto kPatience = minutes(5);
constexpr int kMostMsUntilReconciled = 60000;
constexpr int kMostMsUntilShown = 180000;

// What a played modem sent, by the message's number.
using Sent = std::atomic<std::uint8_t>[kMostMessages];

std::string nameOf(int gateway) {
  return "g" + std::to_string(gateway);
}
std::string idOf(int gateway, int message) {
  return nameOf(gateway) + "-" + std::to_string(message);
}

Config configOf(const std::string& name, const std::string& folder, const std::string& broker) {
  Config config;
  config.modems.emplace_back().name = name;
  config.storage.folder = folder + "/" + name;
  config.sending.perRecipient = {0, 0};
  config.mqtt.emplace();
  config.mqtt->broker = broker;
  config.mqtt->id = name;
  config.mqtt->rights = {{"*"}, 0, Priority::kAlarm, false};
  return config;
}

class Member {
 public:
  Member(const std::string& itsName, const std::string& folder, const std::string& broker, Sent* itsSent)
      : name(itsName), config(configOf(name, folder, broker)), sent(*itsSent) {
    service.startWorkers();
    world::worker(name).ready();
    world::worker(name).report("home");
  }

  int descriptor() const { return mqtt.descriptor(); }
  // The time until the next one; sooner, when the descriptor is readable.
  std::int64_t round(campaign::Random* random) {
    mqtt.onReady();
    play(random);
    service.settle();
    mqtt.tell();
    const std::int64_t nowMs = service.nowMs();
    const std::int64_t next = world::worker(name).order ? dueMs : nowMs + 60000;
    return std::min({next, service.nextTimeMs().value_or(next), mqtt.nextTimeMs().value_or(next)}) - nowMs;
  }

 private:
  void play(campaign::Random* random) {
    world::FakeWorker& modem = world::worker(name);
    if (!modem.order || service.nowMs() < dueMs) {
      return;
    }
    dueMs = service.nowMs() + random->below(kLongestSendingMs);
    if (!modem.mayGoAhead) {
      modem.prompt();
      return;
    }
    ++sent[std::stoul(modem.order->text.substr(name.size() + 1))];
    AttemptResult result;
    result.verdict = orvix::hostkit::Verdict::kSent;
    modem.end(result);
    modem.mayGoAhead = false;
  }

  const std::string name;
  const Config config;
  Sent& sent;
  Outbox outbox{config.storage, config.sending};
  ServiceClock clock{outbox.storedTimeMs(), outbox.storedOffsetMs()};
  Service service{config, &outbox, &clock};
  MqttDoor mqtt{&service, *config.mqtt};
  std::int64_t dueMs = 0;  // the modem's next step
};

// A process with the members first..last - 1, until it is killed.
pid_t runMembers(int first, int last, const std::string& folder, const std::string& broker, Sent* sent) {
  if (const pid_t pid = fork(); pid != 0) {
    return pid == -1 ? throw std::runtime_error("no process can be made") : pid;
  }
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  dup2(open((folder + "/log").c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600), 2);
  campaign::Random random(static_cast<unsigned>(first));
  std::deque<Member> members;
  std::vector<pollfd> watched;
  std::vector<steady_clock::time_point> due(static_cast<std::size_t>(last - first));
  for (int i = first; i < last; ++i) {
    members.emplace_back(nameOf(i), folder, broker, &sent[i]);
    watched.push_back({members.back().descriptor(), POLLIN, 0});
  }
  for (;;) {
    for (std::size_t i = 0; i < members.size(); ++i) {
      if (watched[i].revents != 0 || steady_clock::now() >= due[i]) {
        due[i] = steady_clock::now() + milliseconds(members[i].round(&random));
      }
    }
    const auto wait = *std::min_element(due.begin(), due.end()) - steady_clock::now();
    const auto waitMs = static_cast<int>(duration_cast<milliseconds>(wait).count()) + 1;
    poll(watched.data(), watched.size(), std::max(waitMs, 0));
  }
}

class Fleet {
 public:
  Fleet(int played, int wholes, unsigned seed) : random(seed), members(played), gateways(played + wholes) {
    for (int first = 0; first < members; first += kMembersInAProcess) {
      const int last = std::min(first + kMembersInAProcess, members);
      processes.push_back(runMembers(first, last, folder.path(), broker.url(), sent));
    }
    for (int i = members; i < gateways; ++i) {
      const json settings{{"mqtt", {{"broker", broker.url()}, {"id", nameOf(i)}, {"perDay", 0}}}};
      auto& modem = modems.emplace_back(folder.file(nameOf(i)));
      services.emplace_back(std::vector<campaign::SimulatedModem*>{&modem}, settings, 1).start();
    }
    mosquitto_connect_callback_set(client, [](mosquitto* self, void*, int) {
      mosquitto_subscribe(self, nullptr, "gsm/+/availability", 1);
      mosquitto_subscribe(self, nullptr, "gsm/+/message/+", 1);
    });
    mosquitto_message_callback_set(client, [](mosquitto*, void* self, const mosquitto_message* message) {
      static_cast<Fleet*>(self)->hear(
          message->topic, {static_cast<const char*>(message->payload), static_cast<std::size_t>(message->payloadlen)});
    });
    mosquitto_connect(client, "127.0.0.1", std::stoi(broker.port), 600);
    msUntil([this] { return isReconciled(); });
  }
  ~Fleet() {
    mosquitto_destroy(client);
    for (const pid_t process : processes) {
      kill(process, SIGKILL);
      waitpid(process, nullptr, 0);
    }
  }

  // A message to each before the broker is killed and one while it is away; ms from its return until all is known.
  int restartBroker(int awayMs) {
    send();
    listen(random.below(2 * kLongestSendingMs));
    broker.kill();
    there.clear();
    send();
    listen(awayMs);
    broker.start();
    return msUntil([this] { return isReconciled(); });
  }

  int msUntilShown(int whole, int signal) {
    const pid_t service = services[static_cast<std::size_t>(whole)].control->supervisor;
    if (service > 0) {  // else it would be a group, or all processes
      kill(service, signal);
    }
    return msUntil([&] { return there.count(nameOf(members + whole)) == 0; });
  }

  void account(campaign::Figures* figures) {
    for (int i = 0; i < gateways; ++i) {
      for (int n = 0; n < messages; ++n) {
        const std::string id = idOf(i, n);
        const int times = i < members ? sent[i][n].load() : modems[static_cast<std::size_t>(i - members)].sent()[id];
        ++figures->counts[states[id]];
        figures->faults["lost"] += times == 0 ? 1 : 0;
        figures->faults["sent twice"] += times > 1 ? 1 : 0;
        figures->faults["untrue"] += states[id] != "sent" ? 1 : 0;
      }
    }
  }

 private:
  void hear(const std::string& topic, const std::string& payload) {
    const std::string last = topic.substr(topic.rfind('/') + 1);
    if (last != "availability") {
      states[last] = json::parse(payload).value("state", "refused");
      if (states[last] != "queued" && states[last] != "attempting") {
        open.erase(last);
      }
    } else if (const std::string name = topic.substr(4, topic.rfind('/') - 4); payload == "online") {
      there.insert(name);
    } else {
      there.erase(name);
    }
  }

  // Lets the library work meanwhile.
  int msUntil(const std::function<bool()>& condition) {
    const auto begin = steady_clock::now();
    while (!condition() && steady_clock::now() < begin + kPatience) {
      if (mosquitto_loop(client, 10, 1) != MOSQ_ERR_SUCCESS) {
        std::this_thread::sleep_for(milliseconds(100));
        mosquitto_reconnect(client);
      }
    }
    return static_cast<int>(duration_cast<milliseconds>(steady_clock::now() - begin).count());
  }
  void listen(int ms) {
    msUntil([end = steady_clock::now() + milliseconds(ms)] { return steady_clock::now() > end; });
  }

  void send() {
    for (int i = 0; i < gateways; ++i) {
      send(*open.insert(idOf(i, messages)).first);
    }
    ++messages;
  }
  void send(const std::string& id) {
    const std::string topic = "gsm/" + id.substr(0, id.find('-')) + "/send";
    const std::string message = json{{"id", id}, {"to", "+491701234567"}, {"text", id}}.dump();
    mosquitto_publish(client, nullptr, topic.c_str(), static_cast<int>(message.size()), message.data(), 1, false);
  }

  // What is not known to have ended is sent again, as a sender does that saw no acceptance.
  bool isReconciled() {
    if (steady_clock::now() > repeated + kRepeat) {
      repeated = steady_clock::now();
      std::for_each(open.begin(), open.end(), [this](const std::string& id) { send(id); });
    }
    return open.empty() && there.size() == static_cast<std::size_t>(gateways);
  }

  campaign::Random random;
  const int members;  // the first ones; the others are whole
  const int gateways;
  const world::TemporaryFolder folder;
  campaign::Broker broker;
  Sent* const sent = static_cast<Sent*>(mmap(nullptr, sizeof(Sent) * static_cast<std::size_t>(members),
                                             PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
  std::vector<pid_t> processes;
  std::deque<campaign::SimulatedModem> modems;
  std::deque<campaign::Gateway> services;

  mosquitto* const client = mosquitto_new(nullptr, true, this);
  int messages = 0;  // to each gateway
  std::set<std::string> there;
  std::map<std::string, std::string> states;
  std::set<std::string> open;  // without a final state
  steady_clock::time_point repeated;
};

}  // namespace

campaign::Figures campaign::run(int count, unsigned seed) {
  Figures figures;
  auto& [counts, faults] = figures;
  counts["whole gateways"] = std::max(2, count / kMembersForAWhole);
  counts["played gateways"] = count;
  Fleet fleet(count, counts["whole gateways"], seed);
  const bool isLong = count > 100;
  for (const int awayMs : isLong ? std::vector<int>{2000, 20000, 100000} : std::vector<int>{2000}) {
    const int ms = fleet.restartBroker(awayMs);
    counts["ms until all are back and reconciled"] = std::max(counts["ms until all are back and reconciled"], ms);
  }
  int shownMs = counts["ms until a killed one shows"] = fleet.msUntilShown(0, SIGKILL);
  if (isLong) {  // the broker waits one and a half times the keep-alive
    shownMs = std::max(shownMs, counts["ms until a stopped one shows"] = fleet.msUntilShown(1, SIGSTOP));
  }
  faults["back too late"] = counts["ms until all are back and reconciled"] > kMostMsUntilReconciled ? 1 : 0;
  faults["shown too late"] = shownMs > kMostMsUntilShown ? 1 : 0;
  fleet.account(&figures);
  return figures;
}
