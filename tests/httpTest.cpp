// The HTTP API without a socket: rows of requests and answers, each held against the API's own description.
#include <gtest/gtest.h>

#include <tuple>

#include "gateway/http/alertmanager.h"
#include "gateway/http/api.h"
#include "gateway/http/authorization.h"
#include "gateway/http/target.h"
#include "gateway/token/token.h"
#include "tests/world/gatewayWorld.h"
#include "tests/world/openApi.h"

namespace orvix::gateway {
namespace {

using nlohmann::json;
using world::ServiceTime;
using world::worker;

constexpr char kNumber[] = "+491701234567";

std::string messageBody(const std::string& id) {
  return R"({"id":")" + id + R"(","to":")" + kNumber + R"(","text":"pump 3 stopped"})";
}

struct Row {
  const char* who;
  const char* method;
  std::string target;
  std::string body;
  int status;
  const char* field = nullptr;
};

class ApiTest : public testing::Test, protected world::GatewayWorld {
 protected:
  ApiTest() { start(); }

  // "socket", a token's name, or "" for a request without a token.
  Response ask(const std::string& who, const std::string& method, const std::string& target,
               const std::string& body = "") {
    Request request{method, target, body.size() > kMaxBody ? "" : body, body.size() > kMaxBody, std::nullopt};
    if (who == "socket") {
      request.caller = socketCaller();
    } else {
      request.caller = callerWith("Bearer " + who, config.http.tokens);
    }
    Response response = answer(Api{&*service, {}}, request);
    service->settle();
    EXPECT_EQ(world::unforeseen(request, response), "") << method << " " << target << ": " << response.body;
    return response;
  }

  void expectEach(const std::vector<Row>& rows) {
    for (const Row& row : rows) {
      const Response response = ask(row.who, row.method, row.target, row.body);
      EXPECT_EQ(response.status, row.status)
          << row.method << " " << row.target << " " << row.body << " " << response.body;
      const json body = json::parse(response.body, nullptr, false);
      if (response.status >= 400) {
        const json field = row.field == nullptr ? json() : json(row.field);
        EXPECT_EQ(body.value("field", json()), field) << row.target << " " << row.body;
      }
    }
  }

