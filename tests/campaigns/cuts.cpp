// Power cuts: the writes and syncs of a service at work are replayed up to a random moment; of what was not synced by
// then, a random part is there, torn at sectors of 512 bytes. Whatever had left the service before must be true still.
#include <fstream>
#include <set>

#include "gateway/outbox/outbox.h"
#include "tests/campaigns/kit.h"

namespace {

using campaign::Figures;
using orvix::gateway::MessageState;

constexpr int kSpeed = 50;
constexpr int kCutsInALife = 100;
constexpr int kMessages = 40;
constexpr std::size_t kSector = 512;

struct Entry {
  char kind = 0;
  std::uint64_t inode = 0;
  std::int64_t offset = 0;
  std::string path;
  std::string bytes;
};

std::string nameOf(const std::string& path) {
  return path.substr(path.rfind('/') + 1);
}

std::vector<Entry> entriesOf(const std::string& file) {
  std::vector<Entry> entries;
  std::ifstream input(file, std::ios::binary);
  std::size_t size = 0;
  for (Entry entry; input >> entry.kind >> entry.inode >> entry.offset >> size;) {
    std::getline(input, entry.path);
    entry.path.erase(0, 1);
    entry.bytes.resize(size);
    input.read(entry.bytes.data(), static_cast<std::streamsize>(size));
    entries.push_back(entry);
  }
  return entries;
}

// The storage folder as a disk has it: what was synced, and what may be there or not.
class Disk {
 public:
  void take(const Entry& entry) {
    const std::string name = nameOf(entry.path);
    if (entry.kind == 'd') {
      names = {names.back()};
    } else if (entry.kind == 's') {
      for (const Entry& write : std::exchange(waiting[entry.inode], {})) {
        apply(write, &contents[entry.inode], nullptr);
      }
    } else if (entry.kind == 'w' || entry.kind == 't') {
      waiting[entry.inode].push_back(entry);
      change([&](Names* now) { (*now)[name] = entry.inode; });
    } else if (entry.kind == 'u') {
      change([&](Names* now) { now->erase(name); });
    } else if (entry.kind == 'r') {
      change([&](Names* now) {
        (*now)[nameOf(entry.bytes)] = (*now)[name];
        now->erase(name);
      });
    }
  }

  // What a power cut leaves of it.
  void leave(const std::string& folder, campaign::Random* random) const {
    for (const auto& [name, inode] : names[static_cast<std::size_t>(random->below(static_cast<int>(names.size())))]) {
      std::string content = contents.count(inode) != 0 ? contents.at(inode) : "";
      for (const Entry& write : waiting.count(inode) != 0 ? waiting.at(inode) : std::vector<Entry>()) {
        apply(write, &content, random);
      }
      std::ofstream(folder + "/" + name, std::ios::binary) << content;
    }
  }

 private:
  using Names = std::map<std::string, std::uint64_t>;

  template <class Change>
  void change(const Change& made) {
    Names now = names.back();
    made(&now);
    if (now != names.back()) {
      names.push_back(now);
    }
  }

  // With chance: not at all, in part or whole.
  static void apply(const Entry& write, std::string* content, campaign::Random* random) {
    const int fate = random == nullptr ? 2 : random->below(3);
    const auto begin = static_cast<std::size_t>(write.offset);
    if (fate == 0) {
      return;
    }
    if (write.kind == 't') {
      return content->resize(begin);
    }
    content->resize(std::max(content->size(), begin + write.bytes.size()));
    for (std::size_t at = 0; at < write.bytes.size(); at += kSector) {
      if (fate == 2 || random->below(2) == 0) {
        content->replace(begin + at, std::min(kSector, write.bytes.size() - at), write.bytes.substr(at, kSector));
      }
    }
  }

