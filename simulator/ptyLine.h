// The serial line of a simulated modem: the master of a pseudo-terminal. One thread at a time.
//
// Clients open slavePath(), or the link, as they would a serial port, and may come and go as they like: the slave is
// held open meanwhile, in raw mode, with whatever settings the last client left. As on a line without flow control,
// output that no client reads is lost once the terminal's buffer is full, and until then waits for the next client.
//
// Failures throw std::system_error; its what() names the step and the reason.
#pragma once

#include "simulator/descriptor.h"

#include <string>
#include <string_view>

namespace orvix::simulator {

class PtyLine {
 public:
  // A path that is not empty becomes a symbolic link to the slave. A link left behind by an earlier run (it dangles or
  // points below /dev/pts/) is replaced; whatever else is there stays, and the constructor throws EEXIST.
  explicit PtyLine(std::string link = {});

  // Removes the link, unless it leads elsewhere by now.
  ~PtyLine();

  PtyLine(const PtyLine&) = delete;
  PtyLine& operator=(const PtyLine&) = delete;

  const std::string& slavePath() const;

  // Readable, for poll, when a client wrote. Borrowed.
  int descriptor() const;

  // What clients wrote, some bytes at a time; empty when there is nothing. Never waits.
  std::string receive();

  // Never waits; what does not fit is lost.
  void send(std::string_view bytes);

 private:
  const Descriptor master;
  const std::string slaveName;
  const Descriptor slave;  // never read: while it is open, the master sees no hang-up between clients
  const std::string linkPath;
};

}  // namespace orvix::simulator
