#include "hostkit/lineTrouble.h"

#include <fcntl.h>
#include <grp.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <optional>

#include "hostkit/connectionString.h"
#include "plugin/names.h"
#include "serial/dcb.h"

namespace orvix::hostkit {
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
    // By the device's number: a process may have opened it under another name.
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
  // This process has the line open itself while it looks.
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
  // As /proc/locks writes a file: device numbers in hexadecimal, the inode in decimal, with the process before it.
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
  // A lock from another container is not in the list: whoever has the line open is the likely holder.
  const std::vector<std::string> others = openers(path);
  return !locker.empty() ? locker : others.empty() ? "another process" : others.front();
}

std::string heldBy(const std::string& path) {
  const std::string holder = holderOf(path);
  const std::string advice = openerAdvice(holder);
  return path + " is held by " + holder + ": end it, or choose another line" + (advice.empty() ? "" : "; " + advice);
}

// What the mode bits leave to do for somebody who may not open the file.
std::string accessAdvice(const std::string& path) {
  struct stat found {};
  if (stat(path.c_str(), &found) != 0) {
    return "a folder on the way there is closed to you";
  }
  constexpr mode_t kGroupMay = S_IRGRP | S_IWGRP;
  const group* const owner = getgrgid(found.st_gid);
  const std::string name = owner != nullptr ? owner->gr_name : std::to_string(found.st_gid);
  // The root group is nobody's to join.
  if ((found.st_mode & kGroupMay) == kGroupMay && found.st_gid != 0) {
    return "join its group (usermod -aG " + name + " USER) and log in again";
  }
  char mode[8];
  std::snprintf(mode, sizeof mode, "%03o", static_cast<unsigned>(found.st_mode & 0777));
  return std::string("its mode ") + mode +
         " lets no group in; a udev rule changes that: SUBSYSTEM==\"tty\", KERNEL==\"" +
         fs::path(path).filename().string() + "\", GROUP=\"dialout\", MODE=\"0660\"";
}

std::string openTrouble(const std::string& path, int error) {
  std::string text = path + ": " + std::strerror(error);
  switch (error) {
    case ENOENT:
      if (path.rfind(names::kNetworkFolder, 0) == 0) {
        return text + "; Linux has no such files: link one with tcp-line ADDRESS PORT (in scripts or /usr/lib/orvix)";
      }
      return text + "; is the modem plugged in?";
    case EACCES:
      return text + "; " + accessAdvice(path);
    // TIOCEXCL: somebody wants the terminal for himself.
    case EBUSY:
      return heldBy(path);
    default:
      return text;
  }
}

// Another name of the same device without a colon, where udev made one.
std::string nameById(const fs::path& device) {
  std::error_code refused;
  for (const fs::directory_entry& entry : fs::directory_iterator("/dev/serial/by-id", refused)) {
    if (fs::equivalent(entry.path(), device, refused) && entry.path().string().find(':') == std::string::npos) {
      return entry.path();
    }
  }
  return fs::canonical(device, refused);
}

// The first colon ends the path, so a name that holds one is cut there.
std::string colonTrouble(const std::string& connectionString) {
  std::error_code refused;
  for (std::size_t end = connectionString.size(); end != std::string::npos && end > 0;
       end = connectionString.rfind(':', end - 1)) {
    const std::string path = connectionString.substr(0, end);
    if (path.find(':') != std::string::npos && fs::exists(path, refused)) {
      return path + " holds a colon, which ends the name in a connection string; use " + nameById(path);
    }
  }
  return "";
}

}  // namespace

std::string lineTrouble(const std::string& connectionString) {
  const std::string path = pathOf(connectionString);
  // As the serial library opens it, so that the same things fail. Nothing is written or configured.
  const int descriptor = open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
  if (descriptor == -1) {
    const int error = errno;
    const std::string trouble = error == ENOENT ? colonTrouble(connectionString) : "";
    return trouble.empty() ? openTrouble(path, error) : trouble;
  }
  std::string text;
  // The lock that a device takes; given back with the descriptor.
  if (flock(descriptor, LOCK_EX | LOCK_NB) != 0) {
    text = heldBy(path);
  } else if (isatty(descriptor) == 0) {
    text = path + " is not a serial line";
  }
  close(descriptor);
  return text;
}

std::string speedTrouble(const std::string& connectionString) {
  XplDcb dcb;
  const std::string path = pathOf(connectionString);
  if (XPLBuildDCB(connectionString.c_str(), &dcb, nullptr) == 0) {
    return "";
  }
  const std::optional<termios> wanted = xpl::lineSettings(path.c_str(), dcb);
  const int descriptor = open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
  if (descriptor == -1) {
    return "";
  }
  termios found{};
  // tcsetattr succeeds when anything at all could be set, so only the speed that is read back tells.
  const bool isOther = wanted && tcgetattr(descriptor, &found) == 0 && cfgetospeed(&found) != cfgetospeed(&*wanted);
  close(descriptor);
  return isOther ? path + " does not run at " + std::to_string(dcb.baud) + " baud: its chip did not take the speed"
                 : "";
}

std::string openerAdvice(const std::string& opener) {
  if (opener.find("(ModemManager)") == std::string::npos) {
    return "";
  }
  return "a udev rule keeps ModemManager away from a device: ATTRS{idVendor}==\"VENDOR\", "
         "ATTRS{idProduct}==\"PRODUCT\", ENV{ID_MM_DEVICE_IGNORE}=\"1\"";
}

std::vector<std::string> openersOf(const std::string& connectionString) {
  return openers(pathOf(connectionString));
}

std::vector<std::string> serialDevices() {
  std::vector<std::string> found;
  std::error_code refused;
  for (const fs::directory_entry& entry : fs::directory_iterator("/dev", refused)) {
    const std::string name = entry.path().filename();
    // USB adapters, modems of their own (CDC ACM), and the UARTs of usual ARM boards.
    for (const char* const prefix : {"ttyUSB", "ttyACM", "ttyAMA", "ttyO", "ttymxc"}) {
      if (name.rfind(prefix, 0) == 0) {
        found.push_back(entry.path());
      }
    }
  }
  std::sort(found.begin(), found.end());
  return found;
}

}  // namespace orvix::hostkit
