// Values of the service as JSON: what is not known yet is null at every door. Pure functions; any thread.
#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "common/isoTime.h"

namespace orvix::gateway {

template <typename Value>
nlohmann::json orNull(const std::optional<Value>& value) {
  return value ? nlohmann::json(*value) : nlohmann::json(nullptr);
}

// For texts of which the empty one says nothing.
inline nlohmann::json textOrNull(const std::string& text) {
  return text.empty() ? nlohmann::json(nullptr) : nlohmann::json(text);
}

// RFC 3339 in UTC of a service time in milliseconds; `offsetMs` brings it to wall time.
inline nlohmann::json timeOrNull(const std::optional<std::int64_t>& timeMs, std::int64_t offsetMs) {
  return timeMs ? nlohmann::json(rfc3339(*timeMs + offsetMs)) : nlohmann::json(nullptr);
}

}  // namespace orvix::gateway
