// A data report for people: the document of docs/host-guide.md, as the device gave it. Pure functions; any thread. A
// value that is missing shows as unknown.
#pragma once

#include <iosfwd>
#include <string>

#include "document/object.h"

namespace orvix::host {

// "[######....]  -73 dBm, 63 %", or "[..........]  unknown".
// dBm and percent are the device's own, reckoned from +CSQ.
std::string shownSignal(const BSONObject& report);
// "home", "searching" and so on, as the report has it.
std::string shownRegistration(const BSONObject& report);
// At home or roaming: the two in which a message can go out.
bool isRegistered(const BSONObject& report);
bool hasSignal(const BSONObject& report);
// The whole report, one value a line.
void printReport(std::ostream& out, const BSONObject& report);

}  // namespace orvix::host
