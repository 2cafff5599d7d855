// The built gateway as its users meet it, beside bare SQLite on the same disk. Prints a table in Markdown.

#include <poll.h>
#include <sqlite3.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <exception>
#include <memory>
#include <thread>

#include "bench/gatewayService.h"
#include "gateway/outbox/schema.h"
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
using bench::require;
using bench::Service;

double timeOf(const std::function<void()>& work) {
  const double begin = nowMs();
  work();
  return nowMs() - begin;
}

double quantile(std::vector<double> values, double share) {
  std::sort(values.begin(), values.end());
  return values[static_cast<std::size_t>(share * static_cast<double>(values.size() - 1))];
}

// What accepting a message writes, in the gateway's tables and with its settings, by SQLite straight away.
class BareOutbox {
 public:
  explicit BareOutbox(const fs::path& folder) {
    orvix::gateway::StoreFolder(folder).openDatabase();
    require(sqlite3_open((folder / "outbox.db").c_str(), &database) == SQLITE_OK, "no database");
    run("PRAGMA locking_mode = EXCLUSIVE; PRAGMA journal_mode = WAL; PRAGMA synchronous = FULL;"
        "PRAGMA cache_size = -1024; PRAGMA wal_autocheckpoint = 4096");
    constexpr char kInsert[] =
        "INSERT INTO message(id, owner, fingerprint, recipient, text, priority, on_uncertain, wanted, charsets,"
        " accepted, expires, state, doubt, attempts, retries, modem, reason)"
        " VALUES(?1, 'socket', ?2, ?5, ?3, 1, 0, '', 3, ?4, ?4 + 86400000, 0, 0, 0, 0, '', '')";
    require(sqlite3_prepare_v2(database, kInsert, -1, &insert, nullptr) == SQLITE_OK, "not prepared");
    require(sqlite3_prepare_v2(database, "UPDATE clock SET time = ?1", -1, &clock, nullptr) == SQLITE_OK,
            "not prepared");
  }
  ~BareOutbox() {
    sqlite3_finalize(insert);
    sqlite3_finalize(clock);
    sqlite3_close(database);
  }
  BareOutbox(const BareOutbox&) = delete;
  BareOutbox& operator=(const BareOutbox&) = delete;

  void commitOne() {
    const std::string id = nextId();
    const std::string fingerprint(64, 'f');
    const auto time = static_cast<std::int64_t>(nowMs());
    sqlite3_bind_text(insert, 1, id.c_str(), -1, SQLITE_TRANSIENT);
    sqlite3_bind_text(insert, 2, fingerprint.c_str(), -1, SQLITE_TRANSIENT);
    sqlite3_bind_text(insert, 3, bench::kText, -1, SQLITE_STATIC);
    sqlite3_bind_int64(insert, 4, time);
    sqlite3_bind_text(insert, 5, bench::kNumber, -1, SQLITE_STATIC);
    sqlite3_bind_int64(clock, 1, time);
    run("BEGIN IMMEDIATE");
    for (sqlite3_stmt* const statement : {insert, clock}) {
      require(sqlite3_step(statement) == SQLITE_DONE, "not inserted");
      sqlite3_reset(statement);
    }
    run("COMMIT");
  }

 private:
  void run(const char* sql) {
    require(sqlite3_exec(database, sql, nullptr, nullptr, nullptr) == SQLITE_OK, sqlite3_errmsg(database));
  }

  sqlite3* database = nullptr;
  sqlite3_stmt* insert = nullptr;
  sqlite3_stmt* clock = nullptr;
};

