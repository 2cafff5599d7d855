#include "host/lineCheck.h"

#include <fcntl.h>
#include <grp.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
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

std::string processText(const std::string& number) {
  std::string name;
  std::getline(std::ifstream("/proc/" + number + "/comm"), name);
  return std::string("process ").append(number).append(" (").append(name).append(")");
}

std::vector<std::string> openers(const std::string& path) {
  std::vector<std::string> found;
  struct stat wanted {};
  if (stat(path.c_str(), &wanted) != 0) {
    return found;
  }
  const std::string self = std::to_string(getpid());
  std::error_code refused;
  for (const fs::directory_entry& process : fs::directory_iterator("/proc", refused)) {
    const std::string number = process.path().filename();
    if (isNumber(number) && number != self && holds(process.path(), wanted.st_rdev)) {
      found.push_back(processText(number));
    }
  }
  return found;
}

// Who holds the lock, by the system's list of locks; "" when that does not tell.
std::string lockerOf(const std::string& path) {
  struct stat wanted {};
  if (stat(path.c_str(), &wanted) != 0) {
    return "";
  }
  char node[64];
  std::snprintf(node, sizeof node, " %02x:%02x:%llu ", major(wanted.st_dev), minor(wanted.st_dev),
                static_cast<unsigned long long>(wanted.st_ino));
  std::ifstream locks("/proc/locks");
  for (std::string row; std::getline(locks, row);) {
    const std::size_t place = row.find(node);
    if (place != std::string::npos && row.find("FLOCK") != std::string::npos) {
      return processText(row.substr(row.rfind(' ', place - 1) + 1, place - row.rfind(' ', place - 1) - 1));
    }
  }
  return "";
}

std::string holderOf(const std::string& path) {
  const std::string locker = lockerOf(path);
  const std::vector<std::string> others = openers(path);
  return !locker.empty() ? locker : others.empty() ? "another process" : others.front();
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
        return text + "; Linux has no such files: link one with tcp-line ADDRESS PORT (in scripts or /usr/lib/orvix)";
      }
      return text + "; is the modem plugged in?";
    case EACCES:
      return text + "; join the group " + groupOf(path);
    case EBUSY:
      return path + " is held by " + holderOf(path) + ": end it, or choose another line";
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

std::vector<std::string> openersOf(const std::string& connectionString) {
  return openers(pathOf(connectionString));
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
