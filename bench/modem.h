// The other end of pseudo-terminals. One thread.
#pragma once

#include <deque>
#include <optional>
#include <string>

#include "bench/row.h"
#include "tests/world/ptyPair.h"
#include "tests/world/virtualClock.h"

namespace bench {

// 32 bytes, the same whatever was asked.
inline const std::string kAnswer = "\r\n+CSQ: 20,99 of 32\r\n\r\nOK\r\n...\r\n";

// Answers on every line that was written to while somebody sleeps, which takes no time.
class Modem : public world::ClockListener {
 public:
  explicit Modem(std::size_t lineCount) : lines(lineCount) { world::VirtualClock::instance().listener = this; }
  ~Modem() { world::VirtualClock::instance().listener = nullptr; }

  std::deque<world::PtyPair> lines;

 private:
  void beforeSleep(std::int64_t /*nowMs*/) override {
    pause.emplace();
    for (world::PtyPair& line : lines) {
      if (!line.receive().empty()) {
        line.send(kAnswer);
      }
    }
  }
  void afterSleep(std::int64_t /*nowMs*/) override {
    world::VirtualClock::instance().sleepsMs.clear();
    pause.reset();
  }

  std::optional<Pause> pause;
};

}  // namespace bench
