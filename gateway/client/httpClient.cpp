#include "gateway/client/httpClient.h"

#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <memory>
#include <string_view>
#include <system_error>

#include "common/printable.h"
#include "common/text.h"

namespace orvix::gateway {
namespace {

constexpr time_t kPatienceSeconds = 60;  // a full disk or a slow one may hold a commit up
// Far above any page of messages: a service gone wrong must not fill our memory.
constexpr std::size_t kMostBytes = std::size_t{64} * 1024 * 1024;

class Connection {
 public:
  explicit Connection(const std::string& path) : descriptor(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    // connect would see the path cut off, and maybe somebody else's socket.
    if (path.empty() || path.size() >= sizeof address.sun_path) {
      throw std::system_error(ENAMETOOLONG, std::generic_category(), path);
    }
    path.copy(address.sun_path, path.size());
    const timeval patience{kPatienceSeconds, 0};
    setsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    setsockopt(descriptor, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
    if (connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
      const int error = errno;
      close(descriptor);
      // Only these say that nobody listens; all else is a matter of rights.
      if (error == ENOENT || error == ECONNREFUSED || error == ENOTDIR || error == EAGAIN) {
        throw NoService("the service is not running: nobody listens at " + path);
      }
      throw std::system_error(error, std::generic_category(), path);
    }
  }
  ~Connection() { close(descriptor); }
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  // A service that has seen enough closes its side and may still have answered: what cannot be sent is no failure yet.
  void send(std::string_view bytes) {
    while (!bytes.empty()) {
      const ssize_t sent = ::send(descriptor, bytes.data(), bytes.size(), MSG_NOSIGNAL);
      if (sent < 0 && errno != EINTR) {
        return;
      }
      bytes.remove_prefix(static_cast<std::size_t>(sent < 0 ? 0 : sent));
    }
  }

  std::string receiveAll() {
    std::string bytes;
    char buffer[16384];
    while (bytes.size() < kMostBytes) {
      const ssize_t size = recv(descriptor, buffer, sizeof buffer, 0);
      if (size == 0) {
        break;
      }
      if (size > 0) {
        bytes.append(buffer, static_cast<std::size_t>(size));
      } else if (errno != EINTR) {
        throw NoAnswer("the service does not answer");
      }
    }
    return bytes;
  }

 private:
  const int descriptor;
};

// Of a header line that every answer of the service has.
std::size_t contentLength(const std::string& head) {
  constexpr std::string_view kName = "\r\ncontent-length:";
  // Header names may be written in any case (RFC 9110, 5.1).
  const std::size_t at = toLower(head).find(kName);
  const std::size_t begin = at == std::string::npos ? at : head.find_first_not_of(' ', at + kName.size());
  std::size_t length = 0;
  if (begin == std::string::npos ||
      std::from_chars(head.data() + begin, head.data() + head.size(), length).ec != std::errc()) {
    throw NoAnswer("the service's answer cannot be read");
  }
  return length;
}

}  // namespace

HttpReply readReply(const std::string& bytes) {
  constexpr std::string_view kVersion = "HTTP/1.1 ";
  const std::size_t end = bytes.find("\r\n\r\n");
  HttpReply reply;
  if (end == std::string::npos || bytes.compare(0, kVersion.size(), kVersion) != 0 ||
      std::from_chars(bytes.data() + kVersion.size(), bytes.data() + end, reply.status).ec != std::errc()) {
    throw NoAnswer("the service went away before it answered");
  }
  reply.body = bytes.substr(end + 4);
  // The connection ends with the answer, so only the length tells whether it is whole.
  if (reply.body.size() != contentLength(bytes.substr(0, end))) {
    throw NoAnswer("the service went away in the middle of its answer");
  }
  return reply;
}

HttpReply request(const std::string& socketPath, const std::string& method, const std::string& target,
                  const std::string& body) {
  Connection connection(socketPath);
  // Connection: close, so that the end of the answer is the end of the connection.
  connection.send(method + " " + target + " HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n" +
                  "Content-Type: application/json\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" +
                  body);
  return readReply(connection.receiveAll());
}

std::string percentEncoded(const std::string& text) {
  constexpr std::string_view kPlain = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~";
  std::string encoded;
  for (const char character : text) {
    if (kPlain.find(character) != std::string_view::npos) {
      encoded += character;
    } else {
      encoded += "%" + toUpper(hexText({&character, 1}));
    }
  }
  return encoded;
}

}  // namespace orvix::gateway
