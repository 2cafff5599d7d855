#include "hostkit/connectionString.h"

#include <charconv>

#include "document/builder.h"
#include "hostkit/error.h"
#include "plugin/networkPath.h"

namespace orvix::hostkit {
namespace {

// What modules come with; without settings a device refuses its line.
constexpr char kUsualSettings[] = "115200,n,8,1";

// A file name may be any bytes, a text in BSON and JSON may not.
void requireUtf8(const std::string& text) {
  if (!bson_utf8_validate(text.c_str(), text.size(), false)) {
    throw Error("the line's name is not UTF-8");
  }
}

}  // namespace

std::string connectionString(const BSONObject& config) {
  // The same line as the device composes, or whoever looks for the cause of a fault would look at another one.
  std::string comstr = config.getString(names::kComstrPath, std::string());
  if (config.getString(names::kModePath, std::string()) != names::kNetworkMode) {
    return comstr;
  }
  const std::size_t colon = comstr.find(':');
  return networkPath(config) + (colon == std::string::npos ? std::string() : comstr.substr(colon));
}

std::string pathOf(const std::string& connectionString) {
  return connectionString.substr(0, connectionString.find(':'));
}

LineChoice serialLine(const std::string& device) {
  requireUtf8(device);
  LineChoice line;
  line.comstr = device.find(':') == std::string::npos ? device + ":" + kUsualSettings : device;
  return line;
}

LineChoice tcpLine(const std::string& tcp) {
  requireUtf8(tcp);
  LineChoice line;
  // An IPv6 address cannot be named: its first colon would end the path in the connection string as well.
  const std::size_t colon = tcp.find(':');
  // The second colon, if there is one, begins the settings.
  const std::size_t end = colon == std::string::npos ? colon : tcp.find(':', colon + 1);
  const std::string port = colon == std::string::npos ? "" : tcp.substr(colon + 1, end - colon - 1);
  const auto [stop, error] = std::from_chars(port.data(), port.data() + port.size(), line.port);
  if (colon == 0 || error != std::errc() || stop != port.data() + port.size() || line.port < 1 || line.port > 65535) {
    throw Error("\"" + tcp + "\" is no TCP line; give ADDRESS:PORT, for example 192.168.1.10:2233");
  }
  line.mode = names::kNetworkMode;
  line.address = tcp.substr(0, colon);
  // Of this the device takes the part after the colon alone.
  line.comstr = "/dev/tcp:" + (end == std::string::npos ? kUsualSettings : tcp.substr(end + 1));
  return line;
}

BSONObject configurationOf(const LineChoice& line) {
  BSONBuilder root;
  BSONBuilder connection;
  BSONBuilder ip;
  root.appendString(names::kId, names::kType);
  root.appendString(names::kName, names::kConfigurationName);
  root.appendDocumentBegin(names::kConfig, &connection);
  connection.appendString(names::kMode, line.mode);
  connection.appendString(names::kComstr, line.comstr);
  connection.appendDocumentBegin(names::kIp, &ip);
  ip.appendString(names::kAddress, line.address);
  ip.appendInt32(names::kPort, line.port);
  connection.appendDocumentEnd(&ip);
  root.appendDocumentEnd(&connection);
  return root.getObject(false);
}

}  // namespace orvix::hostkit
