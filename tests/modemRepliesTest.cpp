// Replies noted from real modems, played to the device: docs/modem-guide.md holds a table of what it makes of each.

#include <gtest/gtest.h>

#include <stdexcept>

#include "common/printable.h"
#include "document/document.h"
#include "tests/world/modemDevice.h"

using orvix::BSONObject;
using orvix::BSONPair;
using orvix::Status;

namespace {

constexpr char kBegin[] = "<!-- replies: begin -->\n";
constexpr char kEnd[] = "<!-- replies: end -->\n";

// Text in a code span of a table cell, control characters escaped.
std::string code(const std::string& text) {
  return text.empty() ? "nothing" : "`" + orvix::escaped(text) + "`";
}

class RepliesTest : public world::ModemDevice {
 protected:
  std::string quality() {
    std::string text;
    const Status status = device.getSignalQuality(&text);
    EXPECT_EQ(report(), status.toString());
    return status.isOk() ? code(text) + ": " + presented("signalQuality") : code(status.toString());
  }

  std::string registration() {
    std::string text;
    try {
      const Status status = device.getNetworkRegistrationStatus(&text);
      EXPECT_EQ(report(), status.toString());
      return status.isOk() ? code(text) + ": " + presented("NetworkRegistration") : code(status.toString());
    } catch (const std::out_of_range&) {
      return "the exception `std::out_of_range`";
    }
  }

  std::string probe() {
    const std::string started = orvix::gsm::statusName(device.GetStatus());
    return code(device.probeModem().toString()) + ", status `" + started + "`";
  }

  std::string message() {
    const BSONObject hi = world::fromJson(R"({"phone":"0123456789","text":"hi"})");
    return code(device.IoControl("sendSMS", &hi, nullptr).toString());
  }

  // One half of the last report as people read it.
  std::string presented(const std::string& half) const {
    BSONObject document;
    lastReport->GetDocument(&document);
    const BSONObject values = document.getObject("GSMModem.report." + half, true);
    const std::string valid = values.getBool("valid", false) ? ", valid" : ", not valid";
    return values.has("status") ? values.getString("status", "") + valid
                                : std::to_string(values.getInt32("dBm", 0)) + " dBm, " +
                                      std::to_string(values.getInt32("percent", 0)) + " %" + valid;
  }

  // The exchange that a noted command belongs to, what the device sends there, and how its outcome shows.
  struct Step {
    const char* noted;
    const char* sent;
    std::string (RepliesTest::*outcome)();
  };
  static constexpr Step kSteps[] = {
      {"AT+CSQ", "AT+CSQ\r", &RepliesTest::quality},
      {"AT+CREG?", "AT+CREG?\r", &RepliesTest::registration},
      {"AT+CMGF?", "AT+CMGF?\r", &RepliesTest::probe},
      {"AT+CMGF=1", "AT+CMGF=1\r", &RepliesTest::message},
      {"AT+CMGS=", "AT+CMGS=\"0123456789\"\r", &RepliesTest::message},
      {"<text>", "hi\x1a\r\n\r", &RepliesTest::message},
  };

  std::string outcome(const std::string& command, const std::string& reply) {
    for (const Step& step : kSteps) {
      if (command.rfind(step.noted, 0) == 0) {
        device.Stop();
        connect(world::healthyModemBut({{step.sent, reply}}));
        configure();
        EXPECT_EQ(device.Start().toString(), "OK");
        return (this->*step.outcome)();
      }
    }
    ADD_FAILURE() << "no exchange for " << command;
    return "";
  }

  std::string row(const BSONObject& noted) {
    const std::string command = noted.getString("command", "");
    const std::string reply = noted.getString("reply", "");
    std::string text = "|";
    for (const std::string& cell :
         {std::string(noted.getString("id", "")), std::string(noted.getString("modem", "")), code(command), code(reply),
          outcome(command, reply), std::string(noted.getString("note", ""))}) {
      text += " " + cell + " |";
    }
    return text + "\n";
  }
};

TEST_F(RepliesTest, GuideTellsWhatTheDeviceMakesOfThem) {
  const BSONObject noted = world::fromJson(world::readText(ORVIX_SOURCE_DIR "/tests/modem-replies.json"));
  ASSERT_FALSE(noted.isEmpty());
  std::string table = "| id | modem | command | reply | what the device reports | note |\n|---|---|---|---|---|---|\n";
  for (const BSONPair& one : noted) {
    table += row(one.getObject(true));
  }
  const std::string guide = world::readText(ORVIX_SOURCE_DIR "/docs/modem-guide.md");
  EXPECT_TRUE(guide.find(kBegin + table + kEnd) != std::string::npos) << "docs/modem-guide.md should hold\n"
                                                                      << kBegin << table << kEnd;
}

}  // namespace
