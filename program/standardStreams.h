// Descriptors 0 to 2 as a program expects them. Call first thing in main, before
// there is another thread.
#pragma once

namespace orvix::program {

// Opens /dev/null on each of the descriptors 0 to 2 that is closed. Otherwise the next file that the program opens, a
// modem's line or a database, would get that number and what is meant for a person would be written into it. Ends the
// process with status 1 when that is impossible.
void openStandardStreams();

}  // namespace orvix::program
