// What a device opens in mode "ip". A pure function; any thread.
#pragma once

#include <string>

#include "document/object.h"
#include "plugin/names.h"

namespace orvix {

// "/dev/tcp/ADDRESS/PORT" of a configuration document. Line settings come after it, as after any path.
inline std::string networkPath(const BSONObject& config) {
  return names::kNetworkFolder + config.getString(names::kAddressPath, std::string()) + "/" +
         std::to_string(config.getInt32(names::kPortPath, 0));
}

}  // namespace orvix
