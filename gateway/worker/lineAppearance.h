// Notices that a modem's line has appeared, or that its stable link leads to another device. One thread.
//
// Links are followed step by step, so a stable name below /dev/serial, a link to it and a pseudo-terminal's link all
// count. Where udev runs it tells when its rules are through (libudev); the folders are watched as well (inotify), for
// lines that udev does not know. Where neither can be had, the owner looks every kLookEveryMs.
#pragma once

#include <libudev.h>

#include <memory>
#include <string>

namespace orvix::gateway {

class LineAppearance {
 public:
  static constexpr int kLookEveryMs = 2000;

  // The device path, without a connection string's settings. What is there now counts as seen.
  // Throws nothing: what cannot be watched is looked at instead.
  explicit LineAppearance(std::string linePath);
  ~LineAppearance();
  LineAppearance(const LineAppearance&) = delete;
  LineAppearance& operator=(const LineAppearance&) = delete;

  // Readable, for poll, when look has something to see; borrowed. -1 when nothing watches.
  int descriptor() const { return isWatching ? events : -1; }
  // Whether the path leads to a device, and to another one, or by other means, than at the last call: created anew,
  // linked anew, or with other rights.
  // Some dozens of system calls. Rights count, for a device appears before udev's rules have given it to its group.
  bool look();

 private:
  // libudev counts references of its own.
  struct FreeUdev {
    void operator()(udev* context) const { udev_unref(context); }
    void operator()(udev_monitor* listener) const { udev_monitor_unref(listener); }
  };

  void listenToUdev();  // does nothing where no udev runs
  // Watches the folders on the way to the device, which may be others after every look.
  void watchFolders();
  void add(int descriptor);

  std::string path;
  int events;  // an epoll that holds the descriptors below
  int folders = -1;
  std::unique_ptr<udev, FreeUdev> library;
  std::unique_ptr<udev_monitor, FreeUdev> monitor;
  bool isWatching = false;
  // Identity of the path and the device at the last look; "" when there was none.
  std::string seen;
};

}  // namespace orvix::gateway
