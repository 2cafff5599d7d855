// What is wrong with a device configuration that the device itself takes. Pure functions; any thread.
#pragma once

#include <string>

#include "document/object.h"

namespace orvix::hostkit {

struct ConfigProblem {
  std::string key;   // "config.comstr" and so on; "" when there is no problem
  std::string text;  // one clause for people

  bool isThere() const { return !key.empty(); }
};

// The device checks that keys are there and filled; whether a line can be opened by them shows only when it tries. This
// looks first: the mode's word, the line settings, in mode "ip" the port. The first problem is the result.
ConfigProblem configProblem(const BSONObject& config);

}  // namespace orvix::hostkit
