#include "host/scratchConfig.h"

#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "document/document.h"
#include "host/exitCode.h"

namespace orvix::host {
namespace {

constexpr char kUsualSettings[] = "115200,n,8,1";

BSONObject configurationOf(const LineChoice& line) {
  BSONBuilder root;
  BSONBuilder connection;
  BSONBuilder ip;
  root.appendString("id", "GSMModem");
  root.appendString("name", "GSMMODEMConfiguration");
  root.appendDocumentBegin("config", &connection);
  connection.appendString("mode", line.mode);
  connection.appendString("comstr", line.comstr);
  connection.appendDocumentBegin("ip", &ip);
  ip.appendString("address", line.address);
  ip.appendInt32("port", line.port);
  connection.appendDocumentEnd(&ip);
  root.appendDocumentEnd(&connection);
  return root.getObject(false);
}

}  // namespace

LineChoice serialLine(const std::string& device) {
  LineChoice line;
  line.comstr = device.find(':') == std::string::npos ? device + ":" + kUsualSettings : device;
  return line;
}

LineChoice tcpLine(const std::string& tcp) {
  LineChoice line;
  const std::size_t colon = tcp.find(':');
  const std::size_t end = colon == std::string::npos ? colon : tcp.find(':', colon + 1);
  const std::string port = colon == std::string::npos ? "" : tcp.substr(colon + 1, end - colon - 1);
  const auto [stop, error] = std::from_chars(port.data(), port.data() + port.size(), line.port);
  if (colon == 0 || error != std::errc() || stop != port.data() + port.size() || line.port < 1 || line.port > 65535) {
    throw Failure(kUsage, "\"" + tcp + "\" is no TCP line; give ADDRESS:PORT, for example 192.168.1.10:2233");
  }
  line.mode = "ip";
  line.address = tcp.substr(0, colon);
  line.comstr = "/dev/tcp:" + (end == std::string::npos ? kUsualSettings : tcp.substr(end + 1));
  return line;
}

ScratchConfig::ScratchConfig(const LineChoice& line) {
  if (!bson_utf8_validate(line.comstr.c_str(), line.comstr.size(), false)) {
    throw Failure(kUsage, "the line's name is not UTF-8");
  }
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
