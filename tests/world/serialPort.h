// A serial port under test: the library's reports and traces as text, and a pseudo-terminal to open. One thread.
#pragma once

#include <gtest/gtest.h>
#include <termios.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <utility>

#include "debug/xdbg.h"
#include "serial/xpl.h"
#include "tests/world/ptyPair.h"
#include "tests/world/systemCalls.h"
#include "tests/world/virtualClock.h"

namespace world {

inline std::string reports;  // "LEVEL TEXT\n" each

inline int collect(int level, int /*route*/, const char* text, unsigned /*bufferSize*/) {
  reports += std::to_string(level) + " " + text + "\n";
  return 0;
}

// Adds "KIND SLOT DATA;" to the string that the context names; modem lines as two hexadecimal bytes.
inline int recordTrace(void* context, int kind, unsigned slot, const void* data, unsigned length) {
  std::string shown(static_cast<const char*>(data), length);
  if (kind >= kXplTraceLinesRead) {
    char bytes[8];
    std::snprintf(bytes, sizeof bytes, "%02x%02x", shown.at(0) & 0xFF, shown.at(1) & 0xFF);
    shown = bytes + shown.substr(2);
  }
  *static_cast<std::string*>(context) += std::to_string(kind) + " " + std::to_string(slot) + " " + shown + ";";
  return 1;
}

inline std::string describe(const termios& line) {
  std::string text;
  for (const unsigned word : {line.c_iflag, line.c_oflag, line.c_cflag, line.c_lflag, line.c_ispeed, line.c_ospeed}) {
    text += std::to_string(word) + " ";
  }
  return text + std::string(line.c_cc, line.c_cc + NCCS);
}

class SerialPort : public testing::Test {
 protected:
  void SetUp() override {
    XDbgSetReportHook(collect);
    XDbgSetOutputs(kXDbgToStream, nullptr);
    calls.modemLines = 0;
    clock.sleepsMs.clear();
    reports.clear();
  }

  void TearDown() override {
    XPLSetTraceCallback(nullptr, nullptr);
    for (int handle = 1; handle <= 7; ++handle) {
      XPLClose(handle);
    }
    calls = {};
  }

  static XplDcb block(const std::string& text) {
    XplDcb dcb{};
    EXPECT_EQ(XPLBuildDCB(text.c_str(), &dcb, nullptr), 1) << text;
    return dcb;
  }

  // Opens with a trace into `traced`, which starts empty.
  int openTraced(const std::string& text, unsigned receiveSize = 128) {
    const XplDcb dcb = block(text);
    traced.clear();
    const int handle = XPLOpen(&dcb, receiveSize, 128, &traced, recordTrace);
    primed = std::exchange(traced, "");
    return handle;
  }

  static int openBare(const XplDcb& dcb) { return XPLOpen(&dcb, 128, 128, nullptr, nullptr); }

  std::string report(const std::string& what, int error) const {
    return "2 " + line.path() + ": " + what + ": " + std::strerror(error) + "\n";
  }

  SystemCalls& calls = SystemCalls::instance();
  world::VirtualClock& clock = world::VirtualClock::instance();
  world::PtyPair line;
  std::string primed;  // what the open itself traced
  std::string traced;
};

}  // namespace world
