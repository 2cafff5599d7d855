// A configuration file made for one run. One thread.
#pragma once

#include <string>

#include "hostkit/connectionString.h"

namespace orvix::hostkit {

class ScratchConfig {
 public:
  // Writes the configuration of a modem on that line into a folder of its own under the system's temporary folder,
  // readable by this user alone. Throws Error.
  explicit ScratchConfig(const LineChoice& line);
  // Removes both.
  // A process that is killed leaves them behind, as gsm-modem-XXXXXX.
  ~ScratchConfig();
  ScratchConfig(const ScratchConfig&) = delete;
  ScratchConfig& operator=(const ScratchConfig&) = delete;

  const std::string& path() const { return file; }

 private:
  std::string folder;
  std::string file;
};

}  // namespace orvix::hostkit
