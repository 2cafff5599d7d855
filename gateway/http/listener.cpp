#include "gateway/http/listener.h"

#include <glog/logging.h>
#include <grp.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <stdexcept>

namespace orvix::gateway {
namespace {

constexpr char kGroup[] = "orvix";
constexpr unsigned kMostUnansweredMs = 60000;  // bytes to a peer that has vanished

[[noreturn]] void fail(const std::string& what, int error = errno) {
  throw std::runtime_error(what + ": " + std::strerror(error));
}

// Closes its descriptor unless that was taken out.
class Descriptor {
 public:
  explicit Descriptor(int opened) : number(opened) {}
  ~Descriptor() {
    if (number >= 0) {
      close(number);
    }
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  int get() const { return number; }
  int take() {
    const int taken = number;
    number = -1;
    return taken;
  }

 private:
  int number;
};

sockaddr_un pathAddress(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.empty() || path.size() >= sizeof address.sun_path) {
    // sun_path holds 108 bytes with its zero (unix(7)).
    throw std::runtime_error(path + ": a socket's path has 1 to 107 bytes");
  }
  path.copy(address.sun_path, path.size());
  return address;
}

template <typename Address>
const sockaddr* anyAddress(const Address& address) {
  return reinterpret_cast<const sockaddr*>(&address);
}

void makeFolderOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  if (slash != std::string::npos && slash > 0) {
    mkdir(path.substr(0, slash).c_str(), 0755);  // what is missing then, bind tells
  }
}

void removeStaleSocket(const std::string& path, const sockaddr_un& address) {
  struct stat file {};
  if (lstat(path.c_str(), &file) != 0) {
    return;
  }
  if (!S_ISSOCK(file.st_mode)) {
    throw std::runtime_error(path + ": is there and no socket");
  }
  // A service that lives answers a connect; EAGAIN says that it lives and is busy.
  const Descriptor probe(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (connect(probe.get(), anyAddress(address), sizeof address) == 0 || errno == EAGAIN) {
    throw std::runtime_error(path + ": another program listens there");
  }
  unlink(path.c_str());
}

void giveToGroup(const std::string& path) {
  const group* const wanted = getgrnam(kGroup);
  if (wanted == nullptr) {
    LOG(WARNING) << path << ": there is no group " << kGroup << ", our own one may use it";
  } else if (chown(path.c_str(), static_cast<uid_t>(-1), wanted->gr_gid) != 0) {
    LOG(WARNING) << path << ": cannot be given to the group " << kGroup
                 << ", our own one may use it: " << std::strerror(errno);
  }
}

using Addresses = std::unique_ptr<addrinfo, decltype(&freeaddrinfo)>;

Addresses resolve(const std::string& text) {
  // The last one: an IPv6 address has more of them.
  const std::size_t colon = text.rfind(':');
  if (colon == std::string::npos) {
    throw std::runtime_error(text + ": no port");
  }
  std::string host = text.substr(0, colon);
  if (host.size() > 1 && host.front() == '[' && host.back() == ']') {
    host = host.substr(1, host.size() - 2);
  }
  addrinfo hints{};
  // AI_PASSIVE: without a host on every address.
  hints.ai_flags = AI_PASSIVE | AI_NUMERICSERV;
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  const int error = getaddrinfo(host.empty() ? nullptr : host.c_str(), text.c_str() + colon + 1, &hints, &found);
  if (error != 0) {
    throw std::runtime_error(text + ": " + gai_strerror(error));
  }
  return {found, freeaddrinfo};
}

}  // namespace

int listenOnPath(const std::string& path) {
  const sockaddr_un address = pathAddress(path);
  makeFolderOf(path);
  removeStaleSocket(path, address);
  Descriptor listener(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  const mode_t before = umask(0117);  // never open to others, not for a moment
  const int bound = bind(listener.get(), anyAddress(address), sizeof address);
  const int error = errno;
  umask(before);
  if (bound != 0) {
    fail(path, error);
  }
  giveToGroup(path);
  // Only now: whoever connects finds the socket with the group that it keeps.
  if (listen(listener.get(), SOMAXCONN) != 0) {
    fail(path);
  }
  return listener.take();
}

int listenOnTcp(const std::string& address) {
  // Of several addresses of a name the first.
  const Addresses found = resolve(address);
  Descriptor listener(socket(found->ai_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  // A restart must not wait for connections of the last run to fade.
  const int on = 1;
  setsockopt(listener.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  // Connections inherit it: a reader of events that has vanished without a word is found by its silence.
  setsockopt(listener.get(), IPPROTO_TCP, TCP_USER_TIMEOUT, &kMostUnansweredMs, sizeof kMostUnansweredMs);
  if (bind(listener.get(), found->ai_addr, found->ai_addrlen) != 0 || listen(listener.get(), SOMAXCONN) != 0) {
    fail(address);
  }
  return listener.take();
}

std::string tcpAddressOf(int listener) {
  sockaddr_storage address{};
  socklen_t size = sizeof address;
  char host[NI_MAXHOST];
  char port[NI_MAXSERV];
  // Asked back, for port 0 lets the kernel choose.
  if (getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size) != 0 ||
      getnameinfo(anyAddress(address), size, host, sizeof host, port, sizeof port, NI_NUMERICHOST | NI_NUMERICSERV) !=
          0) {
    fail("a listening socket has no address");
  }
  return address.ss_family == AF_INET6 ? std::string("[") + host + "]:" + port : std::string(host) + ":" + port;
}

}  // namespace orvix::gateway
