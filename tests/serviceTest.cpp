// The service between its doors and its modems, in virtual time, on a real database; the workers are the test's.
#include "gateway/service/service.h"

#include <gtest/gtest.h>

#include <tuple>

#include "tests/world/gatewayWorld.h"

namespace orvix::gateway {
namespace {

using hostkit::ErrorClass;
using hostkit::Verdict;
using world::ServiceTime;
using world::worker;

constexpr std::int64_t kSecondMs = 1000;

const Caller kSocket{"socket", Rights{{"*"}, 0, Priority::kAlarm, true}};

Submission message(const std::string& id) {
  Submission submission;
  submission.id = id;
  submission.to = {"+491701234567"};
  submission.text = "pump " + id;
  submission.priority = Priority::kNormal;
  return submission;
}

AttemptResult result(Verdict verdict, std::optional<ErrorClass> errorClass = std::nullopt) {
  return {verdict, verdict == Verdict::kSent ? std::optional(7) : std::nullopt, {}, errorClass, true, "", ""};
}

class ServiceTest : public testing::Test, protected world::GatewayWorld, private ServiceListener {
 protected:
  ServiceTest() { config.modems[1].charset = hostkit::Charset::kGsm; }

  void start() {
    GatewayWorld::start();
    service->addListener(this);
  }

  void startReady() {
    start();
    for (const ModemConfig& modem : config.modems) {
      worker(modem.name).ready();
    }
  }

  // The status that a door would answer, after the commit.
  int submit(const Submission& submission, const Caller& caller = kSocket) {
    const auto answer = service->submit(caller, submission);
    bool isDurable = false;
    service->onCommitted([&isDurable](bool isCommitted) { isDurable = isCommitted; });
    service->settle();
    if (const auto* const refusal = std::get_if<Refusal>(&answer)) {
      lastField = refusal->field.value_or("");
      return refusal->status;
    }
    return !isDurable ? 503 : std::get<Accepted>(answer).isNew ? 202 : 200;
  }

  Message show(const std::string& id) { return std::get<Message>(service->show(kSocket, id)); }
  std::string stateOf(const std::string& id) { return wordOf(show(id).state); }

  void pass(std::int64_t ms) {
    ServiceTime::instance().pass(ms);
    service->settle();
  }

  // Lets a modem end what it does, as far as the prompt or beyond.
  void end(const std::string& modem, const AttemptResult& ended) {
    worker(modem).prompt();
    service->settle();
    worker(modem).end(ended);
    service->settle();
  }

  std::string lastField;
  std::vector<std::string> told;

