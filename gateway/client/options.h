// What the command line says, as the commands read it. Plain values; any thread.
//
// One struct for all commands: each reads its own members and leaves the others as they are. Words were checked against
// their lists, ids to be made against their rule; what only the service can judge (number, text, which ids there are)
// comes to it as it was typed.
#pragma once

#include <optional>
#include <string>

namespace orvix::gateway {

struct Options {
  // Of every command. The file also names the socket that a client speaks to.
  std::string configFile = "/etc/orvix/gateway.json";
  bool json = false;
  bool isVerbose = false;  // run

  // Of send. A word that is "" is left out of the request, so that the service's own default counts.
  std::string number;
  std::string text;
  std::string priority;
  std::string onUncertain;
  // Seconds from the acceptance, 1 to 31 days. None: the service's configuration says it.
  std::optional<int> expiresSeconds;
  // How long to wait for the end of the message; none: not at all.
  std::optional<int> waitSeconds;

  std::string id;          // send, show, resolve, cancel
  std::string state;       // list; "": all
  std::string resolution;  // resolve
  std::string tokenName;   // token
};

}  // namespace orvix::gateway
