// The interactive output of a report. One thread at a time: it owns standard input while it asks.
#pragma once

namespace xdbg {

inline constexpr char kFormatFailed[] = "XDbgReport: string too long or io error\r\n";

// Shows `message` on standard error and asks on standard input. Returns 1 for Retry and 0 for Ignore; Abort ends the
// process with exit status 3.
int prompt(unsigned level, const char* message);

}  // namespace xdbg
