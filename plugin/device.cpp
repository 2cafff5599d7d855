#include "plugin/device.h"

namespace orvix {

Status IDevice::OptionalOperation() {
  return Status::notImplemented("");
}

}  // namespace orvix
