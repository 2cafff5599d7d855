// The plug-in's exports and what it imports from its host, all with C linkage.
//
// Threads: no locks. PluginInit is called once after loading. Create devices from one thread at a time: each creation
// writes process-wide debug settings. A device must not be destroyed while another thread still calls into it.
//
// The host provides RegisterDevice and glog's symbols in its global scope.
#pragma once

#include <cstdint>

#include "plugin/device.h"

extern "C" {

typedef orvix::IDevice* (*OrvixCreateDevice)(const orvix::BSONObject& args, orvix::Status* pStatus,
                                             orvix::ITraceProvider* traceProvider);
typedef void (*OrvixDestroyDevice)(orvix::IDevice* device);

// Imported: announces a device type. The plug-in ignores the result.
[[gnu::visibility("default")]] int RegisterDevice(const char* typeName, OrvixCreateDevice create,
                                                  OrvixDestroyDevice destroy);

// Exported. Registers "GSMModem" and returns 0.
[[gnu::visibility("default")]] std::int32_t PluginInit();

// Exported: the type name, "GSMModem", which new devices take as their name.
[[gnu::visibility("default")]] extern const char* PluginDisplayName;

// Exported. Makes a device from {"cfgfile": PATH}. `pStatus` receives the outcome and must be valid: its text as passed
// in is part of the message about empty arguments. `traceProvider` is borrowed for the device's life and may be null.
// Returns null on failure. Every call installs the debug bridge into the host's log (see logging/logging.h).
[[gnu::visibility("default")]] orvix::IDevice* CreateGsmDevice(const orvix::BSONObject& args, orvix::Status* pStatus,
                                                               orvix::ITraceProvider* traceProvider);

// Exported. Closes the device's line and frees it; null is allowed.
[[gnu::visibility("default")]] void DestroyGsmDevice(orvix::IDevice* device);

}  // extern "C"
