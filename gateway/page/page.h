// The status page: one file with style and script inside, compiled in, so that it is never read from disk at run time
// and needs nothing from another host. Any thread.
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
