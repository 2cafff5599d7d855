// A data report for people. Pure functions; any thread.
#pragma once

#include <iosfwd>
#include <string>

#include "document/object.h"

namespace orvix::host {

// "[######....]  -73 dBm, 63 %", or "[..........]  unknown".
std::string signalText(const BSONObject& document);
std::string registrationText(const BSONObject& document);
// The whole report, one value a line.
void printReport(std::ostream& out, const BSONObject& document);

}  // namespace orvix::host
