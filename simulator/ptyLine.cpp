#include "simulator/ptyLine.h"

#include <fcntl.h>
#include <termios.h>
#include <cstdlib>
#include <filesystem>

namespace orvix::simulator {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kReadSize = 512;

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
  ::cfmakeraw(&settings);
  if (::tcsetattr(terminal.get(), TCSANOW, &settings) < 0) {
    throwErrno("cannot change the settings of ", path);
  }
  return terminal;
}

bool isLeftBehind(const std::string& link) {
  std::error_code notALink;
  const std::string target = fs::read_symlink(link, notALink).string();
  if (notALink) {
    return false;
  }
  std::error_code unknown;
  return target.rfind("/dev/pts/", 0) == 0 || fs::status(link, unknown).type() == fs::file_type::not_found;
}

void createLink(const std::string& target, const std::string& link) {
  if (isLeftBehind(link)) {
    ::unlink(link.c_str());
  }
  if (::symlink(target.c_str(), link.c_str()) < 0) {
    throwErrno("cannot create the link ", link);
  }
}

}  // namespace

PtyLine::PtyLine(std::string link)
    : master(openMaster()), slaveName(nameOfSlave(master.get())), slave(openRaw(slaveName)), linkPath(std::move(link)) {
  if (!linkPath.empty()) {
    createLink(slaveName, linkPath);
  }
}

PtyLine::~PtyLine() {
  std::error_code ignored;
  if (!linkPath.empty() && fs::read_symlink(linkPath, ignored) == slaveName) {
    fs::remove(linkPath, ignored);
  }
}

const std::string& PtyLine::slavePath() const {
  return slaveName;
}

int PtyLine::descriptor() const {
  return master.get();
}

std::string PtyLine::receive() {
  char buffer[kReadSize];
  const ssize_t count = ::read(master.get(), buffer, sizeof buffer);
  if (count >= 0) {
    return {buffer, static_cast<std::size_t>(count)};
  }
  if (errno != EAGAIN && errno != EINTR) {
    throwErrno("cannot read from ", slaveName);
  }
  return {};
}

void PtyLine::send(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = ::write(master.get(), bytes.data(), bytes.size());
    if (count > 0) {
      bytes.remove_prefix(static_cast<std::size_t>(count));
    } else if (errno == EAGAIN) {
      return;
    } else if (errno != EINTR) {
      throwErrno("cannot write to ", slaveName);
    }
  }
}

}  // namespace orvix::simulator
