// What the module sets up when it is loaded.

#include <iostream>
#include <string>

namespace {

// NOLINTBEGIN(cert-err58-cpp): a process without memory for these ends at load, as for any other library.
// Hosts rely on it: these texts and the standard streams exist from load to unload, though nothing here reads them.
[[gnu::used]] const std::string kTexts[] = {" ",  " ", ".", ",", ":", ";", "#", "*", "'", "\"", "-", "_",  "/",
                                            "\\", "+", "-", "*", "/", "(", ")", "[", "]", "{",  "}", "\n", "\t"};
// NOLINTEND(cert-err58-cpp)

}  // namespace
