// What a simulated modem brings: the way of a message to it and of a report from it, memory, and idleness.

#include <mosquitto.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <fstream>
#include <thread>

#include "bench/gatewayService.h"
#include "bench/gatewayTable.h"
#include "simulator/modem.h"
#include "simulator/ptyLine.h"
#include "simulator/runLoop.h"

namespace {

namespace fs = std::filesystem;
namespace simulator = orvix::simulator;
using bench::Client;
using bench::nextId;
using bench::nowMs;
using bench::procField;
using bench::quantile;
using bench::require;
using bench::row;
using bench::Service;

// Tells when a message's first command has come, and when the last answer of a report went out.
class Modem {
 public:
  Modem() {
    modem.onTrace([this](simulator::Direction direction, std::string_view bytes) {
      const bool isToModem = direction == simulator::Direction::kToModem;
      if (isToModem && bytes.find("AT+CMGF=1") != std::string_view::npos) {
        beganMs = nowMs();
      }
      if (!isToModem && bytes.find("+CREG:") != std::string_view::npos) {
        answeredMs = nowMs();
      }
    });
    thread = std::thread([this] { simulator::run(modem, line, stop); });
  }
  ~Modem() {
    stop.request();
    thread.join();
  }
  Modem(const Modem&) = delete;
  Modem& operator=(const Modem&) = delete;

  std::string path() const { return line.slavePath(); }

  std::atomic<double> beganMs{0};
  std::atomic<double> answeredMs{0};

 private:
  simulator::Modem modem;
  simulator::PtyLine line;
  simulator::StopEvent stop;
  std::thread thread;
};

// Mosquitto on loopback, and what came of the modem's reports.
class Broker {
 public:
  explicit Broker(const fs::path& folder)
      : port(freePort()),
        process(configure(folder, port), folder / "broker-output"),
        client(mosquitto_new(nullptr, true, this)) {
    mosquitto_connect_callback_set(client, [](mosquitto* self, void*, int) {
      mosquitto_subscribe(self, nullptr, "gsm/bench/modem/main/report", 1);
    });
    mosquitto_message_callback_set(client, [](mosquitto*, void* broker, const mosquitto_message*) {
      static_cast<Broker*>(broker)->toldMs = nowMs();
    });
    bench::waitUntil([this] { return mosquitto_connect(client, "127.0.0.1", port, 60) == MOSQ_ERR_SUCCESS; },
                     "the broker");
    mosquitto_loop_start(client);
  }
  ~Broker() {
    mosquitto_disconnect(client);
    mosquitto_loop_stop(client, false);
    mosquitto_destroy(client);
  }
  Broker(const Broker&) = delete;
  Broker& operator=(const Broker&) = delete;

  const int port;
  std::atomic<double> toldMs{0};

 private:
  static int freePort() {
    const int descriptor = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    require(bind(descriptor, reinterpret_cast<const sockaddr*>(&address), size) == 0, "no port");
    getsockname(descriptor, reinterpret_cast<sockaddr*>(&address), &size);
    close(descriptor);
    return ntohs(address.sin_port);
  }

  static std::vector<std::string> configure(const fs::path& folder, int port) {
    fs::create_directory(folder);
    std::ofstream(folder / "broker.conf") << "listener " << port << " 127.0.0.1\nallow_anonymous true\n";
    return {"mosquitto", "-c", folder / "broker.conf"};
  }

  bench::Process process;
  mosquitto* client;
};

// A report may be under way, which takes some seconds, and no message begins before its end.
void awaitIdleness(const Client& client) {
  const auto isIdle = [&client] {
    const std::string modems = client.get("/v1/modems");
    return modems.find(R"("doing":"waiting")") != std::string::npos && modems.find(R"("dBm")") != std::string::npos;
  };
  bench::waitUntil(isIdle, "idle");
}

// Until the message is sent; gives ms from its acceptance to its first command on the line.
double sendOne(const Client& client, const Modem& modem) {
  awaitIdleness(client);
  const std::string id = nextId();
  client.post(id);
  client.awaitAcceptance();
  const double accepted = nowMs();
  const auto isSent = [&] { return client.get("/v1/messages/" + id).find(R"("state":"sent")") != std::string::npos; };
  bench::waitUntil(isSent, "sent");
  return modem.beganMs - accepted;
}

// What is between acceptance and the line: the commit of "attempting", and the way to the worker.
void measureSending(const Service& service, const Modem& modem) {
  constexpr int kMessages = 7;
  const Client client(service.socketPath());
  const double bytes = -service.bytesWritten();
  std::vector<double> delays;
  for (int i = 0; i < kMessages; ++i) {
    delays.push_back(sendOne(client, modem));
  }
  row("accepted to on the line, idle, median ms", quantile(delays, 0.5), "at most", 20);
  row("accepted to on the line, idle, slowest ms", quantile(delays, 1));
  row("posted to sent, bytes written to disk", (bytes + service.bytesWritten()) / kMessages);
  row("posted to sent, syncs", service.syncsOf([&] { sendOne(client, modem); }));
}

// The plug-in reads an answer when its fixed wait is over.
void measureReports(const fs::path& folder) {
  constexpr int kReports = 7;
  constexpr double kWaitMs = 1500;
  const Modem modem;
  Broker broker(folder);
  const Service service(folder, {modem.path(), 1, broker.port});
  std::vector<double> delays;
  for (int i = 0; i < kReports; ++i) {
    const double before = broker.toldMs;
    bench::waitUntil([&] { return broker.toldMs > before; }, "a report over MQTT");
    delays.push_back(broker.toldMs - modem.answeredMs - kWaitMs);
  }
  row("modem's answer to MQTT, less the plug-in's wait, median ms", quantile(delays, 0.5), "at most", 50);
  row("modem's answer to MQTT, less the plug-in's wait, slowest ms", quantile(delays, 1));
}

void measureMemory(const Service& service) {
  double shared = 0;
  for (const auto& [name, id] :
       {std::pair("supervisor", service.supervisor()), std::pair("worker", service.worker())}) {
    row(std::string(name) + ", resident kB", procField(id, "status", "VmRSS"));
    shared += procField(id, "smaps_rollup", "Pss");
  }
  row("both, resident kB, what is shared by its share", shared);
  row("worker, resident kB of its own", procField(service.worker(), "smaps_rollup", "Private_Dirty"), "at most", 2048);
}

// A report a minute, of which one in five minutes may be written.
void measureIdleness(const Service& service) {
  constexpr int kMinutes = 5;
  constexpr int kIdleMs = kMinutes * 60000;
  const auto sum = [&service](auto figure) { return figure(service.supervisor()) + figure(service.worker()); };
  const double cpuBefore = sum(bench::cpuMs);
  const double wakesBefore = sum(bench::wakeUps);
  const double bytesBefore = service.bytesWritten();
  poll(nullptr, 0, kIdleMs);
  row("idle with a report a minute, % of a core", (sum(bench::cpuMs) - cpuBefore) * 100 / kIdleMs, "at most", 0.1);
  row("idle, wake-ups a minute", (sum(bench::wakeUps) - wakesBefore) / kMinutes);
  row("idle for 5 minutes, bytes written to disk", service.bytesWritten() - bytesBefore);
  row("idle for 5 minutes, syncs", service.syncsOf([] { poll(nullptr, 0, kIdleMs); }), "at most", 1);
}

}  // namespace

void bench::measureOnModem(const fs::path& folder) {
  measureReports(folder / "reports");
  const Modem modem;
  const Service service(folder / "modem", {modem.path()});
  measureSending(service, modem);
  measureMemory(service);
  measureIdleness(service);
}
