// A configuration file made for one run. One thread.
#pragma once

#include <string>

namespace orvix::host {

// Writes the configuration of a modem on `line` ("PATH:baud,parity,dataBits,stopBits") into a folder of its own under
// the system's temporary folder; both are removed with this object. Throws Failure.
class ScratchConfig {
 public:
  explicit ScratchConfig(const std::string& line);
  ~ScratchConfig();
  ScratchConfig(const ScratchConfig&) = delete;
  ScratchConfig& operator=(const ScratchConfig&) = delete;

  const std::string& path() const { return file; }

 private:
  std::string folder;
  std::string file;
};

}  // namespace orvix::host
