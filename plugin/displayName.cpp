// The exported word that names the plug-in. Hosts may point it to another text before they create devices.

#include "plugin/names.h"
#include "plugin/plugin.h"

const char* PluginDisplayName = orvix::names::kType;
