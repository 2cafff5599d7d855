// The log tag that all lines of the device carry, whichever file they are written in. Any thread.
#pragma once

#include "logging/verboseLog.h"

namespace orvix::gsm {

template <typename Text>
void logDevice(int level, const Text& text, int line = 0) {
  logVerbose("app/device/gsmModem/adapter/gsmDevice", line, level, text);
}

}  // namespace orvix::gsm
