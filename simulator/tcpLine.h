// The line of a simulated modem on the network, as a serial server offers it: bytes over TCP, nothing else. One thread
// at a time.
//
// One client at a time: another one that connects meanwhile is let go at once. A client may come back as often as it
// likes; the modem notices neither. What is sent while there is no client is lost.
#pragma once

#include <sys/socket.h>

#include <string>
#include <string_view>

#include "simulator/descriptor.h"
#include "simulator/line.h"

namespace orvix::simulator {

// A numeric address and a port. Throws std::invalid_argument unless the text reads ADDRESS:PORT or PORT, with the
// address in decimal dots or, for IPv6, in brackets. Without an address it is 127.0.0.1.
// Names are not resolved: nothing here waits for a name server.
struct TcpAddress {
  explicit TcpAddress(const std::string& text);

  // "127.0.0.1:4000", "[::1]:4000".
  std::string text() const;
  // Whether only this machine can reach it.
  bool isLoopback() const;

  sockaddr_storage socketAddress{};
  socklen_t size = 0;
};

// Bytes are passed through as they are: no telnet options (RFC 854), no line settings (RFC 2217).
class TcpLine final : public Line {
 public:
  // Listens from now on. Port 0 lets the system choose one; name() then tells it. Throws std::system_error.
  explicit TcpLine(const TcpAddress& wanted);

  std::string name() const override;
  int descriptor() const override;
  // Lets callers in as well, so that it has to be called whenever the descriptor is readable.
  std::string receive() override;
  void send(std::string_view bytes) override;
  bool isDrained() const override;

  // Until the return the port stays bound and refuses connections.
  void hangUp() override;
  void reconnect() override;

 private:
  // Steps of the above: a bound socket that does not listen yet; a descriptor among those that wake receive().
  void bind();
  void watch(int socket) const;
  // A caller becomes the client, or is let go when there is one.
  void accept();
  void letGo();
  void endClient();

  TcpAddress address;
  // One descriptor for poll, whichever of the two has something.
  Descriptor events;         // an epoll of the next two; none while hung up
  Descriptor listener;       // while hung up bound, but not listening
  Descriptor client;         // none until somebody connected
  Descriptor spare;          // see letGo
  bool clientEnded = false;  // it sends no more, and makes room for the next
};

}  // namespace orvix::simulator
