// Healing a modem that waits at its prompt for a text. Any thread; the device's other calls wait meanwhile.
//
// After AT+CMGS a modem gives a prompt and takes all that follows for the message's text, until Ctrl-Z sends it or
// Escape drops it. When a dialogue ends there - the host was killed, or the prompt came after the device's wait - the
// modem swallows every later command, and the plug-in, which sends no Escape, finds it silent for good. To an idle
// modem an Escape does no harm.
//
// When to heal: a judgement says mayWaitAtPrompt (and a late prompt was listened for); two probes in a row brought no
// final result (holdsFinalResult, resultLine.h); and before any other byte when an attempt's end is not known.
#pragma once

#include "common/status.h"
#include "hostkit/modemDevice.h"

namespace orvix::hostkit {

// Stops the device, sends Escapes on its line until the modem answers an AT, at most some 6 s, and starts the device
// again. DTR stays up. All bytes go to the device's trace. OK: the modem answers and the device is started, see its
// status(). Otherwise the device is left stopped, with the reason: the line does not open, or the modem stays silent.
Status heal(ModemDevice* device);

}  // namespace orvix::hostkit
