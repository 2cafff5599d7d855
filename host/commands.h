// What gsm-host does: one function a command. They print on standard output and throw Failure. One thread.
#pragma once

#include "host/options.h"

namespace orvix::host {

// Asks for one data report and shows it.
void showReport(const Options& options);
// Sends one text message ("-": from standard input) and shows the modem's answer.
void sendMessage(const Options& options);
// Shows a report at every interval, and what the device tells in between, until counted out or interrupted.
void monitorModem(const Options& options);
// Asks the device whether it would take a configuration file.
void checkConfiguration(const Options& options);
// The boundary as it is: properties and control codes, documents as JSON.
void getProperty(const Options& options);
void setProperty(const Options& options);
void sendControlCode(const Options& options);
// Finds out why a modem stays silent.
void examineModem(const Options& options);

}  // namespace orvix::host
