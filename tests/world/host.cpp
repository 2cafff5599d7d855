#include "tests/world/host.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "document/document.h"

namespace world {

void RecordingSink::OnEvent(orvix::IDevice* /*device*/, const std::string& name, const orvix::BSONObject& document) {
  calls.push_back("event " + name + " " + document.toJSON());
}

void RecordingSink::OnDataReport(orvix::IDevice* /*device*/, orvix::IDeviceDataReport* report) {
  calls.push_back(report != nullptr ? "report" : "no report");
}

void RecordingSink::Reserved() {
  calls.push_back("reserved");
}

void RecordingSink::OnStatusChanged(orvix::IDevice* /*device*/, orvix::DeviceStatus status) {
  calls.push_back("status " + std::to_string(static_cast<unsigned>(status)));
}

LogCapture::LogCapture(int verbosity) {
  FLAGS_v = verbosity;
  google::AddLogSink(this);
}

LogCapture::~LogCapture() {
  google::RemoveLogSink(this);
  FLAGS_v = 0;
}

bool LogCapture::has(const std::string& line) const {
  return std::find(lines.begin(), lines.end(), line) != lines.end();
}

void LogCapture::send(google::LogSeverity /*severity*/, const char* /*fullName*/, const char* baseName, int line,
                      const google::LogMessageTime& /*time*/, const char* message, size_t length) {
  lines.push_back(std::string(baseName) + ":" + std::to_string(line) + "] " + std::string(message, length));
}

TemporaryFolder::TemporaryFolder() : folder(std::filesystem::temp_directory_path() / "orvix-test-XXXXXX") {
  EXPECT_NE(mkdtemp(folder.data()), nullptr);
}

TemporaryFolder::~TemporaryFolder() {
  std::filesystem::remove_all(folder);
}

std::string TemporaryFolder::write(const std::string& name, const std::string& content) const {
  std::ofstream(file(name), std::ios::binary) << content;
  return file(name);
}

std::vector<std::string> TemporaryFolder::names() const {
  std::vector<std::string> found;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    found.push_back(entry.path().filename());
  }
  std::sort(found.begin(), found.end());
  return found;
}

std::string readText(const std::string& path) {
  std::ostringstream text;
  text << std::ifstream(path, std::ios::binary).rdbuf();
  return text.str();
}

orvix::BSONObject fromJson(const std::string& text) {
  orvix::BSONBuilder builder;
  const orvix::Status status = builder.fromJSON(text.c_str());
  EXPECT_TRUE(status.isOk()) << status.toString() << " in " << text;
  return builder.getObject(false);
}

std::string configurationText(const std::string& comstr) {
  return R"({"id":"GSMModem","name":"GSMMODEMConfiguration","config":{"mode":"com","comstr":")" + comstr +
         R"(","ip":{"address":"10.0.0.5","port":5000}}})";
}

}  // namespace world
