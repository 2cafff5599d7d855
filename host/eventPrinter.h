// Says on standard output what a device tells of its own accord. One thread.
#pragma once

#include <string>

#include "hostkit/modemDevice.h"

namespace orvix::host {

// For people, or one JSON document a line for scripts.
enum class EventOutput { kNone, kText, kJson };

// The word for a status that a person reads.
// Static. Also for a number that a newer module may give: "unknown".
const char* statusWord(DeviceStatus status);

// Prints an event or a change of status at once, with the time; a changed report is only noted, for the command that
// asked for it prints it.
class EventPrinter final : public hostkit::DeviceListener {
 public:
  // kNone counts changed reports all the same.
  explicit EventPrinter(EventOutput how) : output(how) {}

  // See DeviceListener. Written on the thread of the call that caused them.
  void onEvent(const std::string& name, const BSONObject& document) override;
  void onChangedReport(const BSONObject& /*document*/) override { changed = true; }
  void onStatus(DeviceStatus status) override;

  // Whether a changed report was announced since the last call.
  bool takeChanged();

 private:
  EventOutput output;
  bool changed = false;
};

}  // namespace orvix::host
