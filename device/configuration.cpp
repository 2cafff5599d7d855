#include "common/text.h"
#include "device/gsmDevice.h"
#include "device/log.h"
#include "document/builder.h"
#include "document/file.h"

namespace orvix::gsm {
namespace {

constexpr char kTypeName[] = "GSMModem";
constexpr char kConfigurationName[] = "GSMMODEMConfiguration";  // the type name in capitals and a word

struct KeyRule {
  const char* path;
  int typeCode;
  const char* whenMissing;
  const char* whenEmpty;  // null: may be empty
};

// Hosts rely on "ID" in capitals, though the key is "id".
constexpr KeyRule kKeyRules[] = {
    {"id", BSON_TYPE_UTF8, "Parameter ID missing.", nullptr},
    {"name", BSON_TYPE_UTF8, "Parameter name missing.", nullptr},
    {"config", BSON_TYPE_DOCUMENT, "Parameter config missing.", nullptr},
    {"config.mode", BSON_TYPE_UTF8, "Parameter config.mode missing.", "Parameter config.mode is empty."},
    {"config.comstr", BSON_TYPE_UTF8, "Parameter config.comstr missing.", "Parameter config.comstr is empty."},
    {"config.ip", BSON_TYPE_DOCUMENT, "Parameter config.ip missing.", nullptr},
    {"config.ip.address", BSON_TYPE_UTF8, "Parameter config.ip.address missing.",
     "Parameter config.ip.address is empty."},
    {"config.ip.port", BSON_TYPE_INT32, "Parameter config.ip.port missing.", nullptr},
};

Status checkPresence(const BSONObject& doc) {
  for (const KeyRule& rule : kKeyRules) {
    if (!GsmDevice::hasKeyOfType(doc, rule.path, rule.typeCode)) {
      return Status::failed(rule.whenMissing);
    }
  }
  return {};
}

Status checkNames(const BSONObject& doc) {
  if (toUpper(doc.getString("id", "")) != toUpper(kTypeName)) {
    return Status::failed("Parameter ID invalid.");
  }
  const std::string name = doc.getString("name", "");
  if (toUpper(name) != toUpper(kConfigurationName)) {
    const std::string detail = std::string("Expected [") + kConfigurationName + "] But got [" + name + "]...";
    return Status::failed("Parameter name invalid.", detail.c_str());
  }
  return {};
}

Status checkFilled(const BSONObject& doc) {
  for (const KeyRule& rule : kKeyRules) {
    if (rule.whenEmpty != nullptr && *doc.getString(rule.path, "") == '\0') {
      return Status::failed(rule.whenEmpty);
    }
  }
  return {};
}

// The check looks at eight keys; any other value, too, must come back from the file, or the next start finds none.
Status checkReadBack(const BSONObject& doc) {
  BSONBuilder again;
  return again.fromJSON(doc.toJSON().c_str()).isOk() ? Status()
                                                     : Status::failed("SetConfig", "a value has no form in JSON");
}

}  // namespace

bool GsmDevice::hasKeyOfType(const BSONObject& document, const std::string& key, int typeCode) {
  const BSONValue value = document.get(key);
  return !value.isEmpty() && value.type() == typeCode;
}

Status GsmDevice::checkConfig(const BSONObject& doc) {
  Status status = checkPresence(doc);
  if (status.isOk()) {
    status = checkNames(doc);
  }
  return status.isOk() ? checkFilled(doc) : status;
}

Status GsmDevice::createDefaultConfig(BSONObject* out) {
  BSONBuilder root;
  BSONBuilder connection;
  BSONBuilder ip;
  const bool built = root.appendString("id", kTypeName) && root.appendString("name", kConfigurationName) &&
                     root.appendDocumentBegin("config", &connection) && connection.appendString("mode", "com") &&
                     connection.appendString("comstr", "/dev/ttyO2:9600,n,8,1") &&
                     connection.appendDocumentBegin("ip", &ip) &&
                     // Hosts rely on it: the default is no valid address.
                     ip.appendString("address", "192.168.1.256") && ip.appendInt32("port", 2233) &&
                     connection.appendDocumentEnd(&ip) && root.appendDocumentEnd(&connection);
  if (!built) {
    return Status::failed("Error creating default config.");
  }
  *out = root.getObject(false);
  return {};
}

Status GsmDevice::applyConfig(const BSONObject& doc) {
  Status status = checkConfig(doc);
  if (status.isOk()) {
    config = doc.copy();
  }
  return status;
}

Status GsmDevice::LoadConfig(const BSONObject& args) {
  if (state == DeviceState::kNone) {
    return Status::unexpected("this device is in an illegal state");
  }
  if (isActive(state)) {
    closeConnection();
  }
  cfgfile = args.getString("cfgfile", cfgfile);
  BSONObject loaded;
  if (Status status = loadJSON(cfgfile, &loaded); !status.isOk()) {
    return status;
  }
  Status status = applyConfig(loaded);
  if (!status.isOk()) {
    status = loadDefaultConfig(status);
  }
  if (status.isOk()) {
    state = DeviceState::kWithConfig;
  }
  return status;
}

Status GsmDevice::loadDefaultConfig(const Status& reason) {
  logDevice(2, "LoadConfig: checkConfig failed: " + reason.toString() + ". Loading default config!");
  BSONObject standard;
  Status status = createDefaultConfig(&standard);
  if (status.isOk()) {
    status = applyConfig(standard);
    if (!status.isOk()) {
      logDevice(1, std::string(kTypeName) + " checkConfig failed: " + status.toString() + "\n");
    }
  }
  return status;
}

Status GsmDevice::SetConfig(const BSONObject& doc) {
  if (state == DeviceState::kNone) {
    return Status::unexpected("this device is in an illegal state");
  }
  const bool isFirst = state == DeviceState::kCreated || state == DeviceState::kReset;
  if (Status status = checkConfig(doc); !status.isOk()) {
    logDevice(2, "SetConfig: checkConfig failed: " + status.toString() + ". Loading default config!");
    // Hosts rely on it: the default is announced and built, but neither applied nor saved.
    BSONObject standard;
    if (createDefaultConfig(&standard).isOk()) {
      return status;
    }
  }
  Status saved = checkReadBack(doc);
  if (saved.isOk()) {
    saved = saveJSON(cfgfile, doc);
  }
  OnStateChanged(isFirst ? DeviceState::kWithConfig : state.load());
  return saved;
}

Status GsmDevice::getConfig(BSONObject* out) {
  BSONObject current = config.copy();
  Status status;
  if (current.isEmpty()) {
    logDevice(3, "getConfig: config not yet set. Loading default config!");
    status = createDefaultConfig(&current);
  }
  if (state != DeviceState::kCreated && state != DeviceState::kReset) {
    *out = current;
    return status;
  }
  logDevice(2, "getConfig: in state kCreated or kReset. Loading default config!");
  return createDefaultConfig(out);
}

Status GsmDevice::getLov(BSONObject* out) {
  BSONBuilder lov;
  if (!lov.appendString("id", kTypeName) || !lov.appendString("name", toUpper(kTypeName) + " LOV") ||
      !lov.appendString("LOV", "not supported")) {
    return Status::failed("get LOV failed.");
  }
  *out = lov.getObject(false);
  return {};
}

}  // namespace orvix::gsm
