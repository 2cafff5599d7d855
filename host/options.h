// What the command line says. One thread.
#pragma once

#include <string>

namespace orvix::host {

struct Options {
  std::string plugin;      // module file; empty: where it is built or installed
  std::string configFile;  // a device configuration, or one of the next three
  std::string device;      // PATH:baud,parity,databits,stopbits
  std::string tcp;         // ADDRESS:PORT[:settings]
  bool simulate = false;   // a simulated modem in this process
  bool trace = false;      // show the line's traffic
  bool hex = false;        // with hexadecimal bytes
  std::string record;      // file to record the traffic to
  int verbosity = 0;       // of the log on standard error; 0: none
  bool json = false;       // for scripts
  bool force = false;      // pass on what looks wrong

  // Of the commands.
  std::string phone;
  std::string text;
  double intervalSeconds = 10;
  unsigned count = 0;   // 0: until interrupted
  std::string subject;  // a file, property or control code
  std::string document;
};

}  // namespace orvix::host
