// What the outbox keeps, in virtual time: lists, owners' budgets, retention, notes and the history of
// reports.
#include "tests/world/outboxRoom.h"

namespace orvix::gateway {
namespace {

using hostkit::ErrorClass;
using hostkit::Verdict;

class OutboxKeepingTest : public OutboxRoom {
 protected:
  OutboxKeepingTest() { open(); }
};

TEST_F(OutboxKeepingTest, AnOwnersBudgetFreesItselfByAndBy) {
  storage.keepDays = 1;
  open();
  const std::int64_t begin = now;
  const auto freeIn = [this](int perDay, int count) {
    return outbox->ownerFreeMs("socket", perDay, count, now).value_or(now) - now;
  };
  EXPECT_EQ(freeIn(3, 4), kDay) << "never";
  for (int hour = 0; hour < 3; ++hour, now += kHour) {
    attempt(accept("+491"), sent());
    EXPECT_EQ(outbox->check(), "");
  }
  EXPECT_EQ(freeIn(4, 1), 0);
  EXPECT_EQ(freeIn(3, 1), begin + kDay - now);
  EXPECT_EQ(freeIn(3, 2), begin + kHour + kDay - now);
  EXPECT_EQ(freeIn(3, 9), begin + 2 * kHour + kDay - now);
  now = begin + kDay;
  EXPECT_EQ(freeIn(3, 1), 0);
  EXPECT_EQ(freeIn(3, 2), kHour);
  now += 2 * kDay;
  outbox->purge(now);  // uncounted since long
  EXPECT_EQ(outbox->check(), "");
  EXPECT_EQ(freeIn(1, 1), 0);
}

TEST_F(OutboxKeepingTest, ListsAreFilteredAndContinued) {
  for (int i = 0; i < 10; ++i) {
    NewMessage made = message("+491");
    made.owner = i % 2 == 0 ? "token:a" : "socket";
    const std::string id = accept(made);
    if (i >= 6) {
      attempt(id, i == 9 ? uncertain() : sent());
    }
    now += i % 3;
  }
  const auto idsOf = [this](const MessageFilter& filter) {
    std::string ids;
    for (const Message& found : outbox->list(filter, now)) {
      ids += found.id + " ";
    }
    return ids;
  };
  EXPECT_EQ(idsOf({{}, {}, 0, 3}), "m1 m2 m3 ");
  EXPECT_EQ(idsOf({{}, {}, 8, 3}), "m9 m10 ");
  EXPECT_EQ(idsOf({{}, MessageState::kSent, 7, 9}), "m8 m9 ");
  EXPECT_EQ(idsOf({"token:a", {}, 3, 2}), "m5 m7 ");
  EXPECT_EQ(idsOf({"token:a", MessageState::kSent, 0, 9}), "m7 m9 ");
  EXPECT_EQ(idsOf({"socket", MessageState::kUncertain, 0, 9}), "m10 ");
  EXPECT_EQ(idsOf({"socket", {}, 10, 9}), "");
  const Counts counts = outbox->counts();
  EXPECT_EQ(counts.of(MessageState::kQueued), 6);
  EXPECT_EQ(counts.of(MessageState::kSent), 3);
  EXPECT_EQ(counts.oldestQueuedMs, 1000 * kDay);
}

TEST_F(OutboxKeepingTest, WhatHasEndedIsKeptForItsDays) {
  storage.keepDays = 2;
  open();
  NewMessage one = message("+491");
  NewMessage two = one;
  one.id = "list~1";
  two.id = "list~2";
  outbox->accept({"list", "socket", "print", true, {one, two}}, now);
  attempt("list~1", sent());
  const std::string doubt = accept("+492");
  attempt(doubt, uncertain());
  now += 2 * kDay - 1;
  outbox->purge(now);
  EXPECT_TRUE(outbox->find("list~1"));
  attempt("list~2", sent());
  EXPECT_EQ(outbox->lastResult()->id, "list~2");
  ++now;
  outbox->purge(now);
  EXPECT_FALSE(outbox->find("list~1"));
  EXPECT_EQ(outbox->findRequest("list")->messages.size(), 1U);
  EXPECT_EQ(outbox->check(), "");
  now += 2 * kDay;
  outbox->purge(now);
  EXPECT_FALSE(outbox->findRequest("list"));
  EXPECT_EQ(outbox->lastResult()->id, doubt);  // kept until a person decides
  EXPECT_EQ(outbox->counts().of(MessageState::kSent), 0);
}

TEST_F(OutboxKeepingTest, TheMqttDoorsMessagesLeaveNotes) {
  NewMessage made = message("+491");
  made.owner = "mqtt";
  const std::string id = accept(made);
  accept("+492");
  attempt(id, refusal(ErrorClass::kChance));
  outbox->announce(id);
  const auto notes = outbox->announcements(0, 100);
  ASSERT_EQ(notes.size(), 4U);
  EXPECT_EQ(notes[0].message.state, MessageState::kQueued);
  EXPECT_TRUE(notes[0].message.attempts.empty());
  EXPECT_EQ(notes[1].message.state, MessageState::kAttempting);
  EXPECT_FALSE(notes[1].message.attempts.at(0).verdict);
  EXPECT_EQ(notes[2].message.reason, "refused");
  EXPECT_EQ(notes[2].message.attempts.at(0).verdict, Verdict::kRefused);
  for (const auto& note : notes) {
    outbox->dropAnnouncement(note.number);
  }
  outbox->announce(id);
  EXPECT_EQ(outbox->announcements(notes[3].number, 100).size(), 1U);  // numbers are never used again
}

TEST_F(OutboxKeepingTest, ReportsAreThinnedWithTheirAge) {
  const std::int64_t start = now;
  // 40 days, a report a minute, -60 to -51 dBm; unknown in the first hour, and not registered.
  for (int minute = 0; minute < 40 * 24 * 60; ++minute, now += 60 * kSecond) {
    const auto dBm = minute < 60 ? std::nullopt : std::optional(-60 + minute % 10);
    outbox->addReport("main", dBm, minute >= 60, now);
    outbox->addReport("main", 0, true, now + 499);  // too soon for an honest worker
    if (minute % 360 == 7) {
      outbox->commit();
    }
  }
  const auto day = outbox->history("main", now - kDay, now, 10000);
  EXPECT_EQ(day.size(), 24U * 60);
  EXPECT_EQ(day.back().timeMs, now - 60 * kSecond);
  const auto week = outbox->history("main", now - 9 * kDay, now - 2 * kDay - 1, 10000);
  EXPECT_NEAR(static_cast<double>(week.size()), 7 * 24 * 12, 1);
  const auto all = outbox->history("main", start, now - 1, 40);
  ASSERT_EQ(all.size(), 40U);
  EXPECT_FALSE(all[0].isRegistered);
  EXPECT_TRUE(all[1].isRegistered);
  for (const HistoryPoint& point : all) {
    EXPECT_EQ(point.minDbm, -60);
    EXPECT_EQ(point.maxDbm, -51);
    EXPECT_NEAR(*point.meanDbm, -55.5, 0.01);
  }
  const auto first = outbox->history("main", start, start + kHour - 1, 10);
  ASSERT_EQ(first.size(), 1U);
  EXPECT_FALSE(first[0].meanDbm);
  EXPECT_TRUE(outbox->history("other", start, now, 60).empty());
}

}  // namespace
}  // namespace orvix::gateway
