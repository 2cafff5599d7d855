#include "gateway/worker/spawn.h"

#include <spawn.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

namespace orvix::gateway {
namespace {

// What the child is before it is the program.
class Setup {
 public:
  explicit Setup(int socket) {
    sigset_t none;
    sigset_t all;
    sigemptyset(&none);
    sigfillset(&all);
    posix_spawnattr_init(&attributes);
    // What the service blocks or ignores would be inherited by the worker and never come back.
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setsigdefault(&attributes, &all);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    posix_spawn_file_actions_init(&files);
    // A copy without close-on-exec, under a number that the child knows.
    posix_spawn_file_actions_adddup2(&files, socket, kChildSocket);
    // Whatever else is open here, a database or another worker's socket, is not the child's.
    posix_spawn_file_actions_addclosefrom_np(&files, kChildSocket + 1);
  }
  ~Setup() {
    posix_spawn_file_actions_destroy(&files);
    posix_spawnattr_destroy(&attributes);
  }
  Setup(const Setup&) = delete;
  Setup& operator=(const Setup&) = delete;

  posix_spawn_file_actions_t files{};
  posix_spawnattr_t attributes{};
};

}  // namespace

Child spawn(const std::string& program, const std::vector<std::string>& arguments) {
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends) != 0) {
    return {};
  }
  std::vector<char*> words;
  words.reserve(arguments.size() + 1);
  for (const std::string& argument : arguments) {
    // argv is not const for history's sake; nobody writes into it.
    words.push_back(const_cast<char*>(argument.c_str()));
  }
  words.push_back(nullptr);
  const Setup setup(ends[1]);
  Child child{-1, ends[0]};
  const int error = posix_spawn(&child.pid, program.c_str(), &setup.files, &setup.attributes, words.data(), environ);
  close(ends[1]);
  if (error != 0) {
    close(ends[0]);
    child = {};
  }
  // posix_spawn returns the error; close may have changed errno.
  errno = error;
  return child;
}

}  // namespace orvix::gateway
