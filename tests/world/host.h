// What a host brings: an event sink that remembers, a view of the log, a folder of its own. One thread.
#pragma once

#include <glog/logging.h>

#include <string>
#include <vector>

#include "plugin/device.h"

namespace world {

// Remembers each call as one line, e.g. "status 4", "event SMS { ... }", "report".
class RecordingSink : public orvix::IDeviceEventSink {
 public:
  std::vector<std::string> calls;

  void OnEvent(orvix::IDevice* device, const std::string& name, const orvix::BSONObject& document) override;
  void OnDataReport(orvix::IDevice* device, orvix::IDeviceDataReport* report) override;
  void Reserved() override;
  void OnStatusChanged(orvix::IDevice* device, orvix::DeviceStatus status) override;
};

// Collects the host log's lines, as "TAG:LINE] TEXT", while it lives, up to `verbosity`.
class LogCapture : public google::LogSink {
 public:
  explicit LogCapture(int verbosity);
  ~LogCapture() override;

  std::vector<std::string> lines;
  bool has(const std::string& line) const;

  void send(google::LogSeverity severity, const char* fullName, const char* baseName, int line,
            const google::LogMessageTime& time, const char* message, size_t length) override;
};

// Removed with everything in it.
class TemporaryFolder {
 public:
  TemporaryFolder();
  ~TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::string& path() const { return folder; }
  std::string file(const std::string& name) const { return folder + "/" + name; }
  // Writes a file and returns its path.
  std::string write(const std::string& name, const std::string& content) const;
  // Names in the folder, sorted.
  std::vector<std::string> names() const;

 private:
  std::string folder;
};

std::string readText(const std::string& path);

// A document from JSON text.
orvix::BSONObject fromJson(const std::string& text);

// The JSON text of a valid configuration for a modem on that line.
std::string configurationText(const std::string& comstr);

}  // namespace world
