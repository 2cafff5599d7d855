// A plug-in of another maker, which exports what every plug-in exports. Loaded globally, its names come first.

extern "C" {

[[gnu::visibility("default")]] const char* PluginDisplayName = "OtherMaker";

[[gnu::visibility("default")]] void* CreateGsmDevice() {
  return nullptr;
}

[[gnu::visibility("default")]] void DestroyGsmDevice() {
}

}  // extern "C"
