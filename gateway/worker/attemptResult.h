// From hostkit's judgement of an attempt's traffic to the result that the service is told. Pure; any thread.
#pragma once

#include "gateway/worker/workerProcess.h"
#include "hostkit/verdict.h"

namespace orvix::gateway {

// Without its recording.
AttemptResult resultOf(const hostkit::Judgement& judgement, const hostkit::ClassOverrides& codes);

}  // namespace orvix::gateway