  std::vector<Names> names{{}};  // as synced, then as they changed
  std::map<std::uint64_t, std::string> contents;
  std::map<std::uint64_t, std::vector<Entry>> waiting;
};

// A service at work: over HTTP and MQTT, killed and stopped now and then.
std::vector<Entry> live(campaign::Random* random, std::vector<std::string>* ids) {
  const world::TemporaryFolder folder;
  campaign::SimulatedModem first(folder.file("first"));
  campaign::SimulatedModem second(folder.file("second"));
  campaign::Broker broker;
  campaign::Gateway gateway({&first, &second}, {{"mqtt", {{"broker", broker.url()}, {"id", "c"}, {"to", {"*"}}}}},
                            kSpeed);
  const std::string record = gateway.record();
  for (int i = 0; i < kMessages; ++i) {
    if (!gateway.isRunning()) {
      gateway.start();
    }
    ids->push_back("c" + std::to_string(i) + ".");
    const nlohmann::json message{{"id", ids->back()}, {"to", "+49" + std::to_string(1000 + i)}, {"text", ids->back()}};
    i % 2 == 0 ? (void)gateway.post(message) : broker.publish("gsm/c/send", message.dump());
    const int next = random->below(12);
    next == 0 ? gateway.kill() : next == 1 ? gateway.stop() : (void)0;
  }
  gateway.isRunning() ? (void)0 : gateway.start();
  campaign::until([&] { return !gateway.hasWork(); });
  gateway.stop();
  return entriesOf(record);
}

void cut(const std::vector<Entry>& entries, const std::vector<std::string>& ids, campaign::Random* random,
         Figures* figures) {
  Disk disk;
  std::map<std::string, bool> promised;  // and whether as sent
  std::set<std::string> out;
  const int end = random->below(static_cast<int>(entries.size()));
  for (auto entry = entries.begin(); entry != entries.begin() + end; ++entry) {
    disk.take(*entry);
    const bool isTold = entry->kind == 'o' && entry->bytes.find(R"("state":")") != std::string::npos;
    for (const std::string& id : ids) {
      if (isTold && entry->bytes.find(R"("id":")" + id + '"') != std::string::npos) {
        promised[id] = promised[id] || entry->bytes.find(R"("state":"sent")") != std::string::npos;
      } else if (entry->kind == 'l' && entry->bytes.find(id + '\x1a') != std::string::npos) {
        out.insert(id);
      }
    }
  }
  const world::TemporaryFolder folder;
  disk.leave(folder.path(), random);
  figures->counts["acceptances seen before a cut"] += static_cast<int>(promised.size());
  figures->counts["texts seen before a cut"] += static_cast<int>(out.size());
  auto& faults = figures->faults;
  try {
    orvix::gateway::Outbox outbox({folder.path()}, {});
    outbox.recover(outbox.storedTimeMs());
    outbox.commit();
    faults["unsound databases"] += outbox.check().empty() ? 0 : 1;
    for (const auto& [id, isSent] : promised) {
      const auto message = outbox.find(id);
      faults["acceptances lost"] += message ? 0 : 1;
      faults["ends forgotten"] += isSent && message && message->state != MessageState::kSent ? 1 : 0;
    }
    for (const std::string& id : out) {
      const auto message = outbox.find(id);
      const bool isKept =
          message && (message->state == MessageState::kSent || message->state == MessageState::kUncertain);
      faults["texts out and forgotten"] += isKept ? 0 : 1;
    }
  } catch (const orvix::gateway::StoreError&) {
    ++faults["databases that do not open"];
  }
}

}  // namespace

campaign::Figures campaign::run(int count, unsigned seed) {
  Figures figures;
  figures.faults["databases that do not open"] = 0;
  Random random(seed);
  for (int left = count; left > 0; left -= kCutsInALife) {
    std::vector<std::string> ids;
    const std::vector<Entry> entries = live(&random, &ids);
    figures.counts["writes, syncs and sends recorded"] += static_cast<int>(entries.size());
    for (int cuts = std::min(left, kCutsInALife); cuts > 0; --cuts, ++figures.counts["power cuts"]) {
      cut(entries, ids, &random, &figures);
    }
  }
  return figures;
}
