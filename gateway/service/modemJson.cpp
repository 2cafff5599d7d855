#include "gateway/service/modemJson.h"

#include "common/isoTime.h"

namespace orvix::gateway {
namespace {

using nlohmann::json;

template <typename Value>
json orNull(const std::optional<Value>& value) {
  return value ? json(*value) : json(nullptr);
}

json textOrNull(const std::string& text) {
  return text.empty() ? json(nullptr) : json(text);
}

}  // namespace

json reportJson(const ModemView& modem, std::int64_t offsetMs) {
  if (!modem.report) {
    return nullptr;
  }
  return {{"time", modem.reportMs ? json(rfc3339(*modem.reportMs + offsetMs)) : json(nullptr)},
          {"dBm", orNull(modem.report->dBm)},
          {"percent", orNull(modem.report->percent)},
          {"registration", modem.report->registration},
          {"registered", modem.report->isRegistered()}};
}

json modemJson(const ModemView& modem, std::int64_t offsetMs) {
  return {{"name", modem.name},
          {"state", wordOf(modem.state)},
          {"reason", textOrNull(modem.reason)},
          {"line", modem.line},
          {"doing", textOrNull(modem.doing)},
          {"report", reportJson(modem, offsetMs)},
          {"sending", orNull(modem.sending)}};
}

}  // namespace orvix::gateway
