// The connection string of a configuration, and configurations for a line. Pure functions; any thread.
#pragma once

#include <cstdint>
#include <string>

#include "document/object.h"
#include "plugin/names.h"

namespace orvix::hostkit {

inline constexpr char kNoSettingsText[] = "config.comstr has no \":\" with line settings behind it";

// What a device with this configuration document opens: "config.comstr", or in mode "ip" "/dev/tcp/ADDRESS/PORT" and
// the settings after the first colon of "config.comstr" (without a colon: none, and the device refuses to open it).
std::string connectionString(const BSONObject& config);

// The device path of a connection string: what stands before the first colon.
std::string pathOf(const std::string& connectionString);

// Which line a configuration is for.
struct LineChoice {
  std::string mode = names::kSerialMode;  // or kNetworkMode
  std::string comstr;                     // "PATH:baud,parity,databits,stopbits"; in mode "ip" the settings count alone
  std::string address = "127.0.0.1";
  std::int32_t port = 0;
};

// A serial line "PATH[:settings]" and a TCP line "ADDRESS:PORT[:settings]", with 115200,n,8,1 where there are none.
// Both throw Error when the text is neither or cannot stand in a configuration.
LineChoice serialLine(const std::string& device);
LineChoice tcpLine(const std::string& tcp);

// The configuration document of a modem on that line.
BSONObject configurationOf(const LineChoice& line);

}  // namespace orvix::hostkit
