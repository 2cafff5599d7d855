#include "simulator/ptyLine.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <termios.h>

#include <cstdlib>
#include <filesystem>

namespace orvix::simulator {
namespace {

namespace fs = std::filesystem;

// Without O_NONBLOCK a client that does not read would hold the modem up.
Descriptor openMaster() {
  Descriptor master(::posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
  if (master.get() < 0) {
    throwErrno("cannot open a pseudo-terminal");
  }
  if (::grantpt(master.get()) < 0) {
    throwErrno("cannot grant the pseudo-terminal");
  }
  if (::unlockpt(master.get()) < 0) {
    throwErrno("cannot unlock the pseudo-terminal");
  }
  return master;
}

std::string nameOfSlave(int master) {
  char name[64];
  const int code = ::ptsname_r(master, name, sizeof name);
  if (code != 0) {
    throw std::system_error(code, std::generic_category(), "cannot name the pseudo-terminal");
  }
  return name;
}

Descriptor openRaw(const std::string& path) {
  Descriptor terminal(::open(path.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC));
  if (terminal.get() < 0) {
    throwErrno("cannot open ", path);
  }
  termios settings{};
  if (::tcgetattr(terminal.get(), &settings) < 0) {
    throwErrno("cannot read the settings of ", path);
  }
  // A terminal in its default mode would echo and turn CR into LF before any client has set it.
  ::cfmakeraw(&settings);
  if (::tcsetattr(terminal.get(), TCSANOW, &settings) < 0) {
    throwErrno("cannot change the settings of ", path);
  }
  return terminal;
}

// A byte that no client's lock is likely to mean, since those cover a beginning or use flock(2).
struct flock lineLock() {
  struct flock lock {};
  lock.l_type = F_WRLCK;
  lock.l_whence = SEEK_SET;
  lock.l_start = 0x4F52;
  lock.l_len = 1;
  return lock;
}

// The lock goes with the last descriptor of the process that holds it, however that ends.
void markAsLine(int slave) {
  struct flock lock = lineLock();
  if (::fcntl(slave, F_OFD_SETLK, &lock) < 0) {
    throwErrno("cannot lock the pseudo-terminal");
  }
}

// Asked through a descriptor of its own: a lock of the same descriptor would not show.
bool isLine(const std::string& path) {
  const Descriptor terminal(::open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
  struct flock lock = lineLock();
  return terminal.get() >= 0 && ::fcntl(terminal.get(), F_OFD_GETLK, &lock) == 0 && lock.l_type != F_UNLCK;
}

bool isStale(const std::string& link) {
  std::error_code notALink;
  const std::string target = fs::read_symlink(link, notALink).string();
  if (notALink) {
    return false;
  }
  // A name below /dev/pts/ may be somebody else's terminal by now, so it is asked whether it is a line of ours.
  std::error_code unknown;
  return (target.rfind("/dev/pts/", 0) == 0 && !isLine(target)) ||
         fs::status(link, unknown).type() == fs::file_type::not_found;
}

}  // namespace

PtyLine::Terminal::Terminal() : master(openMaster()), slaveName(nameOfSlave(master.get())), slave(openRaw(slaveName)) {
  markAsLine(slave.get());
}

PtyLine::PtyLine(std::string link, bool isRenumbered) : linkPath(std::move(link)), renumbered(isRenumbered) {
  reconnect();
}

PtyLine::~PtyLine() {
  removeLink();
}

void PtyLine::createLink() const {
  if (linkPath.empty()) {
    return;
  }
  if (isStale(linkPath)) {
    ::unlink(linkPath.c_str());
  }
  if (::symlink(slaveName.c_str(), linkPath.c_str()) < 0) {
    throwErrno("cannot create the link ", linkPath);
  }
}

void PtyLine::removeLink() const {
  std::error_code ignored;
  if (!linkPath.empty() && fs::read_symlink(linkPath, ignored) == slaveName) {
    fs::remove(linkPath, ignored);
  }
}

const std::string& PtyLine::slavePath() const {
  return slaveName;
}

std::string PtyLine::name() const {
  return slaveName;
}

int PtyLine::descriptor() const {
  return terminal ? terminal->master.get() : -1;
}

std::string PtyLine::receive() {
  char buffer[kReadSize];
  const ssize_t count = terminal ? ::read(terminal->master.get(), buffer, sizeof buffer) : 0;
  if (count >= 0) {
    return {buffer, static_cast<std::size_t>(count)};
  }
  if (errno != EAGAIN && errno != EINTR) {
    throwErrno("cannot read from ", slaveName);
  }
  return {};
}

void PtyLine::send(std::string_view bytes) {
  while (terminal && !bytes.empty()) {
    const ssize_t count = ::write(terminal->master.get(), bytes.data(), bytes.size());
    if (count > 0) {
      bytes.remove_prefix(static_cast<std::size_t>(count));
    } else if (errno == EAGAIN) {
      return;  // full: what does not fit is lost, as on a line without flow control
    } else if (errno != EINTR) {
      throwErrno("cannot write to ", slaveName);
    }
  }
}

// Asked at the slave's end, which holds what no client has read.
bool PtyLine::isDrained() const {
  int unread = 0;
  return !terminal || ::ioctl(terminal->slave.get(), FIONREAD, &unread) < 0 || unread == 0;
}

// The link goes first, so that no client finds a terminal that is about to go.
void PtyLine::hangUp() {
  removeLink();
  if (renumbered && terminal) {
    // As long as it is open the kernel gives its number to nobody else.
    formerSlave = std::move(terminal->slave);
  }
  // Without the master a client that has the line open reads an end, or EIO.
  terminal.reset();
}

void PtyLine::reconnect() {
  // Before the former one is let go, for else it would get its number back.
  terminal.emplace();
  formerSlave = Descriptor();
  slaveName = terminal->slaveName;
  createLink();
}

}  // namespace orvix::simulator
