// The files of this folder as the build compiled them in, zero-terminated. Internal; any thread.
#pragma once

namespace orvix::gateway {

extern const char kHtml[];
extern const char kCss[];
// One script in this order.
extern const char kApiJs[];
extern const char kModemsJs[];
extern const char kMessagesJs[];
extern const char kPageJs[];

}  // namespace orvix::gateway
