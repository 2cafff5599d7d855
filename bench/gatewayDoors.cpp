// How fast messages are accepted: one client, sixteen, a storm; compared with bare SQLite, in turns.

#include <poll.h>
#include <sqlite3.h>

#include <cstdlib>
#include <deque>
#include <memory>

#include "bench/gatewayService.h"
#include "bench/gatewayTable.h"
#include "gateway/outbox/schema.h"

namespace {

namespace fs = std::filesystem;
using bench::Client;
using bench::nextId;
using bench::nowMs;
using bench::procField;
using bench::quantile;
using bench::require;
using bench::row;
using bench::Service;
using bench::timeOf;

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
        " accepted, expires, lifetime, state, doubt, attempts, retries, modem, reason)"
        " VALUES(?1, 'socket', ?2, ?5, ?3, 1, 0, '', 3, ?4, ?4 + 86400000, 86400000, 0, 0, 0, 0, '', '')";
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

constexpr std::size_t kClients = 16;

// Connections that are kept, each with one request at a time. The time of a request counts from when it was due.
class Crowd {
 public:
  explicit Crowd(const Service& service) {
    for (std::size_t i = 0; i < kClients; ++i) {
      clients.push_back(std::make_unique<Client>(service.socketPath()));
      waiting.push_back({clients.back()->descriptor, POLLIN, 0});
    }
  }

  bool isFull() const { return busy == kClients; }
  bool isEmpty() const { return busy == 0; }

  // They take turns: one that is idle for long would be closed by the service.
  void post(double atMs) {
    do {
      last = (last + 1) % kClients;
    } while (dueMs[last] != 0);
    dueMs[last] = atMs;
    ++busy;
    clients[last]->post(nextId());
  }

  // Takes the answers that come within that time, and gives what each took.
  std::vector<double> take(double patienceMs) {
    std::vector<double> took;
    if (poll(waiting.data(), waiting.size(), static_cast<int>(patienceMs)) <= 0) {
      return took;
    }
    for (std::size_t i = 0; i < kClients; ++i) {
      if (waiting[i].revents != 0) {
        clients[i]->awaitAcceptance();
        took.push_back(nowMs() - dueMs[i]);
        dueMs[i] = 0;
        --busy;
      }
    }
    return took;
  }

