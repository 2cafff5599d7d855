// What a modem's error numbers mean, for people. Pure functions; any thread.
#pragma once

#include <string>

#include "hostkit/errorClass.h"

namespace orvix::hostkit {

// The meaning of a +CMS ERROR (3GPP TS 27.005 3.2.5) or +CME ERROR (TS 27.007 9.2) number; "" when it is not known.
std::string meaningOf(ErrorKind kind, int code);

// "+CMS ERROR: 500 (unknown error, ...)".
std::string errorText(ErrorKind kind, int code);

// A status text that ends with "ERROR: N", with the meaning of the number. The status does not tell which of the two
// kinds the modem gave, so a number with two meanings gets both.
std::string explained(const std::string& statusText);

}  // namespace orvix::hostkit
