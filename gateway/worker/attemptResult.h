// From hostkit's judgement of an attempt's traffic to the result that the service is told. Pure; any thread.
#pragma once

#include "gateway/worker/workerProcess.h"
#include "hostkit/verdict.h"

namespace orvix::gateway {

// Without its recording. A class is there exactly when the modem gave an error; `codes` moves CMS codes to other
// classes, and an error before the text counts as one by chance where its code says nothing better.
AttemptResult resultOf(const hostkit::Judgement& judgement, const hostkit::ClassOverrides& codes);

}  // namespace orvix::gateway
