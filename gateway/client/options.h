// What the command line says, as the commands read it. Plain values.
#pragma once

#include <optional>
#include <string>

namespace orvix::gateway {

struct Options {
  std::string configFile = "/etc/orvix/gateway.json";
  bool json = false;
  bool isVerbose = false;  // run

  // send
  std::string number;
  std::string text;
  std::string priority;     // "": the service's own choice
  std::string onUncertain;  // "": the service's own choice
  std::optional<int> expiresSeconds;
  std::optional<int> waitSeconds;

  std::string id;          // send, show, resolve, cancel
  std::string state;       // list; "": all
  std::string resolution;  // resolve
  std::string tokenName;   // token
};

}  // namespace orvix::gateway
