#include "hostkit/statusText.h"

#include <string>
#include <string_view>

#include "hostkit/connectionString.h"

namespace orvix::hostkit {
namespace {

constexpr std::string_view kPrefix = "Failed: ";

struct Beginning {
  std::string_view text;  // behind the prefix
  StatusKind kind;
};

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
  if (status.code() == Status::kInvalidArgument || status.code() == Status::kInvalidPointer) {
    return StatusKind::kBadInput;
  }
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

}  // namespace orvix::hostkit
