// The serial line of a simulated modem: the master of a pseudo-terminal. One thread at a time.
//
// Clients open slavePath(), or the link, as they would a serial port, and may come and go as they like: the slave is
// held open meanwhile, in raw mode, with whatever settings the last client left. As on a line without flow control,
// output that no client reads is lost once the terminal's buffer is full, and until then waits for the next client.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "simulator/descriptor.h"
#include "simulator/line.h"

namespace orvix::simulator {

// A pseudo-terminal takes any speed and ignores it; it has no modem lines (TIOCMGET fails).
class PtyLine final : public Line {
 public:
  // A path that is not empty becomes a symbolic link to the slave. A stale link of an earlier run (it dangles, or
  // points below /dev/pts/ to a terminal of no PtyLine) is replaced; whatever else is there stays, and the constructor
  // throws EEXIST. A line that is renumbered comes back from a hang-up as another terminal for certain.
  // Throws std::system_error where no terminal can be had.
  explicit PtyLine(std::string link = {}, bool isRenumbered = false);

  // Removes the link, unless it leads elsewhere by now.
  ~PtyLine() override;

  // "/dev/pts/5"; another one after a return, as a rule.
  const std::string& slavePath() const;

  // See Line. name() is slavePath().
  std::string name() const override;
  int descriptor() const override;
  std::string receive() override;
  void send(std::string_view bytes) override;
  bool isDrained() const override;

  // The terminal goes, and its link with it; clients read what a removed device reads. A new terminal comes back under
  // the same link, and under another path unless every client has let go of the old one.
  void hangUp() override;
  void reconnect() override;

 private:
  // One pseudo-terminal, both ends of it.
  struct Terminal {
    Terminal();

    const Descriptor master;
    const std::string slaveName;
    Descriptor slave;  // never read: while it is open, the master sees no hang-up between clients
  };

  // The link leads to the terminal of now; nothing is done without one.
  void createLink() const;
  void removeLink() const;

  std::optional<Terminal> terminal;  // none while hung up
  std::string slaveName;             // of the latest terminal
  const std::string linkPath;
  const bool renumbered;
  Descriptor formerSlave;  // keeps the number of the terminal that went
};

}  // namespace orvix::simulator
