// What goes wrong in a host's own set-up, as an exception. Any thread.
#pragma once

#include <stdexcept>

namespace orvix::hostkit {

// A module that does not load, a configuration that the device does not take, a file that cannot be written. The text
// is for people; what a modem or a file brought into it is not escaped.
class Error : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace orvix::hostkit
