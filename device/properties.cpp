// Properties by name.

#include "device/gsmDevice.h"
#include "document/builder.h"
#include "plugin/names.h"

namespace orvix::gsm {
namespace {

Status unknownProperty(const std::string& property) {
  return Status::invalidArgument("Unknown Property", property.c_str());
}

BSONObject versionDocument() {
  BSONBuilder version;
  // Hosts compare it; it is not the version of this product.
  version.appendString(names::kVersion, "0.00.1");
  return version.getObject(false);
}

}  // namespace

Status GsmDevice::GetProperty(const std::string& property, BSONObject* pProperty) {
  if (pProperty == nullptr) {
    return Status::invalidPointer("pProperty");
  }
  if (property == names::kVersion) {
    *pProperty = versionDocument();
    return {};
  }
  if (property == names::kMessage) {
    *pProperty = smsParams.copy();  // What a host appends to it stays out of the next message.
    return {};
  }
  if (property == names::kConfigurationTypes) {
    return getLov(pProperty);
  }
  if (property == names::kCurrentConfiguration) {
    return getConfig(pProperty);
  }
  return unknownProperty(property);
}

// What can only be read is an unknown name here.
Status GsmDevice::SetProperty(const std::string& property, const BSONObject& value) {
  if (property == names::kMessage) {
    return setSmsParams(value);
  }
  if (property == names::kCurrentConfiguration) {
    return SetConfig(value);
  }
  return unknownProperty(property);
}

}  // namespace orvix::gsm
