#include "simulator/tcpLine.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <linux/sockios.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/epoll.h>
#include <sys/ioctl.h>

#include <cstring>
#include <memory>
#include <stdexcept>

namespace orvix::simulator {
namespace {

// Clients that come and go quickly wait here: one too many would wait for a second to try again.
constexpr int kBacklog = SOMAXCONN;
constexpr int kOn = 1;

sockaddr* generic(sockaddr_storage& address) {
  return reinterpret_cast<sockaddr*>(&address);
}

const sockaddr* generic(const sockaddr_storage& address) {
  return reinterpret_cast<const sockaddr*>(&address);
}

std::string withoutBrackets(const std::string& host) {
  const bool inBrackets = host.size() > 2 && host.front() == '[' && host.back() == ']';
  return inBrackets ? host.substr(1, host.size() - 2) : host;
}

Descriptor openSpare() {
  return Descriptor(::open("/dev/null", O_RDONLY | O_CLOEXEC));
}

bool isPort(const std::string& text) {
  return !text.empty() && text.size() <= 5 && text.find_first_not_of("0123456789") == std::string::npos &&
         std::stoi(text) <= 0xFFFF;
}

}  // namespace

TcpAddress::TcpAddress(const std::string& text) {
  // The last one: an IPv6 address has more of them.
  const std::size_t colon = text.rfind(':');
  const std::string host = colon == std::string::npos ? "127.0.0.1" : withoutBrackets(text.substr(0, colon));
  const std::string port = colon == std::string::npos ? text : text.substr(colon + 1);
  addrinfo hints{};
  hints.ai_flags = AI_NUMERICHOST | AI_NUMERICSERV;
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  if (!isPort(port) || ::getaddrinfo(host.c_str(), port.c_str(), &hints, &found) != 0) {
    throw std::invalid_argument("must be ADDRESS:PORT or PORT, with a numeric address");
  }
  const std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)> owner(found, ::freeaddrinfo);
  std::memcpy(&socketAddress, found->ai_addr, found->ai_addrlen);
  size = found->ai_addrlen;
}

std::string TcpAddress::text() const {
  char host[INET6_ADDRSTRLEN];
  char port[8];
  ::getnameinfo(generic(socketAddress), size, host, sizeof host, port, sizeof port, NI_NUMERICHOST | NI_NUMERICSERV);
  const bool isIpv6 = socketAddress.ss_family == AF_INET6;
  return (isIpv6 ? "[" + std::string(host) + "]" : host) + ":" + port;
}

bool TcpAddress::isLoopback() const {
  const std::string shown = text();
  return shown.rfind("127.", 0) == 0 || shown.rfind("[::1]:", 0) == 0;
}

TcpLine::TcpLine(const TcpAddress& wanted) : address(wanted), spare(openSpare()) {
  bind();
  reconnect();
}

void TcpLine::bind() {
  listener = Descriptor(::socket(address.socketAddress.ss_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
  if (listener.get() < 0) {
    throwErrno("cannot create a socket");
  }
  // A restart must not wait for connections of the last run to fade; the chosen port is read back for name().
  if (::setsockopt(listener.get(), SOL_SOCKET, SO_REUSEADDR, &kOn, sizeof kOn) < 0 ||
      ::bind(listener.get(), generic(address.socketAddress), address.size) < 0 ||
      ::getsockname(listener.get(), generic(address.socketAddress), &address.size) < 0) {
    throwErrno("cannot bind to ", address.text());
  }
}

void TcpLine::watch(int socket) const {
  epoll_event wanted{};
  wanted.events = EPOLLIN;
  if (::epoll_ctl(events.get(), EPOLL_CTL_ADD, socket, &wanted) < 0) {
    throwErrno("cannot watch ", address.text());
  }
}

// Without a free descriptor the caller would wait for ever, and the line be readable as long: the spare one is given up
// for a moment to let it go.
void TcpLine::letGo() {
  spare = Descriptor();
  Descriptor caller(::accept4(listener.get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
  caller = Descriptor();
  spare = openSpare();
}

void TcpLine::accept() {
  Descriptor caller(::accept4(listener.get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
  if (caller.get() < 0 && (errno == EMFILE || errno == ENFILE)) {
    return letGo();
  }
  if (caller.get() < 0 || (client.get() >= 0 && !clientEnded)) {
    return;  // gone again, or one too many
  }
  // Echo is sent byte by byte, which would wait for acknowledgements otherwise.
  ::setsockopt(caller.get(), IPPROTO_TCP, TCP_NODELAY, &kOn, sizeof kOn);
  watch(caller.get());
  client = Descriptor();
  client = std::move(caller);
  clientEnded = false;
}

// It may have closed one direction alone and wait for an answer: it stays until another one comes.
void TcpLine::endClient() {
  // An ended direction stays readable: watched on, it would wake us without end.
  ::epoll_ctl(events.get(), EPOLL_CTL_DEL, client.get(), nullptr);
  clientEnded = true;
}

std::string TcpLine::name() const {
  return address.text();
}

int TcpLine::descriptor() const {
  return events.get();
}

// The client comes first: one that has left makes room for the next, which may be waiting already.
std::string TcpLine::receive() {
  if (client.get() >= 0 && !clientEnded) {
    char buffer[kReadSize];
    const ssize_t count = ::recv(client.get(), buffer, sizeof buffer, 0);
    if (count > 0) {
      return {buffer, static_cast<std::size_t>(count)};
    }
    if (count == 0 || (errno != EAGAIN && errno != EINTR)) {
      endClient();
    }
  }
  accept();
  return {};
}

void TcpLine::send(std::string_view bytes) {
  while (client.get() >= 0 && !bytes.empty()) {
    const ssize_t count = ::send(client.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (count > 0) {
      bytes.remove_prefix(static_cast<std::size_t>(count));
    } else if (errno != EINTR) {
      return;  // full, or the client is gone, which receive will see
    }
  }
}

bool TcpLine::isDrained() const {
  // What the client has not acknowledged; one that is gone leaves nothing to wait for.
  int unsent = 0;
  return client.get() < 0 || ::ioctl(client.get(), SIOCOUTQ, &unsent) < 0 || unsent == 0;
}

void TcpLine::hangUp() {
  events = Descriptor();
  client = Descriptor();
  listener = Descriptor();
  // Bound again at once, so that nobody else takes the port meanwhile; without listen(2) callers are refused.
  bind();
}

void TcpLine::reconnect() {
  events = Descriptor(::epoll_create1(EPOLL_CLOEXEC));
  if (events.get() < 0 || ::listen(listener.get(), kBacklog) < 0) {
    throwErrno("cannot listen on ", address.text());
  }
  watch(listener.get());
}

}  // namespace orvix::simulator
