// What a status of the plug-in says, for programs: the one place that knows its texts. Pure functions; any thread.
#pragma once

#include <string>

#include "common/status.h"

namespace orvix::hostkit {

enum class StatusKind {
  kOk,
  kUnknownMode,      // config.mode is neither "com" nor "ip"
  kNoSettings,       // config.comstr has no settings (ModemDevice tells)
  kRefusedSettings,  // the line settings are not accepted
  kLineNotOpened,
  kNotWritten,  // the line took no byte, or not all
  kNoReply,     // nothing came back
  kOtherReply,  // something came back, but not the expected text
  kModemError,  // the modem's own "ERROR: N"
  kNotReady,    // a control code wants a ready device
  kBadInput,    // unknown property or control code, missing or bad parameters
  kOther,
};

// By the code and the beginning of the text, which the device keeps as they are for its hosts.
StatusKind kindOf(const Status& status);

// The key that a refusal of a configuration or a message is about, such as "config.mode"; "" when there is none.
std::string parameterIn(const Status& status);

}  // namespace orvix::hostkit
