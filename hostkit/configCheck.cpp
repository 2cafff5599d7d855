#include "hostkit/configCheck.h"

#include "hostkit/connectionString.h"
#include "serial/xpl.h"

namespace orvix::hostkit {
namespace {

constexpr std::int32_t kHighestPort = 65535;

}  // namespace

ConfigProblem configProblem(const BSONObject& config) {
  const std::string mode = config.getString("config.mode", std::string());
  if (mode != "com" && mode != "ip") {
    return {"config.mode", "\"" + mode + "\" cannot be opened; it is \"com\" or \"ip\", in small letters"};
  }
  const std::string comstr = config.getString("config.comstr", std::string());
  if (comstr.find(':') == std::string::npos) {
    return {"config.comstr", "\"" + comstr + "\" has no \":\" with line settings behind it, such as :115200,n,8,1"};
  }
  const std::int32_t port = config.getInt32("config.ip.port", 0);
  if (mode == "ip" && (port < 1 || port > kHighestPort)) {
    return {"config.ip.port", std::to_string(port) + " is no TCP port: 1 to 65535"};
  }
  const std::string line = connectionString(config);
  XplDcb dcb;
  if (line.size() >= sizeof dcb.connectionString) {
    return {mode == "ip" ? "config.ip.address" : "config.comstr",
            "\"" + line + "\" is longer than the 127 bytes that a line's name and settings may have"};
  }
  if (XPLBuildDCB(line.c_str(), &dcb, nullptr) == 0) {
    return {"config.comstr", "the settings \"" + comstr.substr(comstr.find(':') + 1) +
                                 "\" are not accepted; they are baud (50 to 230400, a usual one), parity n, e or o, "
                                 "data bits 5 to 8, stop bits 1 or 2, such as 115200,n,8,1"};
  }
  return {};
}

}  // namespace orvix::hostkit
