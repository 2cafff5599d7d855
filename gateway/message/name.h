// The rule for whatever has a name here: messages, modems, tokens, the gateway itself. Pure function; any thread.
#pragma once

#include <string>

namespace orvix::gateway {

// 1 to 64 of A-Z a-z 0-9 . _ -, so that it needs no escape in an address, a topic, a label or a file name.
bool isName(const std::string& text);

}  // namespace orvix::gateway
