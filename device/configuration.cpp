// The configuration: its check, its file, and the default that stands in for a bad one.

#include "common/text.h"
#include "device/gsmDevice.h"
#include "device/log.h"
#include "document/builder.h"
#include "document/file.h"
#include "plugin/names.h"

namespace orvix::gsm {
namespace {

struct KeyRule {
  const char* path;
  int typeCode;
  const char* whenMissing;
  const char* whenEmpty;  // null: may be empty
};

// Hosts rely on "ID" in capitals, though the key is "id".
constexpr KeyRule kKeyRules[] = {
    {names::kId, BSON_TYPE_UTF8, "Parameter ID missing.", nullptr},
    {names::kName, BSON_TYPE_UTF8, "Parameter name missing.", nullptr},
    {names::kConfig, BSON_TYPE_DOCUMENT, "Parameter config missing.", nullptr},
    {names::kModePath, BSON_TYPE_UTF8, "Parameter config.mode missing.", "Parameter config.mode is empty."},
    {names::kComstrPath, BSON_TYPE_UTF8, "Parameter config.comstr missing.", "Parameter config.comstr is empty."},
    {names::kIpPath, BSON_TYPE_DOCUMENT, "Parameter config.ip missing.", nullptr},
    {names::kAddressPath, BSON_TYPE_UTF8, "Parameter config.ip.address missing.",
     "Parameter config.ip.address is empty."},
    {names::kPortPath, BSON_TYPE_INT32, "Parameter config.ip.port missing.", nullptr},
};

// First that all are there, then what they say: hosts know the order by the text that they get.
Status checkPresence(const BSONObject& doc) {
  for (const KeyRule& rule : kKeyRules) {
    if (!GsmDevice::hasKeyOfType(doc, rule.path, rule.typeCode)) {
      return Status::failed(rule.whenMissing);
    }
  }
  return {};
}

Status checkNames(const BSONObject& doc) {
  if (toUpper(doc.getString(names::kId, "")) != toUpper(names::kType)) {
    return Status::failed("Parameter ID invalid.");
  }
  const std::string name = doc.getString(names::kName, "");
  if (toUpper(name) != toUpper(names::kConfigurationName)) {
    // Ends in three dots: hosts match the whole.
    const std::string detail = std::string("Expected [") + names::kConfigurationName + "] But got [" + name + "]...";
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
  const bool built = root.appendString(names::kId, names::kType) &&
                     root.appendString(names::kName, names::kConfigurationName) &&
                     root.appendDocumentBegin(names::kConfig, &connection) &&
                     connection.appendString(names::kMode, names::kSerialMode) &&
                     connection.appendString(names::kComstr, "/dev/ttyO2:9600,n,8,1") &&
                     connection.appendDocumentBegin(names::kIp, &ip) &&
                     // Hosts rely on it: the default is no valid address.
                     ip.appendString(names::kAddress, "192.168.1.256") && ip.appendInt32(names::kPort, 2233) &&
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
  // The line belongs to the configuration that is about to go.
  if (isActive(state)) {
    closeConnection();
  }
  // Without the key the file of the last time is read again.
  cfgfile = args.getString(names::kConfigurationFile, cfgfile);
  BSONObject loaded;
  // A file that cannot be read is told; one that breaks a rule is replaced by the default.
  if (Status status = loadJSON(cfgfile, &loaded); !status.isOk()) {
    return status;
  }
  Status status = applyConfig(loaded);
  if (!status.isOk()) {
    status = loadDefaultConfig(status);
  }
  if (status.isOk()) {
    state = DeviceState::kWithConfig;  // Hosts rely on it: without a word to the log or the sink.
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
      logDevice(1, std::string(names::kType) + " checkConfig failed: " + status.toString() + "\n");
    }
  }
  return status;
}

Status GsmDevice::SetConfig(const BSONObject& doc) {
  if (state == DeviceState::kNone) {
    return Status::unexpected("this device is in an illegal state");
  }
  // Asked first: the state may not change in between.
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
  if (isFirst) {
    OnStateChanged(DeviceState::kWithConfig);  // whatever became of the save
  }
  return saved;
}

// Before it is in service a device shows the default, even when a configuration was loaded.
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
  if (!lov.appendString(names::kId, names::kType) || !lov.appendString(names::kName, toUpper(names::kType) + " LOV") ||
      !lov.appendString("LOV", "not supported")) {
    return Status::failed("get LOV failed.");
  }
  *out = lov.getObject(false);
  return {};
}

}  // namespace orvix::gsm
