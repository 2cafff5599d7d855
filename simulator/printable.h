// Text that is safe to show on a terminal. Pure: any thread.
#pragma once

#include <string>
#include <string_view>

namespace orvix::simulator {

// Printable ASCII as it is; backslash doubled, CR and LF as \r and \n, every other byte as \xNN.
std::string printable(std::string_view bytes);

}  // namespace orvix::simulator