 private:
  void onMessage(const Message& message) override { told.push_back(message.id + " " + wordOf(message.state)); }
  void onModem(const ModemView& /*modem*/) override {}
  void onReport(const ModemView& /*modem*/) override {}
};

TEST_F(ServiceTest, AMessageGoesOutOnceAndIsToldBehindEachCommit) {
  startReady();
  ASSERT_EQ(submit(message("a")), 202);
  ASSERT_TRUE(worker("main").order.has_value());
  EXPECT_EQ(worker("main").order->text, "pump a");
  EXPECT_FALSE(worker("spare").order.has_value());
  EXPECT_FALSE(worker("main").mayGoAhead);
  worker("main").prompt();
  EXPECT_FALSE(worker("main").mayGoAhead) << "before the mark was committed";
  service->settle();
  EXPECT_TRUE(worker("main").mayGoAhead);
  EXPECT_EQ(service->modems()[0].sending, "a");
  worker("main").end(result(Verdict::kSent));
  service->settle();
  EXPECT_EQ(show("a").reference, 7);
  EXPECT_EQ(told, (std::vector<std::string>{"a queued", "a attempting", "a sent"}));
  EXPECT_FALSE(service->modems()[0].sending.has_value());
  EXPECT_EQ(submit(message("a")), 200) << "a repeat";
  EXPECT_FALSE(worker("main").order.has_value());
}

TEST_F(ServiceTest, WhatAModemRefusesForItselfGoesElsewhere) {
  // By the registration of the report that sets the modem free again.
  const std::pair<ErrorClass, std::string> rows[] = {{ErrorClass::kModem, "none"}, {ErrorClass::kNetwork, "home"}};
  for (const auto& [errorClass, id] : rows) {
    SCOPED_TRACE(id);
    startReady();
    submit(message(id));
    end("main", result(Verdict::kRefused, errorClass));
    pass(config.sending.retrySeconds * kSecondMs);
    ASSERT_TRUE(worker("spare").order.has_value()) << "the other modem did not take it";
    end("spare", result(Verdict::kSent));
    submit(message(id + "2"));
    EXPECT_FALSE(worker("main").order.has_value()) << "out of service";
    end("spare", result(Verdict::kSent));
    worker("main").report(id);
    submit(message(id + "3"));
    EXPECT_TRUE(worker("main").order.has_value());
    end("main", result(Verdict::kSent));
  }
}

TEST_F(ServiceTest, ADeadWorkerLeavesNothingBehindOrADoubt) {
  startReady();
  submit(message("before"));
  worker("main").die();
  service->settle();
  EXPECT_EQ(stateOf("before"), "queued");
  EXPECT_EQ(show("before").attempts.at(0).verdict, Verdict::kNotSent);
  EXPECT_EQ(worker("main").escapes, 1);
  pass(config.sending.retrySeconds * kSecondMs);
  worker("main").prompt();
  service->settle();
  worker("main").die();
  service->settle();
  EXPECT_EQ(stateOf("before"), "uncertain");
  EXPECT_FALSE(show("before").endedMs.has_value());
  pass(1000);
  EXPECT_FALSE(worker("main").order.has_value()) << "an uncertain message was sent again";
}

TEST_F(ServiceTest, ACrashIsRecoveredByTheMark) {
  startReady();
  submit(message("unmarked"));
  submit(message("marked"));
  worker("spare").prompt();
  service->settle();
  ServiceTime::instance().wallMs -= 3600000;  // the clock lost an hour meanwhile
  start();
  EXPECT_EQ(stateOf("unmarked"), "queued");
  EXPECT_EQ(stateOf("marked"), "uncertain");
  EXPECT_EQ(worker("main").escapes, 1);
  EXPECT_EQ(worker("spare").escapes, 1);
  EXPECT_GE(service->nowMs() + service->offsetMs(), show("marked").acceptedMs) << "time ran backwards";
}

TEST_F(ServiceTest, RefusalsNameStatusAndField) {
  config.storage.queueLimit = 20;
  config.modems.pop_back();
  start();
  const Caller small{"token:small", Rights{{"+49170*", "+33123"}, 2, Priority::kNormal, false}};
  const Caller stranger{"token:stranger", Rights{{"*"}, 0, Priority::kBulk, false}};
  const auto with = [](Submission base, auto change) {
    change(&base);
    return base;
  };
  const std::tuple<Submission, Caller, int, const char*> rows[] = {
      {message("m"), small, 202, ""},
      {message("m"), small, 200, ""},
      {message("m"), stranger, 403, "priority"},
      {with(message("m"), [](Submission* s) { s->priority.reset(); }), stranger, 409, "id"},
      {with(message("m"), [](Submission* s) { s->text = "other"; }), small, 409, "id"},
      {with(message("n"), [](Submission* s) { s->to = {"+1"}; }), kSocket, 422, "to"},
      {with(message("n"), [](Submission* s) { s->to.push_back(s->to[0]); }), kSocket, 422, "to"},
      {with(message("n"), [](Submission* s) { s->text = std::string(161, 'x'); }), kSocket, 422, "text"},
      {with(message("n"), [](Submission* s) { s->modem = "other"; }), kSocket, 422, "modem"},
      {message("n"), small, 202, ""},
      {message("o"), small, 429, ""},
      {message("n"), small, 200, ""},
  };
  for (const auto& [submission, caller, status, field] : rows) {
    SCOPED_TRACE(*submission.id + " " + submission.text);
    lastField.clear();
    EXPECT_EQ(submit(submission, caller), status);
    EXPECT_EQ(lastField, field);
  }
}

TEST_F(ServiceTest, SeveralGoAsOneRequest) {
  config.sending.longText = LongText::kNumber;
  config.storage.queueLimit = 100;
  start();
  Submission submission = message("b");
  submission.isList = true;
  submission.to = {"+4911111", "+4922222"};
  submission.text = std::string(200, 'x');
  ASSERT_EQ(submit(submission), 202);
  EXPECT_EQ(show("b~1").to, "+4911111");
  EXPECT_EQ(show("b~2").text.substr(0, 6), "(2/2) ");
  EXPECT_EQ(show("b~3").to, "+4922222");
  EXPECT_EQ(std::get<Refusal>(service->show(kSocket, "b")).status, 404);
  EXPECT_EQ(submit(submission), 200);
  EXPECT_EQ(submit(message("b")), 409) << "the id itself is taken";
  config.storage.queueLimit = 5;
  start();
  submission.id = "c";
  EXPECT_EQ(submit(submission), 503);
  EXPECT_EQ(std::get<Refusal>(service->show(kSocket, "c~1")).status, 404) << "all or none";
}

TEST_F(ServiceTest, AFullDiskRefusesAndGoesOnWhenThereIsRoom) {
  config.modems.pop_back();
  startReady();
  const Caller mqtt{"mqtt", kSocket.rights};
  ASSERT_EQ(submit(message("a"), mqtt), 202);
  worker("main").prompt();
  service->settle();
  fillDisk(true);
  EXPECT_EQ(submit(message("refused")), 503);
  service->settle();
  EXPECT_FALSE(service->health().isOk) << "also when nothing is to be written";
  service->dropAnnouncements({service->announcements(0, 1).at(0).number});
  worker("main").end(result(Verdict::kSent));
  pass(1000);
  EXPECT_EQ(service->modems()[0].sending, "a") << "its end is not on the disk yet";
  ServiceTime::instance().pass(1000);
  EXPECT_EQ(submit(message("a"), mqtt), 200) << "a repeat, also when it is tried whether there is room";
  fillDisk(false);
  pass(1000);
  EXPECT_EQ(stateOf("a"), "sent");
  EXPECT_EQ(service->announcements(0, 9).size(), 2U) << "a note that was told is told no more";
  EXPECT_TRUE(service->health().isOk);
  EXPECT_EQ(submit(message("b")), 202);
  EXPECT_TRUE(worker("main").order.has_value());
  EXPECT_EQ(std::get<Refusal>(service->show(kSocket, "refused")).status, 404);
}

TEST_F(ServiceTest, AJumpOfTheClockMovesNoDeadline) {
  start();
  Submission submission = message("a");
  submission.expiresSeconds = 100;
  submit(submission);
  const std::int64_t shownMs = show("a").acceptedMs + service->offsetMs();
  ServiceTime::instance().wallMs += 1;
  pass(0);
  EXPECT_EQ(show("a").acceptedMs + service->offsetMs(), shownMs) << "the clocks' milliseconds begin apart";
  ServiceTime::instance().wallMs += 3599999;
  pass(99000);
  EXPECT_EQ(stateOf("a"), "queued");
  EXPECT_EQ(show("a").acceptedMs + service->offsetMs(), shownMs + 3600000) << "shown by the clock as it is now";
  ServiceTime::instance().wallMs -= 1800000;
  pass(1001);
  EXPECT_EQ(stateOf("a"), "expired");
}

TEST_F(ServiceTest, TheHeartbeatComesOnceADay) {
  setenv("TZ", "UTC", 1);
  config.heartbeat = HeartbeatConfig{"+491701234567", 10 * 60};
  start();
  pass(0);
  ServiceTime::instance().wallMs += 3480000;  // the clock is set
  pass(60000);
  EXPECT_TRUE(told.empty());
  pass(60000);
  ASSERT_EQ(told, std::vector<std::string>{"heartbeat-2026-03-01 queued"});
  const std::string text = show("heartbeat-2026-03-01").text;
  EXPECT_EQ(text.substr(0, 12) + text.substr(text.rfind(" alive")), "gsm-gateway  alive, 0 queued, 0 uncertain");
  start();
  pass(1000);
  EXPECT_EQ(told.size(), 1U) << "again after a restart";
  ServiceTime::instance().pass(86400000 + 3700000);
  start();
  pass(1000);
  EXPECT_EQ(told.back(), "heartbeat-2026-03-01 expired") << "missed by more than an hour";
}

}  // namespace
}  // namespace orvix::gateway
