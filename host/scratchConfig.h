// A configuration file made for one run. One thread.
#pragma once

#include <cstdint>
#include <string>

namespace orvix::host {

struct LineChoice {
  std::string mode = "com";
  std::string comstr;  // "PATH:baud,parity,databits,stopbits"
  std::string address = "127.0.0.1";
  std::int32_t port = 0;
};

// A serial line, and a TCP line "ADDRESS:PORT[:settings]"; throws Failure when the text is neither.
LineChoice serialLine(const std::string& device);
LineChoice tcpLine(const std::string& tcp);

// Writes the configuration of a modem on that line into a folder of its own under the system's temporary folder; both
// are removed with this object. Throws Failure.
class ScratchConfig {
 public:
  explicit ScratchConfig(const LineChoice& line);
  ~ScratchConfig();
  ScratchConfig(const ScratchConfig&) = delete;
  ScratchConfig& operator=(const ScratchConfig&) = delete;

  const std::string& path() const { return file; }

 private:
  std::string folder;
  std::string file;
};

}  // namespace orvix::host
