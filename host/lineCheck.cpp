#include "host/lineCheck.h"

#include <fcntl.h>
#include <sys/file.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace orvix::host {
namespace {

std::string explainOpen(const std::string& path) {
  const std::string text = path + ": " + std::strerror(errno);
  switch (errno) {
    case ENOENT:
      return text + "; is the modem plugged in?";
    case EACCES:
      return text + "; join the group that owns it, often dialout";
    default:
      return text;
  }
}

}  // namespace

std::string explainLine(const std::string& connectionString) {
  const std::string path = connectionString.substr(0, connectionString.find(':'));
  if (path == connectionString) {
    return "\"" + connectionString + "\" has no settings; give PATH:baud,parity,databits,stopbits";
  }
  const int descriptor = open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK);
  if (descriptor == -1) {
    return explainOpen(path);
  }
  std::string text = "the settings of \"" + connectionString + "\" are not accepted";
  if (flock(descriptor, LOCK_EX | LOCK_NB) != 0) {
    text = path + " is held by another process";
  } else if (isatty(descriptor) == 0) {
    text = path + " is not a serial line";
  }
  close(descriptor);
  return text;
}

}  // namespace orvix::host
