// The files of this folder as the build compiled them in, zero-terminated. Internal; any thread.
#pragma once

namespace orvix::gateway {

extern const char kPageHtml[];
extern const char kPageCss[];
extern const char kPageJs[];

}  // namespace orvix::gateway
