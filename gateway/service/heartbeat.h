// When the gateway says by itself that it lives. Pure functions; any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace orvix::gateway {

// The heartbeat that is due at a wall-clock time (ms since 1970): the local date for its id, "2026-03-01", while its
// minute of the local day is at most an hour past; none otherwise. To be asked every minute, since clock and zone may
// be set meanwhile.
// The zone is the process's (TZ, else /etc/localtime). A minute that summer time skips is due after the gap; one that
// comes twice is one date, and so one heartbeat.
std::optional<std::string> heartbeatDate(std::int64_t wallMs, int minuteOfDay);

}  // namespace orvix::gateway
