// The client's reading of the service's answers, and what it shows of them.
#include <gtest/gtest.h>

#include "gateway/client/httpClient.h"
#include "gateway/client/view.h"

namespace orvix::gateway {
namespace {

TEST(Client, takesAWholeAnswerAndNothingElse) {
  const HttpReply reply = readReply("HTTP/1.1 409 Conflict\r\nX: y\r\nCONTENT-LENGTH: 2\r\n\r\n{}");
  EXPECT_EQ(reply.status, 409);
  EXPECT_EQ(reply.body, "{}");
  for (const char* const cut :
       {"", "HTTP/1.1 200", "HTTP/1.1 200 OK\r\n\r\n", "HTTP/1.1 OK\r\nContent-Length: 0\r\n\r\n", "SSH-2.0\r\n\r\n",
        "HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\n{}", "HTTP/1.1 200 OK\r\nContent-Length: 1\r\n\r\n{}"}) {
    EXPECT_THROW(readReply(cut), NoAnswer) << cut;
  }
}

TEST(Client, asksNobodyWhereNobodyListens) {
  EXPECT_THROW(request("/nonexistent/gateway.sock", "GET", "/"), NoService);
  EXPECT_THROW(request(std::string(200, 'x'), "GET", "/"), std::system_error);
  EXPECT_EQ(percentEncoded("a~1/\xc3\xbc?&"), "a~1%2F%C3%BC%3F%26");
}

TEST(View, keepsForeignBytesHarmlessAndColumnsStraight) {
  EXPECT_EQ(client::cell(nullptr), "-");
  EXPECT_EQ(client::cell("a\nb\tc\x1b[31m\xff"), "a b c\\x1b[31m\\xff");
  EXPECT_EQ(client::cell(-79), "-79");
  EXPECT_EQ(client::timeCell(nullptr), "-");
  EXPECT_EQ(client::timeCell("2026-03-01T08:30:00.000Z").size(), 19U);
  EXPECT_EQ(client::table({{"A", "B"}, {"\xc3\xbcx", "y"}}), "A   B\n\xc3\xbcx  y\n");
}

}  // namespace
}  // namespace orvix::gateway
