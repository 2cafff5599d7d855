// Replacing a file as a whole, so that no crash leaves half of it.

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <string_view>

#include "document/file.h"

namespace orvix {
namespace {

Status systemFailure(const std::string& message) {
  return Status::failed(message.c_str(), std::strerror(errno));
}

// One write may take less than it was given; a write of nothing gets one more try.
bool writeAll(int file, std::string_view bytes) {
  int idleWrites = 0;
  while (!bytes.empty() && idleWrites < 2) {
    const ssize_t count = write(file, bytes.data(), bytes.size());
    if (count > 0) {
      bytes.remove_prefix(static_cast<std::size_t>(count));
    } else if (count == 0) {
      ++idleWrites;
    } else if (errno != EINTR) {
      break;
    }
  }
  return bytes.empty();
}

// From the open temporary file to the target's new content. The bytes reach the medium before the name does: otherwise
// a power cut could leave the name on a file that is still empty.
Status replaceTarget(const std::string& path, const std::string& temporary, int file, std::string_view bytes) {
  // Hosts rely on it: a failure before the close leaves the descriptor open.
  if (!writeAll(file, bytes)) {
    return systemFailure("Save file__ " + path);
  }
  if (fsync(file) != 0) {
    return systemFailure("fsync " + path);
  }
  close(file);
  if (std::rename(temporary.c_str(), path.c_str()) != 0) {
    return systemFailure("Save file__\u00e4\u00e4 " + path);  // the two letters tell it from a failed write
  }
  return {};
}

}  // namespace

Status saveFile(const std::string& path, const void* data, std::size_t length) {
  const std::string directory = std::filesystem::path(path).parent_path().string();
  // Beside the target: rename(2) cannot move a file to another file system.
  const std::string temporary = directory + "/" + std::to_string(std::time(nullptr)) + ".json";
  // For the owner alone, whatever the umask: a configuration may name numbers and addresses.
  const int file = open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  if (file == -1) {
    return Status::failed((std::string("Create temp file ") + std::strerror(errno)).c_str());
  }
  const int directoryFile = open(directory.c_str(), O_RDONLY);
  if (directoryFile == -1) {
    // Hosts rely on it: the temporary file stays, and its descriptor open.
    return Status::failed(("Open " + directory + std::strerror(errno)).c_str());
  }
  Status status = replaceTarget(path, temporary, file, {static_cast<const char*>(data), length});
  if (!status.isOk()) {
    unlink(temporary.c_str());
  } else if (fsync(directoryFile) != 0) {  // the new name is in the folder, and that too must reach the medium
    status = systemFailure("fsync " + directory);
  }
  close(directoryFile);
  return status;
}

}  // namespace orvix
