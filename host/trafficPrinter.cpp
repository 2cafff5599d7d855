#include "host/trafficPrinter.h"

#include <iostream>

#include "common/printable.h"
#include "program/terminal.h"

namespace orvix::host {
namespace {

std::string textOf(const hostkit::TrafficPiece& piece) {
  switch (piece.kind) {
    case kXplTraceSent:
      return "> " + escaped(piece.bytes);
    case kXplTraceReceived:
      return "< " + escaped(piece.bytes);
    case kXplTraceLinesRead:
      return "= lines: " + hostkit::linesThatAreOn(piece.bytes);
    case kXplTraceLinesSet:
      return "= lines set: " + hostkit::linesThatAreOn(piece.bytes);
  }
  // A kind that a newer module may give.
  return "";
}

}  // namespace

void TrafficPrinter::onTraffic(const hostkit::TrafficPiece& piece) {
  std::cerr << program::dim(std::cerr, program::timeOfDay(true)) << ' ' << textOf(piece);
  if (withHex) {
    // Below the text, behind the column of times.
    std::cerr << "\n               " << program::dim(std::cerr, hexText(piece.bytes));
  }
  std::cerr << std::endl;
}

}  // namespace orvix::host
