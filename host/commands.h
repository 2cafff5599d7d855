// What gsm-host does: one function a command. They print on standard output and throw Failure. One thread.
#pragma once

#include <string>

#include "host/deviceSession.h"

namespace orvix::host {

// Asks for one data report and shows it.
void showReport(DeviceSession* session);

// Sends one text message and shows the modem's answer.
void sendMessage(DeviceSession* session, const std::string& phone, const std::string& text);

}  // namespace orvix::host
