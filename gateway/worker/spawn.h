// Starts a program as a child that shares nothing with this process but one socket. Any thread.
//
// By posix_spawn: between fork and exec not a line of ours runs, so it is safe beside threads that hold locks.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace orvix::gateway {

inline constexpr int kChildSocket = 3;  // the child's end

struct Child {
  pid_t pid = -1;   // -1: not started
  int socket = -1;  // this end: a stream, non-blocking, closed on exec; the caller's to close
};

// Executes the file `program` with `arguments` as its argv. The child has the descriptors 0 to 2 of this process and
// its own end of the socket, no other; no signal is blocked, ignored or caught in it. errno tells why nothing was
// started. Whoever starts a child reaps it (waitpid).
Child spawn(const std::string& program, const std::vector<std::string>& arguments);

}  // namespace orvix::gateway
