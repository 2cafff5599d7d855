#include "device/gsmDevice.h"
#include "document/builder.h"

namespace orvix::gsm {
namespace {

Status unknownProperty(const std::string& property) {
  return Status::invalidArgument("Unknown Property", property.c_str());
}

BSONObject versionDocument() {
  BSONBuilder version;
  version.appendString("version", "0.00.1");
  return version.getObject(false);
}

}  // namespace

Status GsmDevice::GetProperty(const std::string& property, BSONObject* pProperty) {
  if (pProperty == nullptr) {
    return Status::invalidPointer("pProperty");
  }
  if (property == "version") {
    *pProperty = versionDocument();
    return {};
  }
  if (property == "Msg") {
    *pProperty = smsParams.copy();
    return {};
  }
  if (property == "config.types") {
    return getLov(pProperty);
  }
  if (property == "config.current") {
    return getConfig(pProperty);
  }
  return unknownProperty(property);
}

Status GsmDevice::SetProperty(const std::string& property, const BSONObject& value) {
  if (property == "Msg") {
    return setSmsParams(value);
  }
  if (property == "config.current") {
    return SetConfig(value);
  }
  return unknownProperty(property);
}

}  // namespace orvix::gsm
