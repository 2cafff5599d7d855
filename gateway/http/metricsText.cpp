#include "gateway/http/metricsText.h"

#include <array>
#include <charconv>

namespace orvix::gateway {
namespace {

using Labels = std::vector<std::pair<std::string, std::string>>;

// The shortest text that reads as the same number, with a point in every locale.
template <typename Number>
std::string numberText(Number number) {
  std::array<char, 32> text{};
  return {text.data(), std::to_chars(text.data(), text.data() + text.size(), number).ptr};
}

std::string quoted(const std::string& value) {
  std::string text;
  for (const char character : value) {
    // The format escapes these two in a label; a line feed, which names cannot hold, would end the sample.
    if (character == '\\' || character == '"') {
      text += '\\';
    }
    text += character == '\n' ? ' ' : character;
  }
  return '"' + text + '"';
}

// One metric at a time: begin() names it, add() writes its samples.
class MetricsPage {
 public:
  std::string text;

  void begin(const std::string& metric, const char* type, const char* help) {
    name = metric;
    text += "# HELP " + name + " " + help + "\n# TYPE " + name + " " + type + "\n";
  }

  template <typename Number>
  void add(const Labels& labels, Number value, const std::string& suffix = "") {
    // Samples of a metric stand together below its HELP and TYPE, which the format asks for.
    text += name + suffix;
    const char* separator = "{";
    for (const auto& [label, labelValue] : labels) {
      text += separator + label + "=" + quoted(labelValue);
      separator = ",";
    }
    text += (labels.empty() ? " " : "} ") + numberText(value) + "\n";
  }

 private:
  std::string name;
};

// What a modem reported before it went away is not known of now.
const ModemReport* reportOf(const ModemView& modem) {
  return modem.state == ModemState::kReady && modem.report ? &*modem.report : nullptr;
}

void addModems(MetricsPage* page, const std::vector<ModemView>& modems) {
  page->begin("gsm_modem_ready", "gauge", "Whether the modem is in service.");
  for (const ModemView& modem : modems) {
    page->add({{"modem", modem.name}}, modem.state == ModemState::kReady ? 1 : 0);
  }
  page->begin("gsm_registered", "gauge", "Whether the modem is registered in a network, by its last report.");
  for (const ModemView& modem : modems) {
    if (const ModemReport* const report = reportOf(modem)) {
      page->add({{"modem", modem.name}}, report->isRegistered() ? 1 : 0);
    }
  }
  page->begin("gsm_signal_dbm", "gauge", "Received signal strength by the modem's last report.");
  for (const ModemView& modem : modems) {
    if (const ModemReport* const report = reportOf(modem); report != nullptr && report->dBm) {
      page->add({{"modem", modem.name}}, *report->dBm);
    }
  }
}

void addOutbox(MetricsPage* page, const Counts& counts, std::int64_t nowMs) {
  page->begin("gsm_outbox_messages", "gauge", "Messages that the outbox holds, by state.");
  for (std::size_t state = 0; state < kMessageStates; ++state) {
    page->add({{"state", wordOf(static_cast<MessageState>(state))}}, counts.perState[state]);
  }
  if (counts.oldestQueuedMs) {
    page->begin("gsm_outbox_oldest_seconds", "gauge", "Age of the oldest queued message.");
    page->add({}, static_cast<double>(nowMs - *counts.oldestQueuedMs) / 1000);
  }
}

// Counters begin at 0, so that the first event is seen as an increase.
template <typename Value>
Value valueOf(const std::map<std::string, Value>& values, const std::string& key) {
  const auto found = values.find(key);
  return found == values.end() ? Value() : found->second;
}

void addAttempts(MetricsPage* page, const Metrics& metrics, const std::vector<ModemView>& modems) {
  page->begin("gsm_attempts_total", "counter", "Attempts to send that ended since the start, by verdict.");
  for (const ModemView& modem : modems) {
    const auto verdicts = valueOf(metrics.attempts, modem.name);
    // All of them, also those that are 0.
    for (const hostkit::Verdict verdict : {hostkit::Verdict::kSent, hostkit::Verdict::kRefused,
                                           hostkit::Verdict::kNotSent, hostkit::Verdict::kUncertain}) {
      page->add({{"modem", modem.name}, {"verdict", wordOf(verdict)}}, valueOf(verdicts, wordOf(verdict)));
    }
  }
}

void addCounters(MetricsPage* page, const Metrics& metrics, const std::vector<ModemView>& modems) {
  page->begin("gsm_messages_total", "counter", "Messages that entered a state since the start.");
  for (std::size_t state = 0; state < kMessageStates; ++state) {
    const std::string word = wordOf(static_cast<MessageState>(state));
    page->add({{"state", word}}, valueOf(metrics.messages, word));
  }
  addAttempts(page, metrics, modems);
  page->begin("gsm_reconnects_total", "counter", "Times that a modem came back into service since the start.");
  for (const ModemView& modem : modems) {
    page->add({{"modem", modem.name}}, valueOf(metrics.reconnects, modem.name));
  }
  page->begin("gsm_heals_total", "counter", "Times that a modem was freed from its prompt since the start.");
  for (const ModemView& modem : modems) {
    page->add({{"modem", modem.name}}, valueOf(metrics.heals, modem.name));
  }
}

void addSendSeconds(MetricsPage* page, const Metrics& metrics, const std::vector<ModemView>& modems) {
  page->begin("gsm_send_seconds", "histogram", "Seconds from the acceptance of a message until it was sent.");
  for (const ModemView& modem : modems) {
    const SendSeconds histogram = valueOf(metrics.sendSeconds, modem.name);
    std::uint64_t count = 0;  // of this bucket and all below
    for (std::size_t i = 0; i < kSendSecondsBounds.size(); ++i) {
      // Buckets of the format are cumulative, ours count each value once.
      count += histogram.buckets[i];
      page->add({{"modem", modem.name}, {"le", numberText(kSendSecondsBounds[i])}}, count, "_bucket");
    }
    page->add({{"modem", modem.name}, {"le", "+Inf"}}, histogram.count, "_bucket");
    page->add({{"modem", modem.name}}, histogram.sum, "_sum");
    page->add({{"modem", modem.name}}, histogram.count, "_count");
  }
}

}  // namespace

std::string metricsText(const Metrics& metrics, const Counts& counts, const std::vector<ModemView>& modems,
                        std::int64_t nowMs) {
  MetricsPage page;
  addModems(&page, modems);
  addOutbox(&page, counts, nowMs);
  addCounters(&page, metrics, modems);
  addSendSeconds(&page, metrics, modems);
  return page.text;
}

}  // namespace orvix::gateway
