#include "tests/campaigns/kit.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <utility>

#include "gateway/client/httpClient.h"

namespace campaign {

using nlohmann::json;

namespace {

std::int64_t realMs() {
  using namespace std::chrono;
  return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

}  // namespace

bool until(const std::function<bool()>& condition) {
  for (const std::int64_t endMs = realMs() + 120000; !condition();) {
    if (realMs() > endMs) {
      return false;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return true;
}

pid_t launch(const std::vector<std::string>& words, const std::string& log, const std::string& controlFile) {
  std::vector<char*> arguments;
  arguments.reserve(words.size() + 1);
  for (const std::string& word : words) {
    arguments.push_back(const_cast<char*>(word.c_str()));
  }
  arguments.push_back(nullptr);
  const pid_t pid = fork();
  if (pid == 0) {
    setpgid(0, 0);
    if (!controlFile.empty()) {
      setenv("LD_PRELOAD", ORVIX_FAST_TIME, 1);
      setenv("ORVIX_CONTROL", controlFile.c_str(), 1);
    }
    dup2(open(log.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600), 2);
    execvp(arguments[0], arguments.data());
    _exit(127);
  }
  return pid;
}

Broker::Broker() {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  (void)bind(socket, reinterpret_cast<sockaddr*>(&address), size);
  getsockname(socket, reinterpret_cast<sockaddr*>(&address), &size);
  close(socket);
  port = std::to_string(ntohs(address.sin_port));
  // One that listens to a whole fleet is behind for a moment: no limit, and nothing is dropped.
  configuration =
      folder.write("broker.conf", "listener " + port + " 127.0.0.1\nallow_anonymous true\nmax_queued_messages 0\n");
  start();
}

Broker::~Broker() {
  kill();
}

void Broker::start() {
  pid = launch({"/usr/sbin/mosquitto", "-c", configuration}, folder.file("log"));
}

void Broker::kill() {
  if (pid != -1) {
    ::kill(pid, SIGKILL);
    waitpid(std::exchange(pid, -1), nullptr, 0);
  }
}

void Broker::publish(const std::string& topic, const std::string& payload) const {
  int status = 1;
  until([&] {
    const std::vector<std::string> words{"mosquitto_pub", "-p", port, "-q", "1", "-t", topic, "-m", payload};
    waitpid(launch(words, folder.file("log")), &status, 0);
    return status == 0;
  });
}

SimulatedModem::SimulatedModem(const std::string& path, const orvix::simulator::ModemOptions& options, Kind itsKind)
    : link(path), modem(options, itsKind), line(path, itsKind == kRenumbered) {
  modem.onMessage([this](const orvix::simulator::Message& message) {
    const std::lock_guard<std::mutex> lock(mutex);
    texts[message.text] += message.reference ? 1 : 0;
  });
  modem.onTrace([this](orvix::simulator::Direction direction, std::string_view bytes) {
    isAtPrompt = direction == orvix::simulator::Direction::kFromModem && bytes.find("> ") != std::string::npos;
    const std::lock_guard<std::mutex> lock(mutex);
    lastLine = direction == orvix::simulator::Direction::kToModem ? bytes : lastLine;
    prompted.insert(isAtPrompt ? lastLine : "");
    begunMs = bytes == "AT+CMGF=1" && begunMs == 0 ? realMs() : begunMs.load();
  });
  const auto onReturn = [this] {
    begunMs = 0;
    returnedMs = realMs();
    hasReturnedAtPrompt = isAtPrompt && modem.kind == kKeepsPower;
  };
  runner = std::thread([this, onReturn] { orvix::simulator::run(modem, line, stop, {onReturn, &plug}); });
}

void SimulatedModem::Modem::unplug() {
  if (kind != kKeepsPower) {
    orvix::simulator::Modem::unplug();
  }
}

SimulatedModem::~SimulatedModem() {
  stop.request();
  runner.join();
}

std::map<std::string, int> SimulatedModem::sent() {
  const std::lock_guard<std::mutex> lock(mutex);
  return texts;
}

bool SimulatedModem::hasPrompted(const std::string& number) {
  const std::lock_guard<std::mutex> lock(mutex);
  return prompted.count("AT+CMGS=\"" + number + '"') != 0;
}

Gateway::Gateway(const std::vector<SimulatedModem*>& itsModems, json settings, int speed) : modems(itsModems) {
  for (const SimulatedModem* const modem : modems) {
    const std::string name = "m" + std::to_string(settings["modems"].size());
    const std::string file = folder.write(name + ".json", world::configurationText(modem->link + ":115200,n,8,1"));
    settings["modems"].push_back({{"name", name}, {"config", file}, {"perDay", 0}});
  }
  settings["plugin"] = ORVIX_MODULE;
  settings["storage"]["folder"] = folder.file("store");
  settings["http"].update({{"socket", socket}, {"listen", ""}});
  folder.write("gateway.json", settings.dump());
  const int page = open(folder.write("control", std::string(sizeof(Control), '\0')).c_str(), O_RDWR | O_CLOEXEC);
  control = new (mmap(nullptr, sizeof(Control), PROT_READ | PROT_WRITE, MAP_SHARED, page, 0)) Control;
  close(page);
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  control->wallStartNs = nsOf(now);
  control->speed = speed;
}

Gateway::~Gateway() {
  kill();
  munmap(control, sizeof(Control));
}

void Gateway::start() {
  pid = launch({ORVIX_GATEWAY, "--config", folder.file("gateway.json"), "run"}, folder.file("log"),
               folder.file("control"));
  control->supervisor = pid;
  until([this] { return !text("/v1/modems").empty() || !isRunning(); });
}

bool Gateway::isRunning() {
  int status = 0;
  if (pid != -1 && waitpid(pid, &status, WNOHANG) == pid) {
    ends += status == 0 || (WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) ? 0 : 1;
    pid = -1;
  }
  return pid != -1;
}

void Gateway::kill(bool isWithWorkers) {
  if (pid != -1) {
    ::kill(isWithWorkers ? -pid : pid, SIGKILL);
    waitpid(pid, nullptr, 0);
    pid = -1;
  }
}

void Gateway::stop() {
  if (!isRunning()) {
    return;
  }
  ::kill(pid, SIGTERM);
  until([this] { return !isRunning(); });
}

std::vector<pid_t> Gateway::workers() const {
  const std::string task = "/proc/" + std::to_string(pid) + "/task/" + std::to_string(pid);
  std::ifstream children(task + "/children");
  return {std::istream_iterator<pid_t>(children), {}};
}

int Gateway::post(const json& message) try {
  return orvix::gateway::request(socket, "POST", "/v1/messages", message.dump()).status;
} catch (const std::runtime_error&) {
  return 0;
}

std::string Gateway::text(const std::string& target) try {
  const orvix::gateway::HttpReply reply = orvix::gateway::request(socket, "GET", target);
  return reply.status == 200 ? reply.body : "";
} catch (const std::runtime_error&) {
  return "";
}

// Both counts at one moment: between two questions a message may go from one state to the other.
bool Gateway::hasWork() {
  const std::string page = text("/v1/status");
  return page.empty() || json::parse(page)["queue"]["queued"] != 0 || json::parse(page)["queue"]["attempting"] != 0;
}

std::map<std::string, json> Gateway::account(const std::map<std::string, std::string>& texts, Figures* figures) {
  auto& [counts, faults] = *figures;
  for (const char* const fault : {"lost", "sent twice", "strange texts", "untrue", "provable doubts", "crashes"}) {
    faults[fault] += 0;
  }
  std::map<std::string, int> sent;
  for (SimulatedModem* const modem : modems) {
    for (const auto& [text, count] : modem->sent()) {
      sent[text] += count;
    }
  }
  std::map<std::string, json> told;
  std::map<std::string, int> strange = sent;
  for (const auto& [id, sentText] : texts) {
    const std::string page = text("/v1/messages/" + id);
    const json& message = told[id] = page.empty() ? json{{"state", "lost"}} : json::parse(page);
    const std::string state = message.at("state");
    ++counts[state];
    strange.erase(sentText);
    faults["lost"] += state == "lost" || state == "queued" || state == "attempting" ? 1 : 0;
    faults["sent twice"] += sent[sentText] > 1 ? 1 : 0;
    const std::string attempts = std::to_string(message.value("attempts", json::array()).size());
    const std::string recording = text("/v1/messages/" + id + "/attempts/" + attempts + "/recording");
    // Behind the Ctrl-Z: in front of it stands another message's late result.
    const std::size_t result = recording.find(R"(\n+CMGS: )", recording.find(R"(\x1a)"));
    const bool isProvable = state == "uncertain" && result != std::string::npos;
    const bool isUntrue = state != "uncertain" && (state == "sent") != (sent[sentText] > 0);
    faults["provable doubts"] += isProvable ? 1 : 0;
    faults["untrue"] += isUntrue ? 1 : 0;
    if (isProvable || isUntrue) {
      std::fprintf(stderr, "%s\n%s", message.dump().c_str(), recording.c_str());
    }
  }
  for (const auto& [text, count] : strange) {
    ++faults["strange texts"];
    std::fprintf(stderr, "sent %d times: %s\n", count, text.c_str());
  }
  countCrashes(figures);
  return told;
}

void Gateway::countCrashes(Figures* figures) const {
  figures->faults["crashes"] += ends;
  std::ifstream log(folder.file("log"));
  for (std::string line; std::getline(log, line);) {
    const bool isSignal = line.find(" ended with signal ") != std::string::npos;
    figures->faults["crashes"] += isSignal && line.find("Killed") == std::string::npos ? 1 : 0;
  }
}

}  // namespace campaign

int main(int argc, char** argv) {
  const unsigned seed = argc > 2 ? static_cast<unsigned>(std::atoi(argv[2])) : 1;
  const campaign::Figures figures = campaign::run(std::atoi(argv[1]), seed);
  std::string line;
  int faults = 0;
  for (const auto* const group : {&figures.counts, &figures.faults}) {
    for (const auto& [name, count] : *group) {
      line += (line.empty() ? "" : ", ") + std::to_string(count) + " " + name;
      faults += group == &figures.faults ? count : 0;
    }
  }
  std::printf("%s (seed %u)\n", line.c_str(), seed);
  return faults == 0 ? 0 : 1;
}
