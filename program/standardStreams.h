// Descriptors 0 to 2 as a program expects them, from its start to its end. One thread.
#pragma once

namespace orvix::program {

// To be called first thing in main. Opens /dev/null on each of the descriptors 0 to 2 that is closed. Otherwise the
// next file that the program opens, a modem's line or a database, would get that number and what is meant for a person
// would be written into it. Ends the process with status 1 when that is impossible.
void openStandardStreams();

// To be asked at the end, of what was written by std::cout: whether some of it could not be written, on a full disk for
// example. A reader of a pipe that has gone has seen enough: nothing is lost then.
bool isOutputLost();

}  // namespace orvix::program
