#include "gateway/service/modemJson.h"

#include "gateway/service/jsonValue.h"

namespace orvix::gateway {

using nlohmann::json;

json reportJson(const ModemView& modem, std::int64_t offsetMs) {
  if (!modem.report) {
    return nullptr;
  }
  // "registered" besides the word, for those who do not want to know the words.
  return {{"time", timeOrNull(modem.reportMs, offsetMs)},
          {"dBm", orNull(modem.report->dBm)},
          {"percent", orNull(modem.report->percent)},
          {"registration", modem.report->registration},
          {"registered", modem.report->isRegistered()}};
}

json modemJson(const ModemView& modem, std::int64_t offsetMs) {
  // Every key is always there, null where nothing is known: a page or a script need not ask.
  return {{"name", modem.name},
          {"state", wordOf(modem.state)},
          {"reason", textOrNull(modem.reason)},
          {"line", modem.line},
          {"doing", textOrNull(modem.doing)},
          {"report", reportJson(modem, offsetMs)},
          {"sending", orNull(modem.sending)}};
}

}  // namespace orvix::gateway
