#include "hostkit/statusText.h"

#include <string>
#include <string_view>

#include "hostkit/connectionString.h"

namespace orvix::hostkit {
namespace {

constexpr std::string_view kPrefix = "Failed: ";

struct Beginning {
  std::string_view text;  // after the prefix
  StatusKind kind;
};

// Texts that hosts rely on, so the device keeps them; the rest of each may differ.
constexpr Beginning kBeginnings[] = {
    {"unknown mode", StatusKind::kUnknownMode},
    {kNoSettingsText, StatusKind::kNoSettings},
    {"XPLBuildDCB", StatusKind::kRefusedSettings},
    {"XPLOpen dcb:", StatusKind::kLineNotOpened},
    {"Wrote: ", StatusKind::kNotWritten},
    {"received NO reply!", StatusKind::kNoReply},
    {"received reply did not match", StatusKind::kOtherReply},
    {"getSignalQuality", StatusKind::kOtherReply},
    {"getNetworkRegistrationStatus", StatusKind::kOtherReply},
    {"ERROR: ", StatusKind::kModemError},
    {"Problem: GSM Modem Device is not ready", StatusKind::kNotReady},
    {"Parameter ", StatusKind::kBadInput},
};

}  // namespace

StatusKind kindOf(const Status& status) {
  if (status.isOk()) {
    return StatusKind::kOk;
  }
  // These two codes name a host's own mistake, whatever the text.
  if (status.code() == Status::kInvalidArgument || status.code() == Status::kInvalidPointer) {
    return StatusKind::kBadInput;
  }
  // The prefix is the code's own: after it the text is as the device made it.
  const std::string whole = status.toString();
  if (status.code() == Status::kFailed) {
    const std::string_view text = std::string_view(whole).substr(kPrefix.size());
    for (const Beginning& beginning : kBeginnings) {
      if (text.substr(0, beginning.text.size()) == beginning.text) {
        return beginning.kind;
      }
    }
  }
  return StatusKind::kOther;
}

std::string parameterIn(const Status& status) {
  static constexpr std::string_view kMark = "Failed: Parameter ";
  const std::string text = status.toString();
  if (text.compare(0, kMark.size(), kMark) != 0) {
    return "";
  }
  const std::string key = text.substr(kMark.size(), text.find(' ', kMark.size()) - kMark.size());
  // The device writes this one key in capitals.
  return key == "ID" ? "id" : key;
}

}  // namespace orvix::hostkit
