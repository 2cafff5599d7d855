// The frames between supervisor and worker, and what either end makes of broken ones.

#include <gtest/gtest.h>

#include <vector>

#include "common/printable.h"
#include "gateway/worker/protocol.h"

namespace {

using namespace orvix;
using namespace orvix::gateway;

const std::vector<ToWorker> kOrders = {
    StartOrder{"main", "/p.so", "/m.json", 1, 2, true, {{5, hostkit::ErrorClass::kMessage}, {500, {}}}, true, true, 3},
    AttemptOrder{"id", 2, "+49123", "a\nb"}, GoAhead{}, StopOrder{10}};
const std::vector<FromWorker> kNews = {
    StateNews{ModemState::kNotAvailable, "gr\xc3\xbc\xc3\x9f"},
    ModemReport{-79, 53, "home"},
    ModemReport{{}, {}, "none"},
    DoingNews{"waiting", true},
    TrafficNews{1, kXplTraceSent, std::string("\0\xff", 2)},
    PromptNews{},
    EndNews{{hostkit::Verdict::kRefused, {}, 42, hostkit::ErrorClass::kNetwork, false, "why", ""}},
    HealedNews{},
    ReconnectedNews{},
    LineLostNews{}};

Frame frameOf(const std::string& bytes) {
  FrameBuffer buffer;
  buffer.append(bytes);
  return buffer.next().value();
}

// What is accepted means exactly what it says: written again it is the same.
template <typename Decode>
void expectStrict(const std::string& bytes, Decode&& decode) {
  EXPECT_EQ(bytes, encoded(decode(frameOf(bytes))));
  for (std::size_t i = 4; i < bytes.size(); ++i) {
    for (const int flip : {0x01, 0x80, 0xff}) {
      std::string bad = bytes;
      bad[i] = static_cast<char>(bad[i] ^ flip);
      try {
        EXPECT_EQ(bad, encoded(decode(frameOf(bad))));
      } catch (const ProtocolError&) {
      }
    }
  }
}

}  // namespace

TEST(WorkerProtocolTest, TakesWhatItWouldWriteAndNothingElse) {
  for (const ToWorker& order : kOrders) {
    expectStrict(encoded(order), toWorkerOf);
  }
  for (const FromWorker& news : kNews) {
    expectStrict(encoded(news), fromWorkerOf);
  }
}

TEST(WorkerProtocolTest, RefusesWhatHasNoMeaning) {
  const FromWorker rows[] = {
      StateNews{static_cast<ModemState>(3), ""},
      StateNews{static_cast<ModemState>(-1), ""},
      StateNews{ModemState::kReady, "\xff"},
      ModemReport{1, 0, "home"},
      ModemReport{-200, 0, "home"},
      ModemReport{0, 101, "home"},
      ModemReport{0, 0, "at home"},
      TrafficNews{0, static_cast<XplTraceKind>(0), ""},
      TrafficNews{-1, kXplTraceSent, ""},
  };
  for (const FromWorker& row : rows) {
    EXPECT_THROW(fromWorkerOf(frameOf(encoded(row))), ProtocolError) << row.index();
  }
  EXPECT_THROW(fromWorkerOf({99, ""}), ProtocolError);
  EXPECT_THROW(fromWorkerOf({4, ""}), ProtocolError);
  EXPECT_THROW(encoded(StateNews{ModemState::kReady, std::string(kMaxFrameLength, 'x')}), std::length_error);
}

TEST(WorkerProtocolTest, CutsFramesFromPieces) {
  std::string bytes;
  for (const FromWorker& news : kNews) {
    bytes += encoded(news);
  }
  FrameBuffer buffer;
  std::size_t count = 0;
  for (const char byte : bytes) {
    buffer.append({&byte, 1});
    while (const std::optional<Frame> frame = buffer.next()) {
      EXPECT_EQ(encoded(kNews[count++]), bytesOf(*frame));
    }
  }
  EXPECT_EQ(kNews.size(), count);
  for (const char* const bad : {"01000000", "ffffff7f", "020000000200"}) {
    FrameBuffer refused;
    refused.append(bytesOfHex(bad).value());
    EXPECT_THROW(refused.next(), ProtocolError) << bad;
  }
}
