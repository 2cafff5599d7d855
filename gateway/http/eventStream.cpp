#include "gateway/http/eventStream.h"

#include "gateway/http/exchange.h"
#include "gateway/service/modemJson.h"

namespace orvix::gateway {
namespace {

// What the slowest reader may be behind, for all readers together.
constexpr std::size_t kMostBytes = std::size_t{1024} * 1024;
constexpr std::size_t kMostEvents = 4096;

}  // namespace

// Messages change often, and for the most part nobody reads: then not even the JSON is made.
void EventStream::onMessage(const Message& message) {
  if (readerCount == 0) {
    return;
  }
  add(message.owner, "message", messageJson(message, service->offsetMs()));
}

void EventStream::onModem(const ModemView& modem) {
  add("", "modem", modemJson(modem, service->offsetMs()));
}

void EventStream::onReport(const ModemView& modem) {
  nlohmann::json report = reportJson(modem, service->offsetMs());
  report["modem"] = modem.name;
  add("", "report", report);
}

void EventStream::comment() {
  add({});
}

void EventStream::add(const std::string& owner, const char* name, const nlohmann::json& data) {
  // Nobody reads: the ring stays empty.
  if (readerCount > 0) {
    add({owner, std::string("event: ") + name + "\ndata: " + jsonText(data) + "\n\n"});
  }
}

void EventStream::add(Event event) {
  if (readerCount == 0) {
    return;
  }
  bytes += event.text.size();
  events.push_back(std::move(event));
  // The oldest go; a reader who stood there finds out by himself.
  while (bytes > kMostBytes || events.size() > kMostEvents) {
    bytes -= events.front().text.size();
    events.pop_front();
    ++first;
  }
}

EventReader::EventReader(EventStream* source, const Caller& reader)
    : stream(source), caller(reader), position(source->end()) {
  ++stream->readerCount;
}

EventReader::~EventReader() {
  if (--stream->readerCount == 0) {
    // The count goes on, so that no place of a reader ever means two events.
    stream->first = stream->end();
    stream->events.clear();
    stream->bytes = 0;
  }
}

std::string EventReader::next() {
  while (!isTooSlow() && position < stream->end()) {
    // Events of others are passed over without an id: a gap would tell of them.
    const EventStream::Event& event = stream->events[static_cast<std::size_t>(position++ - stream->first)];
    if (event.text.empty()) {
      return ":\n\n";
    }
    if (maySee(event)) {
      return "id: " + std::to_string(++lastId) + "\n" + event.text;
    }
  }
  return "";
}

bool EventReader::maySee(const EventStream::Event& event) const {
  return event.owner.empty() || caller.rights.all || event.owner == caller.owner;
}

}  // namespace orvix::gateway
