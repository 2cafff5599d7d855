// A line's traffic, piece by piece, for whoever wants to see it.
//
// Threads: any. A LineTrace hands pieces on one at a time, on the thread of the device call that moved the bytes; no
// listener may call a device, which would wait for itself (ModemDevice refuses it).
#pragma once

#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "plugin/device.h"

namespace orvix::hostkit {

struct TrafficPiece {
  std::int64_t us;    // monotonic time in microseconds, the same clock in all processes of the machine
  XplTraceKind kind;  // sent to the modem, received from it, or modem lines
  std::string bytes;  // for lines the modem status word, low byte first
};

// The bytes of one kind, in their order and without gaps; of modem lines the status words, two bytes each.
std::string bytesOf(const std::vector<TrafficPiece>& traffic, XplTraceKind kind);

// Now, by the clock of TrafficPiece::us.
std::int64_t monotonicUs();

// The modem lines that are on in a status word of two bytes, low byte first: "DTR RTS CTS", or "none on".
std::string linesThatAreOn(std::string_view bytes);

class TrafficListener {
 public:
  // `piece` is borrowed for the call. Sent bytes are out already; received ones have not reached the device's code yet,
  // so a listener can hold the device back.
  virtual void onTraffic(const TrafficPiece& piece) = 0;

 protected:
  ~TrafficListener() = default;
};

// Remembers all pieces. To be read and emptied only while no call of the device runs.
class TrafficLog final : public TrafficListener {
 public:
  void onTraffic(const TrafficPiece& piece) override { pieces.push_back(piece); }

  std::vector<TrafficPiece> pieces;
};

// Given to a device when it is created; hands its traffic on to all listeners. It must outlive the device.
//
// Listeners are borrowed until they are removed. A line that is opened while there is no listener stays untraced until
// it is opened again.
class LineTrace final : public ITraceProvider {
 public:
  void add(TrafficListener* listener);
  // Waits until the listener has heard what it is being told. Unknown ones are ignored.
  void remove(TrafficListener* listener);
  // Tells the listeners of bytes that did not go through the device, such as those that a LineWatch heard.
  void tell(XplTraceKind kind, std::string_view bytes);

  // Whether the calling thread is inside a listener.
  static bool isInListener();

  bool IsTraceEnabled() override;
  void* GetTraceContext() override { return this; }
  XplTraceCallback GetTraceCallback() override;

 private:
  static int handOn(void* context, int kind, unsigned slot, const void* data, unsigned length);

  std::mutex lock;
  std::vector<TrafficListener*> listeners;
};

}  // namespace orvix::hostkit
