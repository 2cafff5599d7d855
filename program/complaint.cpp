#include "program/complaint.h"

#include <iostream>

#include "common/printable.h"
#include "program/terminal.h"

namespace orvix::program {

void complain(const std::string& program, std::string_view text) {
  // In one piece, so that lines of several processes stay apart.
  std::cerr << red(std::cerr, program + ":") + " " + shown(text) + "\n" << std::flush;
}

}  // namespace orvix::program
