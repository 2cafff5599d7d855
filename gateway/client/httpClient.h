// Requests to the service over its Unix socket: HTTP/1.1 (RFC 9112), a connection each. One thread.
//
// Whether a request may be repeated depends on how far it got, so the two ways to get no answer are two types.
#pragma once

#include <stdexcept>
#include <string>

namespace orvix::gateway {

// The body is bytes; what they mean is the caller's.
struct HttpReply {
  int status = 0;
  std::string body;
};

// Nobody listens at the socket. Nothing was handed over.
class NoService : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The request went out, and no whole answer came back within 60 s: what became of it is not known.
class NoAnswer : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Sends one request and reads its answer, 64 MB at most. `target` is the path with its query, percent-encoded already.
// Blocks for 60 s without a byte at most. Throws NoService and NoAnswer; std::system_error when the socket may not be
// used (its file mode) or cannot be (its path is too long).
HttpReply request(const std::string& socketPath, const std::string& method, const std::string& target,
                  const std::string& body = "");

// The head and the body of an answer that was read to its end. Throws NoAnswer when it is cut short or none of HTTP.
HttpReply readReply(const std::string& bytes);

// One part of a path, or a value of a query: everything but letters, digits, "-", ".", "_" and "~" as %XX.
std::string percentEncoded(const std::string& text);

}  // namespace orvix::gateway
