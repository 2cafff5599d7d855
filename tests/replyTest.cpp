// Reading a modem's replies, and what its numbers mean.

#include <gtest/gtest.h>

#include <string>
#include <tuple>

#include "device/atReply.h"
#include "device/gsmDataReport.h"

using orvix::gsm::GsmDataReport;

namespace {

// Reply, its text, null where there is none, dBm and percent.
// clang-format off
const std::tuple<const char*, const char*, int, int> kSignals[] = {
    {"\r\n+CSQ: 17,99\r\n\r\nOK\r\n", "17", -79, 53}, {"AT+CSQ\r\r\n+CSQ: 9,99\r\n\r\nOK\r\n", "9", -95, 26},
    {"\r\n+CSQ: 99\r\n\r\nOK\r\n", "99", -9999, -1},  {"+CSQ: 99,99", "99", -9999, -1},
    {"+CSQ: 5\r\nOK", "5\r", -103, 13}, {"+CSQ: ", "", -9998, -2}, {"+CSQ: 0,0", "0", -9998, -2},
    {"+CSQ: 1,0", "1", -9998, -2},  {"+CSQ: 2,0", "2", -109, 3},    {"+CSQ: 16,0", "16", -81, 50},
    {"+CSQ: 31,0", "31", -51, 100}, {"+CSQ: 32,0", "32", -9998, -2}, {"+CSQ: -1,0", "-1", -9998, -2},
    {"+CSQ: 99999999999,0", "99999999999", -9998, -2},
    {"+CMTI: \"SM\",1\r\n+CSQ: 14,99\r\n\r\nOK\r\n", "14,99\r\n\r\nOK\r\n", -85, 43},
    {"+CSQ:4,0\r\nOK\r\n", nullptr, 0, 0}, {"\r\nERROR\r\n", nullptr, 0, 0}, {"", nullptr, 0, 0},
};
// clang-format on

TEST(ReplyTest, SignalIsCutOutAndConverted) {
  for (const auto& [reply, expected, dBm, percent] : kSignals) {
    const auto text = orvix::gsm::findCsq(reply);
    ASSERT_EQ(text.has_value(), expected != nullptr) << reply;
    if (text) {
      const int csq = orvix::gsm::numberOf(*text);
      EXPECT_EQ(*text, expected) << reply;
      EXPECT_EQ(GsmDataReport::signalDbm(csq), dBm) << reply;
      EXPECT_EQ(GsmDataReport::signalPercent(csq), percent) << reply;
      EXPECT_EQ(GsmDataReport::isSignalValid(csq), percent > 0) << reply;
    }
  }
}

// clang-format off
const std::tuple<std::string, const char*, const char*, bool> kRegistrations[] = {
    {"\r\n+CREG: 0,0\r\n\r\nOK\r\n", "0", "none", true}, {"+CREG: 2,1, 550014, 676\r\n", "1", "home", true},
    {"+CREG: 0,2", "2", "searching", true}, {"\r\n+CREG: 1,3\r\n", "3", "denied", true},
    {"+CREG: 0,4", "4", "unknown", true},   {"+CREG: 2,5,\"1A2B\",\"0C3D\"", "5", "roaming", true},
    {"+CREG: 2,6,\"8B37\"", "6", "unknown", true}, {"+CREG: 0,7", "7", "unknown", false},
    {"+CREG: 0,11\r\n", "1", "home", true}, {"+CREG: 2,,\r\n", ",", "none", true}, {"+CREG: 0,", "", "none", true},
};
// clang-format on

TEST(ReplyTest, RegistrationIsCutOutAndNamed) {
  for (const auto& [reply, expected, word, isValid] : kRegistrations) {
    const std::string text = reply.substr(orvix::gsm::findCregStat(reply).value(), 1);
    EXPECT_EQ(text, expected) << reply;
    const int value = orvix::gsm::numberOf(text);
    EXPECT_STREQ(GsmDataReport::registrationWord(value), word) << reply;
    EXPECT_EQ(GsmDataReport::isRegistrationValid(value), isValid) << reply;
  }
  EXPECT_FALSE(GsmDataReport::isRegistrationValid(-1));
  EXPECT_GT(orvix::gsm::findCregStat("+CREG: 1").value(), std::string("+CREG: 1").size());
  EXPECT_FALSE(orvix::gsm::findCregStat("+CREG:1,1").has_value());
}

}  // namespace
