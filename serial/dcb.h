// Connection strings and the line settings they name. Pure functions; any thread.
#pragma once

#include <termios.h>

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

// One setting's share of the line settings; false, reported with the path, when the value is not accepted.
bool applyBaud(const char* path, long baud, termios* line);
bool applyParity(const char* path, unsigned char parity, termios* line);
bool applyDataBits(const char* path, long dataBits, termios* line);
bool applyStopBits(const char* path, long stopBits, termios* line);

}  // namespace xpl
