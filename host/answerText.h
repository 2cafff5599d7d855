// What came back from a modem that is not of use, for people. Pure functions; any thread.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "hostkit/traffic.h"

namespace orvix::host {

// Of what a modem sent: enough to recognise a boot message or a GPS, and one line of a terminal.
constexpr std::size_t kShownBytes = 60;

// Why a probe or a report on that line failed, by its traffic: nothing could be written, nothing came back, an error,
// an echo alone, or something else; with what to do.
// One sentence without a full stop. `line` is the connection string; it and an error in words may hold foreign bytes,
// so whoever prints the sentence escapes it. Causes are tried from the line outwards: the first that the traffic shows
// is told.
std::string answerText(const std::string& line, const std::vector<hostkit::TrafficPiece>& traffic);

}  // namespace orvix::host
