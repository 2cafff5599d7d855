#include "hostkit/scratchConfig.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "document/file.h"
#include "hostkit/error.h"

namespace orvix::hostkit {

ScratchConfig::ScratchConfig(const LineChoice& line)
    : folder(std::filesystem::temp_directory_path() / "gsm-modem-XXXXXX") {
  // A folder of its own, closed to others: the device saves by replacing the file beside itself.
  if (mkdtemp(folder.data()) == nullptr) {
    throw Error(folder + ": " + std::strerror(errno));
  }
  file = folder + "/modem.json";
  if (const Status saved = saveJSON(file, configurationOf(line)); !saved.isOk()) {
    std::filesystem::remove_all(folder);
    throw Error(saved.toString());
  }
}

ScratchConfig::~ScratchConfig() {
  // Nobody is there to be told, and a folder left behind does no harm.
  std::error_code ignored;
  std::filesystem::remove_all(folder, ignored);
}

}  // namespace orvix::hostkit
