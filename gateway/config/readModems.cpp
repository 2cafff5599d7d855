// The modems, each with the line that its own file names.

#include <filesystem>
#include <map>

#include "document/file.h"
#include "gateway/config/sections.h"
#include "hostkit/connectionString.h"

namespace orvix::gateway {
namespace {

constexpr int kMostLinks = 40;  // as many as the system follows

// Whether two paths may be the same device: a link counts as what it points to now.
std::string deviceOf(const std::string& line) {
  std::error_code ignored;
  std::filesystem::path path = hostkit::pathOf(line);
  // Link by link, since a link may stand while its device is unplugged.
  for (int i = 0; i < kMostLinks && std::filesystem::is_symlink(path, ignored); ++i) {
    path = path.parent_path() / std::filesystem::read_symlink(path, ignored);
  }
  // Weakly: a device that is not there now counts by its name.
  const std::string real = std::filesystem::weakly_canonical(path, ignored).string();
  return real.empty() ? path.string() : real;
}

// The line that the plug-in will open, as the modem's own configuration says.
std::string readLine(StrictObject* object, const std::string& file) {
  BSONObject document;
  if (const Status status = loadJSON(file, &document); !status) {
    object->complain("config", status.toString());
    return "";
  }
  std::string line = hostkit::connectionString(document);
  // The device would open it without a word and fail at each start: told here.
  if (const std::size_t colon = line.find(':'); colon == 0 || colon == std::string::npos) {
    object->complain("config", file + " names no line: " + hostkit::kNoSettingsText);
  } else if (line.find(':', colon + 1) != std::string::npos) {
    object->complain("config", file + ": a line must have no colon in its path");
  }
  return line;
}

std::map<int, hostkit::ErrorClass> readCodes(StrictObject object) {
  std::map<int, hostkit::ErrorClass> codes;
  for (const std::string& key : object.keys()) {
    // So few digits cannot overflow.
    if (key.empty() || key.size() > 5 || !consistsOf(key, "0123456789")) {
      object.complain(key, "must be the number of a CMS error");
      continue;
    }
    // The fallback is of no use: whatever is no class has become a problem.
    codes[std::stoi(key)] = object.word(key, hostkit::ErrorClass::kDoubt, hostkit::classNamed,
                                        R"("message", "network", "modem", "chance" or "doubt")");
  }
  return codes;
}

std::optional<hostkit::Charset> charsetOf(const std::string& word) {
  if (word == "IRA") {
    return hostkit::Charset::kIra;
  }
  return word == "GSM" ? std::optional(hostkit::Charset::kGsm) : std::nullopt;
}

ModemConfig readModem(StrictObject object) {
  ModemConfig modem;
  modem.name = readName(&object, "name");
  modem.configFile = object.needed("config");
  if (!modem.configFile.empty()) {
    modem.line = readLine(&object, modem.configFile);
  }
  modem.reportSeconds = object.whole("reportSeconds", modem.reportSeconds, 1, kDaySeconds);
  modem.perDay = object.whole("perDay", modem.perDay, 0, kMostOfAny);
  modem.charset = object.word("charset", modem.charset, charsetOf, R"("IRA" or "GSM")");
  modem.okIsSent = object.truth("okIsSent", modem.okIsSent);
  modem.codes = readCodes(object.object("codes"));
  object.refuseOthers();
  return modem;
}

}  // namespace

std::vector<ModemConfig> readModems(StrictObject* root) {
  std::vector<ModemConfig> modems;
  std::map<std::string, std::string> names;
  std::map<std::string, std::string> lines;
  for (StrictObject& object : root->objects("modems")) {
    const ModemConfig& modem = modems.emplace_back(readModem(object));
    const auto [name, isNewName] = names.emplace(modem.name, object.pathTo("name"));
    // A name that is missing was told already.
    if (!isNewName && !modem.name.empty()) {
      object.complain("name", "is the same as " + name->second);
    }
    const auto [line, isNewLine] = lines.emplace(deviceOf(modem.line), object.pathTo("config"));
    if (!isNewLine && !modem.line.empty()) {
      object.complain("config", "names the same line as " + line->second + ": " + hostkit::pathOf(modem.line));
    }
  }
  if (modems.empty()) {
    root->complain("modems", "must name one modem at least");
  }
  return modems;
}

}  // namespace orvix::gateway
