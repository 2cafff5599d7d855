#include "hostkit/configCheck.h"

#include "hostkit/connectionString.h"
#include "plugin/names.h"
#include "serial/xpl.h"

namespace orvix::hostkit {
namespace {

constexpr std::int32_t kHighestPort = 65535;

}  // namespace

ConfigProblem configProblem(const BSONObject& config) {
  const std::string mode = config.getString(names::kModePath, std::string());
  // In the order in which the device looks, so that the first problem here is the first that it would meet.
  if (mode != names::kSerialMode && mode != names::kNetworkMode) {
    return {names::kModePath, "\"" + mode + "\" cannot be opened; it is \"com\" or \"ip\", in small letters"};
  }
  const std::string comstr = config.getString(names::kComstrPath, std::string());
  if (comstr.find(':') == std::string::npos) {
    return {names::kComstrPath, "\"" + comstr + "\" has no \":\" with line settings behind it, such as :115200,n,8,1"};
  }
  const std::int32_t port = config.getInt32(names::kPortPath, 0);
  if (mode == names::kNetworkMode && (port < 1 || port > kHighestPort)) {
    return {names::kPortPath, std::to_string(port) + " is no TCP port: 1 to 65535"};
  }
  const std::string line = connectionString(config);
  XplDcb dcb;
  // Before the serial library, which would report it without a key.
  if (line.size() >= sizeof dcb.connectionString) {
    return {mode == names::kNetworkMode ? names::kAddressPath : names::kComstrPath,
            "\"" + line + "\" is longer than the 127 bytes that a line's name and settings may have"};
  }
  if (XPLBuildDCB(line.c_str(), &dcb, nullptr) == 0) {
    return {names::kComstrPath, "the settings \"" + comstr.substr(comstr.find(':') + 1) +
                                    "\" are not accepted; they are baud (50 to 230400, a usual one), parity n, e or o, "
                                    "data bits 5 to 8, stop bits 1 or 2, such as 115200,n,8,1"};
  }
  return {};
}

}  // namespace orvix::hostkit
