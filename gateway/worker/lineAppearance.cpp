#include "gateway/worker/lineAppearance.h"

#include <sys/epoll.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <utility>

namespace orvix::gateway {
namespace {

namespace fs = std::filesystem;

// Of links that lead in a circle.
constexpr int kMostLinks = 8;

std::string identity(const struct stat& node) {
  std::string text;
  for (const auto number :
       {static_cast<long long>(node.st_dev), static_cast<long long>(node.st_ino), static_cast<long long>(node.st_rdev),
        static_cast<long long>(node.st_ctim.tv_sec), static_cast<long long>(node.st_ctim.tv_nsec)}) {
    text += std::to_string(number) + " ";
  }
  return text;
}

// Tells the node, and how the path leads there, from any other; "" without a device. A tty's ctime changes with its
// rights but not with its traffic.
std::string identityOf(const std::string& path) {
  struct stat link {};
  struct stat node {};
  const bool isDevice = lstat(path.c_str(), &link) == 0 && stat(path.c_str(), &node) == 0 && S_ISCHR(node.st_mode);
  return isDevice ? identity(link) + identity(node) : "";
}

fs::path existingFolderOf(const fs::path& file) {
  fs::path folder = file.parent_path();
  std::error_code ignored;
  while (!folder.empty() && !fs::is_directory(folder, ignored) && folder != folder.root_path()) {
    folder = folder.parent_path();
  }
  return folder;
}

}  // namespace

LineAppearance::LineAppearance(std::string linePath) : path(std::move(linePath)), events(epoll_create1(EPOLL_CLOEXEC)) {
  listenToUdev();
  look();
}

LineAppearance::~LineAppearance() {
  close(folders);
  close(events);
}

void LineAppearance::add(int descriptor) {
  epoll_event event{EPOLLIN, {}};
  // Either of the two is enough.
  isWatching = epoll_ctl(events, EPOLL_CTL_ADD, descriptor, &event) == 0 || isWatching;
}

void LineAppearance::listenToUdev() {
  // Without its daemon a monitor is silent, and its silence would be taken for calm.
  if (access("/run/udev/control", F_OK) != 0) {
    return;
  }
  library.reset(udev_new());
  monitor.reset(library ? udev_monitor_new_from_netlink(library.get(), "udev") : nullptr);
  if (monitor && udev_monitor_filter_add_match_subsystem_devtype(monitor.get(), "tty", nullptr) == 0 &&
      udev_monitor_enable_receiving(monitor.get()) == 0) {
    add(udev_monitor_get_fd(monitor.get()));
  }
}

// The folders of every step from the path to its device; where one is missing, the nearest above it.
void LineAppearance::watchFolders() {
  // Watched anew each time: after a re-plug the links lead through other folders.
  close(folders);
  folders = inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
  fs::path step = path;
  std::error_code notALink;
  for (int links = 0; links < kMostLinks && !notALink; ++links) {
    inotify_add_watch(folders, existingFolderOf(step).c_str(), IN_CREATE | IN_MOVED_TO | IN_ATTRIB | IN_DELETE_SELF);
    step = step.parent_path() / fs::read_symlink(step, notALink);
  }
  add(folders);
}

// Watched before looked at, so that nothing falls in between.
bool LineAppearance::look() {
  // Emptied only: what has changed is asked of the file system, whatever was announced.
  while (monitor) {
    udev_device* const device = udev_monitor_receive_device(monitor.get());
    if (device == nullptr) {
      break;
    }
    udev_device_unref(device);
  }
  watchFolders();
  const std::string now = identityOf(path);
  return std::exchange(seen, now) != now && !now.empty();
}

}  // namespace orvix::gateway
