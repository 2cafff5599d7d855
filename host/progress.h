// A live line about what a long dialogue is doing.
//
// Threads: its own redraws, ten times a second; onTraffic runs in the device's call; the rest is for the thread that
// made it.
#pragma once

#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

#include "hostkit/traffic.h"

namespace orvix::host {

// On a terminal, shows on standard error which step the dialogue is in, as the trace tells, and how long it has run;
// the line is wiped at the end. Anywhere else it shows nothing.
class Progress final : public hostkit::TrafficListener {
 public:
  // Without a wish or a terminal no thread is started.
  explicit Progress(bool isWanted);
  ~Progress() { finish(); }
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void onTraffic(const hostkit::TrafficPiece& piece) override;
  // Shows this step until the next command.
  void say(const std::string& text);
  // Wipes the line; it does not come back.
  // To be called before anything is printed: both may be on one terminal. Safe to call twice.
  void finish();

 private:
  // The painter's own work, until isDone.
  void redraw();

  std::mutex lock;
  std::condition_variable wake;
  std::string step = "opening the line";
  bool isDone = false;
  // None where nothing is shown. `lock` guards what stands above it.
  std::thread painter;
};

}  // namespace orvix::host
