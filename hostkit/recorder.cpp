#include "hostkit/recorder.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string_view>

#include "hostkit/error.h"
#include "hostkit/recording.h"

namespace orvix::hostkit {
namespace {

Error cannotRecord(const std::string& file) {
  return Error("cannot record to " + file + ": " + std::strerror(errno));
}

}  // namespace

Recorder::Recorder(const std::string& file, const std::string& line, IfThere ifThere)
    // For the owner alone: a recording holds numbers and texts.
    : descriptor(open(file.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | (ifThere == kRefuse ? O_EXCL : O_TRUNC), 0600)) {
  if (descriptor == -1) {
    throw cannotRecord(file);
  }
  write(recordingHeader(line));
  if (failed) {
    // close may change it.
    const int cause = errno;
    close(descriptor);
    errno = cause;
    throw cannotRecord(file);
  }
}

Recorder::~Recorder() {
  close(descriptor);
}

void Recorder::onTraffic(const TrafficPiece& piece) {
  // Nothing is thrown into the device's call; whoever owns the recorder asks hasFailed.
  if (!failed) {
    write(recordingOf(piece, beginUs));
  }
}

void Recorder::write(const std::string& text) {
  for (std::string_view rest = text; !rest.empty();) {
    const ssize_t count = ::write(descriptor, rest.data(), rest.size());
    if (count < 0 && errno != EINTR) {
      failed = true;
      return;
    }
    rest.remove_prefix(count > 0 ? static_cast<std::size_t>(count) : 0);
  }
}

}  // namespace orvix::hostkit
