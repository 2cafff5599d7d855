// Verbose lines in the host's glog, under a file tag of the room's own instead of the source file they stand in.
// Any thread; glog serialises its output.
#pragma once

#include <glog/logging.h>

namespace orvix {

// Whether FLAGS_v, or a FLAGS_vmodule pattern for the tag's base name, lets lines of this level through.
inline bool isVerboseOn(const char* fileTag, int level) {
  // With a name already set, glog does not chain the flag into a list that would outlive an unloaded module.
  google::SiteFlag site{nullptr, "", 0, nullptr};
  return google::InitVLOG3__(&site, &FLAGS_v, fileTag, level);
}

// Writes one line when the level is on. glog's prefix reads "BASENAME:LINE]"; 0 stands for "no particular line".
template <typename Text>
void logVerbose(const char* fileTag, int line, int level, const Text& text) {
  if (isVerboseOn(fileTag, level)) {
    google::LogMessage(fileTag, line).stream() << text;
  }
}

}  // namespace orvix
