// What happens, for the readers of /v1/events, as server-sent events (WHATWG HTML, 9.2). One thread, the service's.
//
// The events of all readers stand in one ring of bounded size (1 MB, 4096 events); a reader is a place in it. Who reads
// so slowly that the ring has gone over his place is to be cut off. Without readers the ring is empty.
#pragma once

#include <cstdint>
#include <deque>
#include <string>

#include "gateway/service/service.h"

namespace orvix::gateway {

// The writers' side.
// The ids are a reader's own and mean nothing to the next connection: what was missed is read from the lists, so a
// Last-Event-ID is not looked at.
class EventStream final : public ServiceListener {
 public:
  explicit EventStream(const Service* source) : service(source) {}  // borrowed

  // Each becomes an event of its name; a message's goes to its owner and to those who see all.
  void onMessage(const Message& message) override;
  void onModem(const ModemView& modem) override;
  void onReport(const ModemView& modem) override;
  // For a timer: a line that says nothing. Whoever reads sees that the connection is alive, and we that he still reads.
  void comment();

  // How many EventReaders live, for a limit on them.
  int readers() const { return readerCount; }

 private:
  friend class EventReader;

  // Kept once for all readers; a reader adds its id when it takes one.
  struct Event {
    std::string owner;  // of the message it is about; "" when everybody may see it
    std::string text;   // as it is sent, but for the id; "" is a comment
  };

  void add(const std::string& owner, const char* name, const nlohmann::json& data);
  void add(Event event);
  std::int64_t end() const { return first + static_cast<std::int64_t>(events.size()); }

  const Service* const service;
  std::deque<Event> events;
  std::int64_t first = 0;  // number of the oldest event, counted from the start
  std::size_t bytes = 0;   // of all texts
  int readerCount = 0;
};

// One reader, from now on: nothing of before is repeated. It must not outlive its stream.
class EventReader {
 public:
  EventReader(EventStream* source, const Caller& reader);  // `source` is borrowed
  ~EventReader();
  EventReader(const EventReader&) = delete;
  EventReader& operator=(const EventReader&) = delete;

  // The next event that this caller may see, as bytes to be sent, with an id that counts this reader's events from 1;
  // "" when there is none yet.
  std::string next();
  // Whether a call of next() is worth while.
  bool hasNews() const { return position < stream->end(); }
  // Has events left unread that are gone from the ring. next() gives nothing any more.
  // Its connection is to be closed: what was missed is not told.
  bool isTooSlow() const { return position < stream->first; }

 private:
  // Events without an owner are everybody's.
  bool maySee(const EventStream::Event& event) const;

  EventStream* const stream;
  const Caller caller;
  std::int64_t position;
  std::int64_t lastId = 0;
};

}  // namespace orvix::gateway