 private:
  std::vector<std::unique_ptr<Client>> clients;
  std::vector<pollfd> waiting;
  double dueMs[kClients] = {};  // 0: free
  std::size_t busy = 0;
  std::size_t last = 0;  // to post
};

// Each client posts its next message as soon as it has its answer.
void postAtOnce(Crowd* crowd, int messages) {
  for (int posted = 0; posted < messages || !crowd->isEmpty();) {
    while (posted < messages && !crowd->isFull()) {
      crowd->post(nowMs());
      ++posted;
    }
    crowd->take(-1);
  }
}

void postOne(const Client& client) {
  client.post(nextId());
  client.awaitAcceptance();
}

// One of the one and one of the other, so that what else the machine does meets both.
void measureAcceptance(const Service& service, BareOutbox* bare) {
  constexpr int kPairs = 2000;
  const Client client(service.socketPath());
  std::vector<double> product;
  std::vector<double> limit;
  const double bytes = -service.bytesWritten();
  for (int i = 0; i < kPairs; ++i) {
    product.push_back(timeOf([&client] { postOne(client); }));
    limit.push_back(timeOf([bare] { bare->commitOne(); }));
  }
  row("commit by bare SQLite, median ms", quantile(limit, 0.5));
  row("commit by bare SQLite, 99 of 100 within ms", quantile(limit, 0.99));
  row("acceptance, median ms", quantile(product, 0.5));
  row("acceptance, 99 of 100 within ms", quantile(product, 0.99));
  row("acceptance, median, x bare SQLite's", quantile(product, 0.5) / quantile(limit, 0.5));
  row("acceptance, 99 of 100 within, x bare SQLite's", quantile(product, 0.99) / quantile(limit, 0.99), "at most", 2.5);
  row("acceptance, bytes written to disk", (bytes + service.bytesWritten()) / kPairs);
  constexpr int kTraced = 50;
  const auto postSome = [&client] {
    for (int i = 0; i < kTraced; ++i) {
      postOne(client);
    }
  };
  row("acceptance, syncs", service.syncsOf(postSome) / double{kTraced});
}

// `disk` is told after the number of clients. The mark, where there is one, is for the ratio to one commit each.
void measureManyClients(const Service& service, BareOutbox* bare, const std::string& disk, double mark) {
  constexpr int kTurns = 20;
  constexpr int kEach = 10;
  constexpr int kTogether = kEach * kClients;
  Crowd crowd(service);
  const Client single(service.socketPath());
  std::vector<double> rate;
  std::vector<double> toOneClient;
  std::vector<double> toBare;
  for (int turn = 0; turn < kTurns; ++turn) {
    const double many = timeOf([&crowd] { postAtOnce(&crowd, kTogether); }) / kTogether;
    double one = 0;
    double limit = 0;
    for (int i = 0; i < kEach; ++i) {
      one += timeOf([&single] { postOne(single); }) / kEach;
      limit += timeOf([bare] { bare->commitOne(); }) / kEach;
    }
    rate.push_back(1000 / many);
    toOneClient.push_back(one / many);
    toBare.push_back(limit / many);
  }
  const std::string what = "16 clients at once" + disk;
  row(what + ", messages per second", quantile(rate, 0.5));
  row(what + ", x one client's rate", quantile(toOneClient, 0.5));
  if (mark > 0) {
    row(what + ", x bare SQLite's rate with a commit each", quantile(toBare, 0.5), "at least", mark);
  } else {
    row(what + ", x bare SQLite's rate with a commit each", quantile(toBare, 0.5));
  }
}

// As many alarms in a minute as a large plant may raise, at a steady pace.
void measureStorm(const Service& service) {
  constexpr int kMessages = 28000;
  constexpr double kStormMs = 60000;
  Crowd crowd(service);
  const double residentKb = procField(service.supervisor(), "status", "VmRSS");
  const double begin = nowMs();
  std::vector<double> took;
  for (int posted = 0; posted < kMessages || !crowd.isEmpty();) {
    const double dueMs = begin + posted * kStormMs / kMessages;
    const bool isDue = posted < kMessages && !crowd.isFull() && nowMs() >= dueMs;
    if (isDue) {
      crowd.post(dueMs);
      ++posted;
    }
    for (const double ms : crowd.take(isDue ? 0 : 1)) {
      took.push_back(ms);
    }
  }
  row("storm of 28,000 in 60 s, accepted", static_cast<double>(took.size()), "at least", kMessages);
  row("storm, s until the last was accepted", (nowMs() - begin) / 1000);
  row("storm, acceptance, 99 of 100 within ms", quantile(took, 0.99), "at most", 50);
  row("storm, slowest acceptance, ms", quantile(took, 1));
  row("storm, growth of the supervisor, kB", procField(service.supervisor(), "status", "VmHWM") - residentKb, "at most",
      4096);
}

}  // namespace

void bench::measureDoors(const fs::path& folder) {
  {
    const Service service(folder / "doors", {folder / "no-such-modem"});
    BareOutbox bare(folder / "bare");
    measureAcceptance(service, &bare);
    measureManyClients(service, &bare, "", 0);
    measureStorm(service);
  }
  setenv("BENCH_SYNC_MS", "5", 1);
  {
    const Service service(folder / "slow", {folder / "no-such-modem", 60, 0, true});
    BareOutbox bare(folder / "slow-bare");
    measureManyClients(service, &bare, ", 5 ms for each sync", 5);
  }
  unsetenv("BENCH_SYNC_MS");
}