// A simulated modem that tells when a message's first command has come.
class Modem {
 public:
  Modem() {
    modem.onTrace([this](simulator::Direction direction, std::string_view bytes) {
      if (direction == simulator::Direction::kToModem && bytes.find("AT+CMGF=1") != std::string_view::npos) {
        beganMs = nowMs();
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

 private:
  simulator::Modem modem;
  simulator::PtyLine line;
  simulator::StopEvent stop;
  std::thread thread;
};

void print(const std::string& what, double value, const std::string& mark, const std::string& verdict) {
  std::printf("| %s | %.*f | %s | %s |\n", what.c_str(), value < 10 ? 2 : 0, value, mark.c_str(), verdict.c_str());
  std::fflush(stdout);
}

void row(const std::string& what, double value) {
  print(what, value, "-", "-");
}

void row(const std::string& what, double value, const std::string& kind, double mark) {
  char number[32];
  std::snprintf(number, sizeof number, " %g", mark);
  const bool isMet = kind == "at most" ? value <= mark : value >= mark;
  print(what, value, kind + number, isMet ? "ok" : "missed");
}

// Each client posts its next message as soon as it has its answer; gives ms for all.
double postAtOnce(const std::vector<const Client*>& clients, int messages) {
  return timeOf([&clients, messages] {
    std::vector<pollfd> waiting;
    int posted = 0;
    for (const Client* const client : clients) {
      client->post(nextId());
      ++posted;
      waiting.push_back({client->descriptor, POLLIN, 0});
    }
    for (int done = 0; done < messages;) {
      poll(waiting.data(), waiting.size(), -1);
      for (std::size_t i = 0; i < clients.size(); ++i) {
        if (waiting[i].revents == 0) {
          continue;
        }
        clients[i]->awaitAcceptance();
        ++done;
        if (posted < messages) {
          clients[i]->post(nextId());
          ++posted;
        }
      }
    }
  });
}

// In turns, so that what else the machine does meets product and limit alike.
constexpr int kTurns = 20;

// Gives the median ms of a commit.
double measureAcceptance(const Service& service, BareOutbox* bare) {
  constexpr int kStretch = 50;
  const Client client(service.socketPath());
  std::vector<double> product;
  std::vector<double> limit;
  double bytes = 0;
  for (int turn = 0; turn < kTurns; ++turn) {
    bytes -= service.bytesWritten();
    for (int i = 0; i < kStretch; ++i) {
      product.push_back(timeOf([&client] {
        client.post(nextId());
        client.awaitAcceptance();
      }));
    }
    bytes += service.bytesWritten();
    for (int i = 0; i < kStretch; ++i) {
      limit.push_back(timeOf([bare] { bare->commitOne(); }));
    }
  }
  row("commit by bare SQLite, median ms", quantile(limit, 0.5));
  row("commit by bare SQLite, 99 of 100 within ms", quantile(limit, 0.99));
  row("acceptance, median ms", quantile(product, 0.5));
  row("acceptance, 99 of 100 within ms", quantile(product, 0.99));
  row("acceptance, median, x bare SQLite's", quantile(product, 0.5) / quantile(limit, 0.5));
  row("acceptance, 99 of 100 within, x bare SQLite's", quantile(product, 0.99) / quantile(limit, 0.99), "at most", 2.5);
  row("acceptance, bytes written", bytes / (kTurns * kStretch));
  row("acceptance, syncs", service.syncsOf([&client] { postAtOnce({&client}, kStretch); }) / double{kStretch});
  return quantile(limit, 0.5);
}

void measureManyClients(const Service& service, BareOutbox* bare) {
  constexpr int kEach = 20;
  std::vector<std::unique_ptr<Client>> kept;
  std::vector<const Client*> clients;
  for (int i = 0; i < 16; ++i) {
    clients.push_back(kept.emplace_back(std::make_unique<Client>(service.socketPath())).get());
  }
  const int together = kEach * static_cast<int>(clients.size());
  double many = 0;
  double one = 0;
  double limit = 0;
  for (int turn = 0; turn < kTurns; ++turn) {
    many += postAtOnce(clients, together) / together;
    one += postAtOnce({clients[0]}, kEach) / kEach;
    for (int i = 0; i < kEach; ++i) {
      limit += timeOf([bare] { bare->commitOne(); }) / kEach;
    }
  }
  row("16 clients at once, messages per second", kTurns * 1000 / many);
  row("16 clients at once, x one client's rate", one / many);
  row("16 clients at once, x bare SQLite's rate", limit / many, "at least", 5);
}

// Until the message is sent; gives ms from its posting to its first command on the line.
double sendOne(const Client& client, const Modem& modem) {
  const std::string id = nextId();
  const double begin = nowMs();
  client.post(id);
  client.awaitAcceptance();
  const auto isSent = [&] { return client.get("/v1/messages/" + id).find(R"("state":"sent")") != std::string::npos; };
  bench::waitUntil(isSent, "sent");
  return modem.beganMs - begin;
}

void measureSending(const Service& service, const Modem& modem, double commitMs) {
  constexpr int kMessages = 5;
  const Client client(service.socketPath());
  double bytes = -service.bytesWritten();
  std::vector<double> delays;
  for (int i = 0; i < kMessages; ++i) {
    delays.push_back(sendOne(client, modem) - 2 * commitMs);
  }
  bytes += service.bytesWritten();
  row("posted to on the line, less two commits, median ms", quantile(delays, 0.5), "at most", 20);
  row("posted to on the line, less two commits, slowest ms", quantile(delays, 1));
  row("posted to sent, bytes written", bytes / kMessages);
  row("posted to sent, syncs", service.syncsOf([&] { sendOne(client, modem); }));
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

void measureIdleness(const Service& service) {
  constexpr int kIdleMs = 60000;
  const auto cpu = [&service] { return bench::cpuMs(service.supervisor()) + bench::cpuMs(service.worker()); };
  const double cpuBefore = cpu();
  const double bytesBefore = service.bytesWritten();
  poll(nullptr, 0, kIdleMs);
  row("idle for a minute, % of a core", (cpu() - cpuBefore) * 100 / kIdleMs, "at most", 0.1);
  row("idle for a minute, bytes written", service.bytesWritten() - bytesBefore);
}

void measureOnModem(const fs::path& folder, double commitMs) {
  const Modem modem;
  const Service service(folder, modem.path());
  const auto isReady = [&service] {
    return Client(service.socketPath()).get("/v1/modems").find(R"("state":"ready")") != std::string::npos;
  };
  bench::waitUntil(isReady, "ready");
  measureSending(service, modem, commitMs);
  measureMemory(service);
  measureIdleness(service);
}

void measureAll(const fs::path& folder) {
  double commitMs = 0;
  {
    const Service service(folder / "doors", folder / "no-such-modem");
    BareOutbox bare(folder / "bare");
    commitMs = measureAcceptance(service, &bare);
    measureManyClients(service, &bare);
  }
  measureOnModem(folder / "modem", commitMs);
}

}  // namespace

int main() {
  std::string folder = (fs::temp_directory_path() / "gatewayBench.XXXXXX").string();
  int status = 0;
  try {
    require(mkdtemp(folder.data()) != nullptr, "no temporary folder");
    std::printf("| what | value | mark | verdict |\n| --- | --- | --- | --- |\n");
    measureAll(folder);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "gatewayBench: %s\n", error.what());
    status = 2;
  }
  fs::remove_all(folder);
  return status;
}
