// What the command line says, as the commands read it: plain values, one struct a command. One thread.
//
// Files are paths as they were typed; "" means that an option was not given.
#pragma once

#include <string>

#include "hostkit/messageFit.h"

namespace orvix::host {

// Which modem: one of the first four, or none.
// A path must hold no colon: after the first one the settings begin. Without settings: 115200,n,8,1.
struct LineOptions {
  std::string configFile;  // a device configuration
  std::string device;      // PATH[:baud,parity,databits,stopbits]
  std::string tcp;         // ADDRESS:PORT[:settings]
  bool simulate = false;   // a simulated modem in this process

  bool isGiven() const { return !configFile.empty() || !device.empty() || !tcp.empty() || simulate; }
};

// What every command takes.
struct CommonOptions {
  LineOptions line;
  // Path of the module; empty: beside this program, or where it is installed.
  std::string plugin;
  bool trace = false;  // show the line's traffic
  bool hex = false;    // with hexadecimal bytes
  // New file for the traffic, in the format of docs/recording.md.
  std::string record;
  // Replaces a recording, and sends a number or a text that looks wrong.
  bool force = false;
  int verbosity = 0;  // of the log on standard error; 0: none
  bool json = false;  // for scripts

  // Whether nothing but the command itself writes to standard error.
  bool isQuiet() const { return !trace && !hex && verbosity == 0; }
};

// The command sms.
struct SmsOptions {
  std::string phone;
  std::string text;  // "-": from standard input
  // What the modem reads a text in (AT+CSCS): IRA unless it was set otherwise.
  hostkit::Charset charset = hostkit::Charset::kIra;
  // The modem answers OK alone when it has sent.
  bool okIsSent = false;
  // How long to listen for a result that comes late, 0 to 3600.
  int lateSeconds = 120;
};

// The command monitor.
struct MonitorOptions {
  // From the beginning of one report to that of the next, 0 to 86400.
  double intervalSeconds = 10;
  int count = 0;             // 0: until interrupted
  bool changesOnly = false;  // leave out reports that differ in nothing
};

// The command doctor.
struct DoctorOptions {
  bool noHeal = false;
};

// The commands get and set.
struct PropertyOptions {
  std::string name;
  std::string file;  // of set: "-" reads standard input
};

// The command control.
struct ControlOptions {
  std::string code;
  std::string input;  // JSON text; "" for none
};

// All of them: each command looks at its own.
struct Options {
  CommonOptions common;
  SmsOptions sms;
  MonitorOptions monitor;
  DoctorOptions doctor;
  std::string checkFile;
  PropertyOptions property;
  ControlOptions control;
};

}  // namespace orvix::host
