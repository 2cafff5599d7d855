#include "host/output.h"

#include <ctime>
#include <iostream>

#include "common/isoTime.h"
#include "common/printable.h"

namespace orvix::host {

void printJson(const Json& document) {
  // Flushed, so that a reader of a pipe gets each document when it happens.
  std::cout << document.dump(-1, ' ', true, Json::error_handler_t::replace) << std::endl;
}

void printJsonEvent(const std::string& kind, const Json& fields) {
  Json event = {{"at", isoTime(std::time(nullptr))}, {"kind", kind}};
  event.update(fields);
  printJson(event);
}

void printDocument(const BSONObject& document) {
  const Json parsed = jsonOf(document);
  if (parsed.is_null()) {
    std::cout << shown(document.toJSON()) << std::endl;
  } else {
    printJson(parsed);
  }
}

Json jsonOf(const BSONObject& document) {
  // Through text, for either library knows its own types alone.
  const Json parsed = Json::parse(document.toJSON(), nullptr, false);
  return parsed.is_discarded() ? Json() : parsed;
}

}  // namespace orvix::host
