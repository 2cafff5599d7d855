// The files of this folder as the build compiled them in, zero-terminated. Internal; any thread.
#pragma once

namespace orvix::gateway {

// UTF-8, as the files stand in this folder, with the line feed at their end. Static: they live as long as the program.
extern const char kHtml[];
extern const char kCss[];
// One script in this order.
// Later ones use what earlier ones define, and 'use strict' at the top of the first holds for all of them.
extern const char kApiJs[];
extern const char kModemsJs[];
extern const char kMessagesJs[];
extern const char kPageJs[];

}  // namespace orvix::gateway
