// What gsm-host does: one function a command. They print on standard output and throw Failure. One thread.
#pragma once

#include <string>

#include "host/options.h"

namespace orvix::host {

// Asks for one data report and shows it.
void showReport(const CommonOptions& common);
// Sends one text message and tells what became of it.
// The text is checked before the line is opened. kUncertain when it may have gone out, kModem when it did not.
void sendMessage(const CommonOptions& common, const SmsOptions& options);
// Shows a report at every interval, and what the device tells in between, until counted out or interrupted.
void monitorModem(const CommonOptions& common, const MonitorOptions& options);
// Asks the device whether it would take a configuration file, and looks whether it can work.
// Opens no line and leaves the file as it is.
void checkConfiguration(const CommonOptions& common, const std::string& file);
// The boundary as it is: properties and control codes, documents as JSON.
void getProperty(const CommonOptions& common, const PropertyOptions& options);
void setProperty(const CommonOptions& common, const PropertyOptions& options);
void sendControlCode(const CommonOptions& common, const ControlOptions& options);
// Finds out why a modem stays silent.
void examineModem(const CommonOptions& common, const DoctorOptions& options);

}  // namespace orvix::host
