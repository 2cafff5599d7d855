// Which pair a port traces to: its own, the global one, or none.

#include "debug/xdbg.h"
#include "serial/port.h"

namespace {

struct TracePair {
  void* context;
  XplTraceCallback callback;

  bool isSet() const { return context != nullptr && callback != nullptr; }
};

TracePair globalTrace{nullptr, nullptr};

// Hosts match this text, its spelling included.
constexpr char kDeprecated[] = "DEPRICATED: Use XPLSetTraceCallback() instead";

}  // namespace

void xpl::chooseTrace(XplPort* port, void* context, XplTraceCallback callback) {
  TracePair chosen{context, callback};
  if (chosen.isSet()) {
    XDbgInfo("using specific trace settings");
  } else if (globalTrace.isSet()) {
    XDbgInfo("using global trace settings");
    chosen = globalTrace;
  } else {
    XDbgInfo("using no trace settings");
    // Half a pair is none.
    chosen = {nullptr, nullptr};
  }
  port->traceContext = chosen.context;
  port->traceCallback = chosen.callback;
}

int XPLSetTraceCallback(void* context, XplTraceCallback callback) {
  const TracePair next{context, callback};
  if (globalTrace.isSet()) {
    XDbgWarning("WARNING: Global trace settings are %s", next.isSet() ? "overwritten" : "removed");
  }
  globalTrace = next;
  return 1;
}

int XPLSetTrace(void* /*context*/, int /*flags*/) {
  XDbgWarning("%s", kDeprecated);
  return 0;
}

void XPLSetTraceEx(void* /*context*/, int /*flags*/, int /*reserved*/) {
  XDbgWarning("%s", kDeprecated);
}
