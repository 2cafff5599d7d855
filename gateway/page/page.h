// The status page: one file with style and script inside, compiled in, so that it is never read from disk at run time
// and needs nothing from another host. Any thread.
#pragma once

#include <string>

namespace orvix::gateway {

struct Page {
  // UTF-8, some 30 kB. The same for everybody: it holds no data, which its script asks for with the token.
  std::string html;
  // Nothing but its own origin, and of script and style only what is inside, by their hashes (CSP Level 3).
  std::string contentSecurityPolicy;
};

// Made once, at the first call.
// Borrowed, for as long as the program lives. Throws nothing but std::bad_alloc.
const Page& statusPage();

}  // namespace orvix::gateway
