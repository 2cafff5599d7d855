// Connection strings and the line settings they name. Pure functions; any thread.
#pragma once

#include <termios.h>

#include <optional>

#include "serial/xpl.h"

namespace xpl {

// The two parts of a block's connection string.
struct SplitString {
  bool fits;             // the string ends within its field
  bool split;            // it fits and has a ':'; without one both parts are empty
  char path[128];        // what stands before the first ':'
  const char* settings;  // what follows it, inside the block
};

// A string that does not fit or does not split is reported as "invalid comstr: ...".
SplitString splitConnectionString(const XplDcb& dcb);

// The line settings that the block's four settings mean: raw and without flow control. Nothing when one of them is not
// accepted; the first such is reported with the path.
std::optional<termios> lineSettings(const char* path, const XplDcb& dcb);

}  // namespace xpl
