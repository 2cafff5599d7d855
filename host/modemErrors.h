// What a modem's error numbers mean. Pure functions; any thread.
#pragma once

#include <string>

namespace orvix::host {

// A status text with the meaning of the error number it ends with, where that is known: +CMS ERROR (3GPP TS 27.005
// 3.2.5) and the +CME ERROR numbers below 300 that concern the SIM (3GPP TS 27.007 9.2).
std::string explained(const std::string& statusText);

}  // namespace orvix::host