  json askJson(const std::string& method, const std::string& target, const std::string& body = "") {
    return json::parse(ask("socket", method, target, body).body, nullptr, false);
  }
};

// In this order: later rows build on what earlier ones left.
TEST_F(ApiTest, answersEachRow) {
  worker("main").ready();
  expectEach({
      {"socket", "POST", "/v1/messages", messageBody("a"), 202},
      {"socket", "POST", "/v1/messages", messageBody("a"), 200},
      {"all", "POST", "/v1/messages", messageBody("a"), 409, "id"},
      {"socket", "POST", "/v1/messages", R"({"to":["+49170111","+49170222"],"text":"x","id":"b"})", 202},
      {"socket", "POST", "/v1/messages", R"({"to":["+49170111","+49170222"],"text":"x","id":"b"})", 200},
      {"socket", "GET", "/v1/messages/b~2", "", 200},
      {"", "POST", "/v1/messages", "{", 401},
      {"wrong", "GET", "/v1/nothing", "", 401},
      {"", "GET", "/v1/%zz", "", 401},
      {"", "POST", "/v1/messages", std::string(kMaxBody + 1, 'x'), 401},
      {"socket", "GET", "/v1/%zz", "", 400},
      {"socket", "POST", "/v1/messages", std::string(kMaxBody + 1, 'x'), 413},
      {"socket", "POST", "/v1/%zz", std::string(kMaxBody + 1, 'x'), 413},
      {"socket", "POST", "/v1/messages", "{", 400},
      {"socket", "POST", "/v1/messages", std::string(60000, '['), 400},
      {"socket", "POST", "/v1/messages", std::string(30000, '[') + std::string(30000, ']'), 422},
      {"abroad", "POST", "/v1/messages", messageBody("c"), 403, "to"},
      {"abroad", "POST", "/v1/messages", R"({"to":"+4411","text":"x","priority":"alarm"})", 403, "priority"},
      {"abroad", "POST", "/v1/messages", R"({"to":"+44111","text":"x"})", 202},
      {"abroad", "POST", "/v1/messages", R"({"to":"+44111","text":"y"})", 429},
      {"abroad", "GET", "/v1/messages/a", "", 404},
      {"abroad", "DELETE", "/v1/messages/a", "", 404},
      {"all", "GET", "/v1/messages/a", "", 200},
      {"socket", "GET", "/v1/messages?state=queued&limit=1", "", 200},
      {"socket", "GET", "/v1/messages?state=Sent", "", 422, "state"},
      {"socket", "GET", "/v1/messages?limit=0", "", 422, "limit"},
      {"socket", "GET", "/v1/messages?limit=1001", "", 422, "limit"},
      {"socket", "GET", "/v1/messages?limit=", "", 422, "limit"},
      {"socket", "GET", "/v1/messages?after=-1", "", 422, "after"},
      {"socket", "GET", "/v1/messages?after=99999999999999999999", "", 422, "after"},
      {"socket", "GET", "/v1/messages?limit=1&limit=2", "", 422, "limit"},
      {"socket", "GET", "/v1/messages?after+limit=1", "", 422, "after limit"},
      {"socket", "GET", "/v1/messages/", "", 404},
      {"socket", "PUT", "/v1/messages", "", 405},
      {"socket", "DELETE", "/v1/messages/a", "", 409},  // the modem has it
      {"socket", "DELETE", "/v1/messages/b~1", "", 200},
      {"socket", "DELETE", "/v1/messages/b~1", "", 409},
      {"socket", "GET", "/v1/messages/a/attempts/1/recording", "", 404},
      {"socket", "GET", "/v1/messages/a/attempts/x/recording", "", 404},
      {"socket", "POST", "/v1/messages/a/resolve", R"({"as":"sent"})", 409},
      {"socket", "POST", "/v1/messages/a/resolve", R"({"as":"lost"})", 422, "as"},
      {"socket", "POST", "/v1/messages/a/resolve", R"({"as":"sent","by":1})", 422, "by"},
      {"socket", "POST", "/v1/messages/a/resolve", R"({"as":"sent","as":"drop"})", 422},
      {"socket", "POST", "/v1/messages/a/resolve", "sent", 400},
      {"socket", "GET", "/v1/modems", "", 200},
      {"socket", "GET", "/v1/modems?x=1", "", 422, "x"},
      {"socket", "GET", "/v1/modems/main/history", "", 200},
      {"socket", "GET", "/v1/modems/other/history", "", 404},
      {"socket", "GET", "/v1/modems/main/history?from=yesterday", "", 422, "from"},
      {"socket", "GET", "/v1/modems/main/history?to=1", "", 422, "to"},
      {"socket", "GET", "/v1/modems/main/history?points=0", "", 422, "points"},
      {"socket", "GET", "/v1/modems/main/history?from=2026-03-01T09:00:00%2B01:00&points=3", "", 200},
      {"socket", "GET", "/v1/status", "", 200},
      {"socket", "GET", "/v1/events", "", 200},
      {"socket", "GET", "/v1/openapi.json", "", 200},
      {"socket", "GET", "/metrics", "", 200},
      {"", "GET", "/healthz", "", 200},
      {"", "HEAD", "/healthz", "", 200},
      {"", "POST", "/healthz", "", 405},
      {"", "GET", "/healthz/", "", 401},
  });
}

TEST_F(ApiTest, tellsWhenToComeAgainAndWhatIsAllowed) {
  const auto headerOf = [](const Response& response, const std::string& name) {
    return std::map<std::string, std::string>(response.headers.begin(), response.headers.end())[name];
  };
  const std::string body = R"({"to":"+44111","text":"x"})";
  ask("abroad", "POST", "/v1/messages", body);
  ServiceTime::instance().pass(400500);
  EXPECT_EQ(headerOf(ask("abroad", "POST", "/v1/messages", body), "Retry-After"), "86000");
  EXPECT_EQ(headerOf(ask("socket", "PATCH", "/v1/messages", ""), "Allow"), "GET, HEAD, POST");
  EXPECT_EQ(headerOf(ask("", "GET", "/v1/messages", ""), "WWW-Authenticate"), "Bearer");
}

TEST_F(ApiTest, leadsThroughTheOutboxPageByPage) {
  for (const char* const id : {"a", "b", "c"}) {
    ask("socket", "POST", "/v1/messages", messageBody(id));
  }
  ask("abroad", "POST", "/v1/messages", R"({"to":"+44111","text":"x","id":"d"})");
  std::string seen;
  std::string after;
  for (json page; page.is_null() || page["next"].is_string();) {
    page = askJson("GET", "/v1/messages?limit=2" + after);
    after = "&after=" + (page["next"].is_string() ? page["next"].get<std::string>() : "");
    seen += std::to_string(page["messages"].size()) + page["messages"][0]["id"].get<std::string>();
  }
  EXPECT_EQ(seen, "2a2c");
  const json own = json::parse(ask("abroad", "GET", "/v1/messages").body);
  EXPECT_EQ(own["messages"].size(), 1U);
  EXPECT_EQ(own["messages"][0]["id"], "d");
}

TEST_F(ApiTest, tellsTheStoryOfAMessage) {
  worker("main").ready();
  worker("main").report("home");
  ask("socket", "POST", "/v1/messages", messageBody("a"));
  EXPECT_EQ(askJson("GET", "/v1/modems")["modems"][0]["sending"], "a");
  worker("main").prompt();
  service->settle();
  AttemptResult lost;
  lost.reason = "nothing came";
  lost.recording = "{}\n";
  worker("main").end(lost);
  service->settle();
  const json message = askJson("GET", "/v1/messages/a");
  EXPECT_EQ(message["state"], "uncertain");
  EXPECT_EQ(message["ended"], nullptr);
  EXPECT_EQ(message["accepted"], "2026-03-01T09:00:00.000Z");
  EXPECT_EQ(message["attempts"][0]["verdict"], "uncertain");
  EXPECT_EQ(ask("socket", "GET", "/v1/messages/a/attempts/1/recording").body, "{}\n");
  const std::string metrics = ask("socket", "GET", "/metrics").body;
  for (const char* const line :
       {"gsm_messages_total{state=\"uncertain\"} 1\n", "gsm_attempts_total{modem=\"main\",verdict=\"uncertain\"} 1\n",
        "gsm_registered{modem=\"main\"} 1\n", "gsm_outbox_messages{state=\"queued\"} 0\n",
        "gsm_send_seconds_bucket{modem=\"main\",le=\"+Inf\"} 0\n"}) {
    EXPECT_NE(metrics.find(line), std::string::npos) << line << metrics;
  }
  EXPECT_EQ(metrics.find("gsm_outbox_oldest_seconds "), std::string::npos) << "nothing is queued";
  EXPECT_EQ(askJson("POST", "/v1/messages/a/resolve", R"({"as":"drop"})")["state"], "failed");
}

std::string alertsBody(const std::string& status, const std::string& summary, int others = 0) {
  json alert = {{"status", status},
                {"labels", {{"alertname", "DiskFull"}}},
                {"annotations", {{"summary", summary}}},
                {"startsAt", "2026-03-01T08:00:00Z"},
                {"fingerprint", "1a30ba71cca2921f"}};
  json alerts = json::array({alert});
  for (int i = 0; i < others; ++i) {
    alert["fingerprint"] = std::to_string(i);
    alerts.push_back(alert);
  }
  return json({{"version", "4"}, {"groupKey", "{}:{}"}, {"status", status}, {"receiver", "sms"}, {"alerts", alerts}})
      .dump();
}

TEST(Alerts, becomeOneFitText) {
  const std::string deep = std::string(100000, '[') + std::string(100000, ']');
  const std::tuple<std::string, hostkit::Charset, std::string> rows[] = {
      {alertsBody("firing", "/ is full"), hostkit::Charset::kIra, "FIRING: DiskFull: / is full"},
      {alertsBody("resolved", "/ is full", 2), hostkit::Charset::kIra, "RESOLVED: DiskFull: / is full (+2 more)"},
      {alertsBody("firing", "Kühlhaus`1`\n5 °C ☃"), hostkit::Charset::kIra, "FIRING: DiskFull: Kuehlhaus'1' 5 degC  "},
      {alertsBody("firing", "a@b [1]"), hostkit::Charset::kGsm, "FIRING: DiskFull: a b  1 "},
      {alertsBody("firing", std::string(200, 'x'), 1), hostkit::Charset::kIra,
       "FIRING: DiskFull: " + std::string(129, 'x') + "... (+1 more)"},
      {alertsBody("firing", std::string(200, '{')), hostkit::Charset::kIra,
       "FIRING: DiskFull: " + std::string(69, '{') + "..."},
      {R"({"status":"firing","groupKey":"k","truncatedAlerts":)" + deep + R"(,"alerts":[{"a":)" + deep + "}]}",
       hostkit::Charset::kIra, "FIRING: alert"},
  };
  for (const auto& [body, charset, text] : rows) {
    const auto read = readAlerts(body, charset);
    ASSERT_EQ(read.index(), 0U) << body;
    EXPECT_EQ(std::get<AlertNotice>(read).text, text);
    EXPECT_TRUE(hostkit::textFit(text, charset).isFit()) << text;
  }
}

TEST_F(ApiTest, takesAlertsOnceWithinFifteenMinutes) {
  const std::string target = "/v1/alertmanager?to=+491701234567";  // the plus arrives as a blank
  const std::string firing = alertsBody("firing", "/ is full");
  const Response first = ask("socket", "POST", target, firing);
  EXPECT_EQ(first.status, 202);
  EXPECT_EQ(json::parse(first.body)["to"], kNumber);
  EXPECT_EQ(json::parse(first.body)["priority"], "alarm");
  ServiceTime::instance().pass(840000);
  const Response retry = ask("socket", "POST", target, alertsBody("firing", "other words"));
  EXPECT_EQ(retry.status, 200);
  EXPECT_EQ(json::parse(retry.body)["id"], json::parse(first.body)["id"]);
  EXPECT_EQ(ask("all", "POST", target, firing).status, 202) << "an owner of its own";
  EXPECT_EQ(ask("socket", "POST", target, alertsBody("resolved", "/ is full")).status, 202);
  ServiceTime::instance().pass(120000);
  EXPECT_EQ(ask("socket", "POST", target, firing).status, 202) << "a reminder";
  expectEach({
      {"socket", "POST", "/v1/alertmanager", firing, 422, "to"},
      {"socket", "POST", target, "{", 400},
      {"socket", "POST", target, "[]", 422},
      {"socket", "POST", target, R"({"status":"odd"})", 422, "status"},
      {"socket", "POST", target, R"({"status":"firing"})", 422, "groupKey"},
      {"socket", "POST", target, R"({"status":"firing","groupKey":"k","alerts":[1]})", 422, "alerts"},
      {"one", "POST", target, firing, 202},
      {"one", "POST", target, alertsBody("resolved", "/ is full"), 503},
  });
}

TEST(Target, isReadStrictly) {
  const auto read = readTarget("/a%2Fb//c?x=1+2%2b&y&=z");
  ASSERT_EQ(read.index(), 0U);
  const auto& target = std::get<Target>(read);
  EXPECT_EQ(target.path, (std::vector<std::string>{"a/b", "", "c"}));
  EXPECT_EQ(target.query, (std::map<std::string, std::string>{{"x", "1 2+"}, {"y", ""}, {"", "z"}}));
  for (const char* const wrong : {"", "a", "?a", "*", "/%", "/%1", "/%g1", "/?a=%", "http://x/"}) {
    EXPECT_EQ(std::get<Refusal>(readTarget(wrong)).status, 400) << wrong;
  }
}

TEST(Authorization, knowsATokenByItsHashAlone) {
  const std::string token = newToken();
  EXPECT_EQ(token.size(), 64U);
  EXPECT_NE(token, newToken());
  EXPECT_EQ(sha256Of("abc"), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
  const std::vector<TokenConfig> tokens = {{"other", sha256Of("other"), {}}, {"a", sha256Of(token), {}}};
  EXPECT_EQ(callerWith("bearer  " + token, tokens)->owner, "token:a");
  for (const std::string& wrong : std::vector<std::string>{token, "Basic " + token, "Bearer " + token + " ", "Bearer",
                                                           "Bearer x", std::string()}) {
    EXPECT_FALSE(callerWith(wrong, tokens)) << wrong;
  }
}

}  // namespace
}  // namespace orvix::gateway
