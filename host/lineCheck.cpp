#include "host/lineCheck.h"

#include <fcntl.h>
#include <grp.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>

namespace orvix::host {
namespace {

namespace fs = std::filesystem;

bool isNumber(const std::string& text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [](unsigned char c) { return std::isdigit(c) != 0; });
}

// Whether a process has the device open, as far as this user may see.
bool holds(const fs::path& process, dev_t device) {
  std::error_code refused;
  for (const fs::directory_entry& entry : fs::directory_iterator(process / "fd", refused)) {
    struct stat found {};
    if (stat(entry.path().c_str(), &found) == 0 && S_ISCHR(found.st_mode) && found.st_rdev == device) {
      return true;
    }
  }
  return false;
}

std::string holderOf(const std::string& path) {
  struct stat wanted {};
  if (stat(path.c_str(), &wanted) != 0) {
    return "another process";
  }
  const std::string self = std::to_string(getpid());
  std::error_code refused;
  for (const fs::directory_entry& process : fs::directory_iterator("/proc", refused)) {
    const std::string number = process.path().filename();
    if (isNumber(number) && number != self && holds(process.path(), wanted.st_rdev)) {
      std::string name;
      std::getline(std::ifstream(process.path() / "comm"), name);
      return std::string("process ").append(number).append(" (").append(name).append(")");
    }
  }
  return "another process";
}

std::string groupOf(const std::string& path) {
  struct stat found {};
  const group* const owner = stat(path.c_str(), &found) == 0 ? getgrgid(found.st_gid) : nullptr;
  return owner != nullptr ? owner->gr_name : "dialout";
}

std::string openTrouble(const std::string& path, int error) {
  std::string text = path + ": " + std::strerror(error);
  switch (error) {
    case ENOENT:
      if (path.rfind("/dev/tcp/", 0) == 0) {
        return text + "; Linux has no such files: link one with scripts/tcp-line ADDRESS PORT";
      }
      return text + "; is the modem plugged in?";
    case EACCES:
      return text + "; join the group " + groupOf(path);
    default:
      return text;
  }
}

}  // namespace

std::string pathOf(const std::string& connectionString) {
  return connectionString.substr(0, connectionString.find(':'));
}

std::string lineTrouble(const std::string& connectionString) {
  const std::string path = pathOf(connectionString);
  const int descriptor = open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK);
  if (descriptor == -1) {
    return openTrouble(path, errno);
  }
  std::string text;
  if (flock(descriptor, LOCK_EX | LOCK_NB) != 0) {
    text = path + " is held by " + holderOf(path) + ": end it, or choose another line";
  } else if (isatty(descriptor) == 0) {
    text = path + " is not a serial line";
  }
  close(descriptor);
  return text;
}

std::vector<std::string> serialDevices() {
  std::vector<std::string> found;
  std::error_code refused;
  for (const fs::directory_entry& entry : fs::directory_iterator("/dev", refused)) {
    const std::string name = entry.path().filename();
    for (const char* const prefix : {"ttyUSB", "ttyACM", "ttyAMA", "ttyO", "ttymxc"}) {
      if (name.rfind(prefix, 0) == 0) {
        found.push_back(entry.path());
      }
    }
  }
  std::sort(found.begin(), found.end());
  return found;
}

}  // namespace orvix::host
