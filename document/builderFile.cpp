// Documents out of JSON files and standard input.

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>

#include "document/builder.h"
#include "document/cLocale.h"

namespace orvix {
namespace {

// A descriptor that remembers whether anything but white space came out of it: libbson takes a file of blanks for
// broken JSON, and a person takes it for an empty file.
class JsonSource {
 public:
  explicit JsonSource(const std::string& path)
      : isFile(path != "-"), descriptor(isFile ? open(path.c_str(), O_RDONLY | O_CLOEXEC) : STDIN_FILENO) {}
  ~JsonSource() {
    if (isFile && isOpen()) {
      close(descriptor);
    }
  }
  JsonSource(const JsonSource&) = delete;
  JsonSource& operator=(const JsonSource&) = delete;

  bool isOpen() const { return descriptor != -1; }
  bool hasText() const { return sawText; }

  static ssize_t read(void* source, uint8_t* buffer, size_t size) {
    return static_cast<JsonSource*>(source)->read(buffer, size);
  }

 private:
  ssize_t read(uint8_t* buffer, size_t size) {
    ssize_t count = 0;
    // A signal is no end of the file, and neither is a pipe that is empty for a moment.
    do {
      count = ::read(descriptor, buffer, size);
    } while (count == -1 && (errno == EINTR || (errno == EAGAIN && waitForInput())));
    sawText = sawText || count < 0 || !std::all_of(buffer, buffer + count, [](int byte) { return std::isspace(byte); });
    return count;
  }

  // Standard input may be non-blocking, which its other users have a right to.
  bool waitForInput() const {
    pollfd input{descriptor, POLLIN, 0};
    return poll(&input, 1, -1) == 1 || errno == EINTR;
  }

  bool isFile;
  int descriptor;
  bool sawText = false;
};

using Reader = std::unique_ptr<bson_json_reader_t, decltype(&bson_json_reader_destroy)>;

}  // namespace

Status BSONBuilder::fromJSONFile(const std::string& path) {
  const std::string cannotOpen = "Failed to open " + path;
  JsonSource source(path);
  if (!source.isOpen()) {
    return Status::failed(cannotOpen.c_str(), std::strerror(errno));
  }
  const Reader reader(bson_json_reader_new(&source, JsonSource::read, nullptr, false, 0), bson_json_reader_destroy);
  DocumentHandle read = shareDocument(bson_new());
  bson_error_t error{};
  const CLocale locale;
  const int result = bson_json_reader_read(reader.get(), read.get(), &error);
  if (result < 0 && source.hasText()) {
    return Status::failed(cannotOpen.c_str(), error.message);
  }
  // Hosts match this text, without the blank that it lacks.
  if (result <= 0) {
    return Status::failed((path + "is empty").c_str(), result == 0 ? error.message : nullptr);
  }
  document = std::move(read);
  return {};
}

}  // namespace orvix
