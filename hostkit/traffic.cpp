#include "hostkit/traffic.h"

#include <algorithm>
#include <chrono>

namespace orvix::hostkit {
namespace {

// Per thread, so that another device's calls are not refused meanwhile.
thread_local bool isCallingListener = false;

struct ListenerMark {
  ListenerMark() { isCallingListener = true; }
  ~ListenerMark() { isCallingListener = false; }
};

}  // namespace

std::string bytesOf(const std::vector<TrafficPiece>& traffic, XplTraceKind kind) {
  std::string bytes;
  for (const TrafficPiece& piece : traffic) {
    bytes += piece.kind == kind ? piece.bytes : "";
  }
  return bytes;
}

std::int64_t monotonicUs() {
  using namespace std::chrono;
  return duration_cast<microseconds>(steady_clock::now().time_since_epoch()).count();
}

std::string linesThatAreOn(std::string_view bytes) {
  struct Line {
    unsigned bit;
    const char* name;
  };
  static constexpr Line kLines[] = {{kXplDtr, "DTR"}, {kXplRts, "RTS"},     {kXplCts, "CTS"},
                                    {kXplDsr, "DSR"}, {kXplCarrier, "DCD"}, {kXplRing, "RI"}};
  unsigned status = 0;
  // Low byte first, so read from the end.
  for (std::size_t i = bytes.size(); i-- > 0;) {
    status = status << 8 | static_cast<unsigned char>(bytes[i]);
  }
  std::string text;
  for (const Line& line : kLines) {
    if ((status & line.bit) != 0) {
      text += (text.empty() ? "" : " ") + std::string(line.name);
    }
  }
  return text.empty() ? "none on" : text;
}

void LineTrace::add(TrafficListener* listener) {
  const std::lock_guard<std::mutex> guard(lock);
  listeners.push_back(listener);
}

void LineTrace::remove(TrafficListener* listener) {
  const std::lock_guard<std::mutex> guard(lock);
  listeners.erase(std::remove(listeners.begin(), listeners.end(), listener), listeners.end());
}

void LineTrace::tell(XplTraceKind kind, std::string_view bytes) {
  const TrafficPiece piece{monotonicUs(), kind, std::string(bytes)};
  const std::lock_guard<std::mutex> guard(lock);
  // Under the lock: remove() returns only when nobody is being told any more.
  const ListenerMark mark;
  for (TrafficListener* const listener : listeners) {
    listener->onTraffic(piece);
  }
}

bool LineTrace::isInListener() {
  return isCallingListener;
}

bool LineTrace::IsTraceEnabled() {
  const std::lock_guard<std::mutex> guard(lock);
  return !listeners.empty();
}

XplTraceCallback LineTrace::GetTraceCallback() {
  return handOn;
}

int LineTrace::handOn(void* context, int kind, unsigned /*slot*/, const void* data, unsigned length) {
  static_cast<LineTrace*>(context)->tell(static_cast<XplTraceKind>(kind), {static_cast<const char*>(data), length});
  return 0;
}

}  // namespace orvix::hostkit
