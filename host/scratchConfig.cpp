#include "host/scratchConfig.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "app/common/document/document.h"
#include "host/exitCode.h"

namespace orvix::host {
namespace {

BSONObject configurationOf(const std::string& line) {
  BSONBuilder root;
  BSONBuilder connection;
  BSONBuilder ip;
  root.appendString("id", "GSMModem");
  root.appendString("name", "GSMMODEMConfiguration");
  root.appendDocumentBegin("config", &connection);
  connection.appendString("mode", "com");
  connection.appendString("comstr", line);
  connection.appendDocumentBegin("ip", &ip);
  ip.appendString("address", "127.0.0.1");
  ip.appendInt32("port", 0);
  connection.appendDocumentEnd(&ip);
  root.appendDocumentEnd(&connection);
  return root.getObject(false);
}

}  // namespace

ScratchConfig::ScratchConfig(const std::string& line) {
  folder = std::filesystem::temp_directory_path() / "gsm-host-XXXXXX";
  if (mkdtemp(folder.data()) == nullptr) {
    throw Failure(kInternal, folder + ": " + std::strerror(errno));
  }
  file = folder + "/modem.json";
  if (const Status saved = saveJSON(file, configurationOf(line)); !saved.isOk()) {
    std::filesystem::remove_all(folder);
    throw Failure(kInternal, saved.toString());
  }
}

ScratchConfig::~ScratchConfig() {
  std::error_code ignored;
  std::filesystem::remove_all(folder, ignored);
}

}  // namespace orvix::host
