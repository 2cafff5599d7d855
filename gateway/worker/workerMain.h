// The main function of a worker process: one modem, driven through the plug-in. One thread.
#pragma once

namespace orvix::gateway {

// Speaks with the supervisor over the socket `descriptor` and returns the process's exit status once it is told to
// stop. The process ends inside the call, at any place, when the supervisor is gone.
int workerMain(int descriptor);

}  // namespace orvix::gateway
