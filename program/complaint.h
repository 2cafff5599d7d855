// The one way in which a program complains. One thread.
#pragma once

#include <string>
#include <string_view>

namespace orvix::program {

// Writes "<program>: <text>" and a line feed to standard error, the name in red on a terminal. Whatever the text holds
// of foreign bytes is shown as common/printable.h shows it to a person.
void complain(const std::string& program, std::string_view text);

}  // namespace orvix::program
