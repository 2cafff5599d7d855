#include "plugin/plugin.h"

const char* PluginDisplayName = "GSMModem";
