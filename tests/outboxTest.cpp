// The outbox in virtual time: every move, the order of the queue, budgets, retries, retention, and every state in which
// its file can be found.
#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "gateway/outbox/outbox.h"

namespace orvix::gateway {
namespace {

class OutboxTest : public testing::Test {
 protected:
  OutboxTest() {
    char name[] = "/tmp/outboxTest.XXXXXX";
    storage.folder = std::string(mkdtemp(name)) + "/store";
    open();
  }
  ~OutboxTest() override {
    if (outbox) {
      EXPECT_EQ(outbox->check(), "");
    }
    outbox.reset();
    std::filesystem::remove_all(std::filesystem::path(storage.folder).parent_path());
  }

  void open() {
    outbox.reset();
    outbox = std::make_unique<Outbox>(storage, sending);
  }
  std::string accept(const std::string& to, Priority priority = Priority::kNormal,
                     const std::string& owner = "socket") {
    const std::string id = "m" + std::to_string(++made);
    outbox->accept(
        {id, owner, "f", false, {{id, owner, to, "hello", priority, OnUncertain::kHold, {}, now + 86400000}}}, now);
    return id;
  }
  std::string pick(const FreeModem& modem) {
    const std::optional<Message> message = outbox->next(modem, now);
    return message ? message->id : "";
  }

  StorageConfig storage;
  SendingConfig sending;
  FreeModem main{"main", hostkit::Charset::kIra, 0};
  std::unique_ptr<Outbox> outbox;
  std::int64_t now = 1000000;
  int made = 0;
};

TEST_F(OutboxTest, WhatIsCommittedIsThereAgain) {
  const std::string id = accept("+491");
  outbox->commit();
  accept("+492");
  open();
  EXPECT_EQ(pick(main), id);
  EXPECT_EQ(outbox->counts().of(MessageState::kQueued), 1);
  outbox->beginAttempt(id, "main", now);
  outbox->markMayBeOut(id);
  outbox->commit();
  open();
  EXPECT_EQ(outbox->recover(now), std::vector<std::string>{"main"});
  EXPECT_EQ(outbox->find(id)->state, MessageState::kUncertain);
}

}  // namespace
}  // namespace orvix::gateway
