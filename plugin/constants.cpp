#include <iostream>
#include <string>

namespace {

// Hosts rely on it: these texts and the standard streams exist from load to unload, though nothing here reads them.
[[gnu::used]] const std::string kTexts[] = {" ",  " ", ".", ",", ":", ";", "#", "*", "'", "\"", "-", "_",  "/",
                                            "\\", "+", "-", "*", "/", "(", ")", "[", "]", "{",  "}", "\n", "\t"};

}  // namespace
