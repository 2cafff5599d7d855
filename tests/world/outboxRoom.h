// An outbox in a folder of its own and a time of the test's own, checked at the end of each test.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>

#include "gateway/outbox/outbox.h"
#include "tests/world/host.h"

namespace orvix::gateway {

inline constexpr std::int64_t kSecond = 1000;
inline constexpr std::int64_t kHour = 3600 * kSecond;
inline constexpr std::int64_t kDay = 24 * kHour;

class OutboxRoom : public testing::Test {
 protected:
  OutboxRoom() { storage.folder = root.file("store"); }
  ~OutboxRoom() override {
    if (outbox) {
      EXPECT_EQ(outbox->check(), "");
    }
  }

  void open() {
    outbox.reset();
    outbox = std::make_unique<Outbox>(storage, sending);
  }

  NewMessage message(const std::string& to) const {
    NewMessage made;
    made.to = to;
    made.owner = "socket";
    made.text = "hello";
    made.expiresMs = now + kDay;
    return made;
  }
  // Under the next of the ids "m1", "m2" ...; returns it.
  std::string accept(NewMessage made) {
    made.id = "m" + std::to_string(++accepted);
    outbox->accept({made.id, made.owner, "print", false, {made}}, now);
    return made.id;
  }
  std::string accept(const std::string& to, Priority priority = Priority::kNormal) {
    NewMessage made = message(to);
    made.priority = priority;
    return accept(made);
  }

  // The id that a modem takes next; "" for none.
  std::string next(const FreeModem& modem) {
    const std::optional<Message> found = outbox->next(modem, now);
    return found ? found->id : "";
  }
  std::string next() { return next(main); }
  Message end(const std::string& id, const AttemptEnd& how) { return outbox->endAttempt(id, how, now); }
  Message attempt(const std::string& id, const AttemptEnd& how) {
    outbox->beginAttempt(id, main.name, now);
    return end(id, how);
  }
  MessageState stateOf(const std::string& id) { return outbox->find(id)->state; }

  static AttemptEnd verdict(hostkit::Verdict verdict) {
    AttemptEnd end;
    end.verdict = verdict;
    return end;
  }
  static AttemptEnd refusal(hostkit::ErrorClass errorClass) {
    AttemptEnd end = verdict(hostkit::Verdict::kRefused);
    end.errorClass = errorClass;
    end.reason = "refused";
    return end;
  }
  static AttemptEnd sent() { return verdict(hostkit::Verdict::kSent); }
  static AttemptEnd uncertain() { return verdict(hostkit::Verdict::kUncertain); }
  static AttemptEnd notSent(bool hasAnswered = true) {
    AttemptEnd end = verdict(hostkit::Verdict::kNotSent);
    end.hasAnswered = hasAnswered;
    return end;
  }

  world::TemporaryFolder root;
  StorageConfig storage;
  SendingConfig sending;
  FreeModem main{"main", hostkit::Charset::kIra, 0};
  std::unique_ptr<Outbox> outbox;
  std::int64_t now = 1000 * kDay;
  int accepted = 0;
};

}  // namespace orvix::gateway
