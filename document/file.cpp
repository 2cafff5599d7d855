#include "document/file.h"

#include <cstdio>
#include <cstdlib>
#include <memory>

#include "document/builder.h"

namespace orvix {
namespace {

constexpr char kLoadFile[] = "Load file";
constexpr char kTargetPointer[] = "target pointer";

struct FileCloser {
  void operator()(FILE* file) const { std::fclose(file); }
};

struct FreeDeleter {
  void operator()(void* block) const { std::free(block); }
};

using Block = std::unique_ptr<void, FreeDeleter>;

long sizeOf(FILE* file) {
  return std::fseek(file, 0, SEEK_END) == 0 ? std::ftell(file) : 0;
}

bool readWhole(FILE* file, void* block, std::size_t size) {
  // A zero after the last byte, for callers who take the block for a text.
  std::rewind(file);
  static_cast<char*>(block)[size] = '\0';
  return std::fread(block, 1, size, file) == size;
}

}  // namespace

// Whole, because the files are small configuration documents.
Status loadFile(const std::string& path, void** data, std::size_t* size) {
  // Made first, for it is the answer to whatever goes wrong but a lack of memory.
  Status failure = Status::failed(kLoadFile, path.c_str());
  if (data == nullptr) {
    return Status::invalidArgument(kLoadFile, kTargetPointer);
  }
  *data = nullptr;
  const std::unique_ptr<FILE, FileCloser> file(std::fopen(path.c_str(), "rb"));
  const long found = file != nullptr ? sizeOf(file.get()) : 0;
  if (found <= 0) {
    return failure;
  }
  const auto length = static_cast<std::size_t>(found);
  Block block(std::malloc(length + 1));
  if (block == nullptr) {
    return Status::outOfMemory(kLoadFile, path.c_str());
  }
  // A file that shrank since it was measured is no file that can be trusted.
  if (!readWhole(file.get(), block.get(), length)) {
    return failure;
  }
  *data = block.release();
  if (size != nullptr) {
    *size = length;
  }
  return {};
}

Status loadBSON(const std::string& path, BSONObject* target) {
  if (target == nullptr) {
    return Status::invalidArgument("loadBSON", kTargetPointer);
  }
  void* data = nullptr;
  std::size_t size = 0;
  if (Status status = loadFile(path, &data, &size); !status.isOk()) {
    return status;
  }
  const Block block(data);
  BSONBuilder builder;
  // A size beyond 32 bits is no BSON document; 0 is not one either and says so.
  const auto length = size <= UINT32_MAX ? static_cast<uint32_t>(size) : 0;
  Status status = builder.fromData(static_cast<const uint8_t*>(data), length);
  if (status.isOk()) {
    *target = builder.getObject(false);
  }
  return status;
}

Status loadJSON(const std::string& path, BSONObject* target) {
  if (target == nullptr) {
    return Status::invalidArgument("loadJSON", kTargetPointer);
  }
  BSONBuilder builder;
  Status status = builder.fromJSONFile(path);
  if (status.isOk()) {
    *target = builder.getObject(false);
  }
  return status;
}

// The bytes as they stand in memory: BSON is its own file format.
Status saveBSON(const std::string& path, const BSONObject& document) {
  return saveFile(path, document.data(), document.dataSize());
}

Status saveJSON(const std::string& path, const BSONObject& document) {
  const std::string text = document.toJSON();
  // Not even "{ }": too deep, or a value that libbson cannot write.
  if (text.empty()) {
    return Status::failed(("Save file__ " + path).c_str(), "a value has no form in JSON");
  }
  return saveFile(path, text.data(), text.size());
}

}  // namespace orvix
