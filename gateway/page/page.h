// The status page: one file with style and script inside, compiled in. Any thread.
#pragma once

#include <string>

namespace orvix::gateway {

struct Page {
  std::string html;
  // Nothing but its own origin, and of script and style only what is inside, by their hashes (CSP Level 3).
  std::string contentSecurityPolicy;
};

// Made once, at the first call.
const Page& statusPage();

}  // namespace orvix::gateway
