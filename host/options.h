// What the command line says. One thread.
#pragma once

#include <string>

#include "hostkit/messageFit.h"

namespace orvix::host {

// One of the first four, or none.
struct LineOptions {
  std::string configFile;  // a device configuration
  std::string device;      // PATH[:baud,parity,databits,stopbits]
  std::string tcp;         // ADDRESS:PORT[:settings]
  bool simulate = false;   // a simulated modem in this process

  bool isGiven() const { return !configFile.empty() || !device.empty() || !tcp.empty() || simulate; }
};

// Of all commands.
struct CommonOptions {
  LineOptions line;
  std::string plugin;  // module file; empty: where it is built or installed
  bool trace = false;  // show the line's traffic
  bool hex = false;    // with hexadecimal bytes
  std::string record;  // file to record the traffic to
  bool force = false;  // replace a recording, send what looks wrong
  int verbosity = 0;   // of the log on standard error; 0: none
  bool json = false;   // for scripts

  // Whether nothing but the command itself writes to standard error.
  bool isQuiet() const { return !trace && !hex && verbosity == 0; }
};

struct SmsOptions {
  std::string phone;
  std::string text;  // "-": from standard input
  hostkit::Charset charset = hostkit::Charset::kIra;
  bool okIsSent = false;
  int lateSeconds = 120;  // how long to listen for a result that comes late
};

struct MonitorOptions {
  double intervalSeconds = 10;
  int count = 0;             // 0: until interrupted
  bool changesOnly = false;  // leave out reports that differ in nothing
};

struct DoctorOptions {
  bool noHeal = false;
};

struct PropertyOptions {
  std::string name;
  std::string file;  // of set: "-" reads standard input
};

struct ControlOptions {
  std::string code;
  std::string input;  // JSON text; "" for none
};

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
