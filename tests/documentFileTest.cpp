// Documents in files: what is read, and how a file is replaced, call by call.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "app/common/document/document.h"
#include "tests/world/host.h"
#include "tests/world/systemCalls.h"

using orvix::BSONObject;
using orvix::Status;
using world::Fault;
using world::fromJson;
using Names = std::vector<std::string>;

namespace {

constexpr char kOld[] = "the old content";
constexpr char kNew[] = "the new content, longer";
constexpr int kLength = sizeof kNew - 1;

bool isOpen(int descriptor) {
  return fcntl(descriptor, F_GETFD) != -1;
}

// The number that the next descriptor gets.
int nextDescriptor() {
  const int next = dup(STDERR_FILENO);
  close(next);
  return next;
}

// A folder with one file, saved over; {F} in an expected text stands for the file, {D} for the folder.
class DocumentFile : public testing::Test {
 protected:
  Status save() { return orvix::saveFile(target, kNew, kLength); }
  std::string filled(std::string text) const {
    for (const auto& [mark, value] : {std::pair("{F}", target), std::pair("{D}", folder.path())}) {
      const std::size_t at = text.find(mark);
      text = at == std::string::npos ? text : text.replace(at, 3, value);
    }
    return text;
  }

  world::TemporaryFolder folder;
  std::string target = folder.write("target", kOld);
};

TEST_F(DocumentFile, SaveReplacesOrLeavesTheTarget) {
  enum class Temporary { kGone, kGoneButOpen, kKeptAndOpen };
  const struct {
    const char* function;
    int n, error, shortBy, times;
    const char* status;
    bool isReplaced;
    Temporary temporary;
  } kRows[] = {
      {"none", 1, 0, -1, 1, "OK", true, Temporary::kGone},
      {"write", 1, 0, 3, 1, "OK", true, Temporary::kGone},
      {"write", 1, 0, kLength, 1, "OK", true, Temporary::kGone},
      {"write", 1, EINTR, -1, 3, "OK", true, Temporary::kGone},
      {"close", 1, EIO, -1, 1, "OK", true, Temporary::kGoneButOpen},
      {"open", 1, EMFILE, -1, 1, "Failed: Create temp file Too many open files", false, Temporary::kGone},
      {"open", 2, EACCES, -1, 1, "Failed: Open {D}Permission denied", false, Temporary::kKeptAndOpen},
      {"write", 1, ENOSPC, -1, 1, "Failed: Save file__ {F}: No space left on device", false, Temporary::kGoneButOpen},
      {"write", 1, 0, kLength, 2, "Failed: Save file__ {F}: Success", false, Temporary::kGoneButOpen},
      {"fsync", 1, EIO, -1, 1, "Failed: fsync {F}: Input/output error", false, Temporary::kGoneButOpen},
      {"rename", 1, EXDEV, -1, 1, "Failed: Save file__\xc3\xa4\xc3\xa4 {F}: Invalid cross-device link", false,
       Temporary::kGone},
      {"fsync", 2, EIO, -1, 1, "Failed: fsync {D}: Input/output error", true, Temporary::kGone},
  };
  for (const auto& row : kRows) {
    SCOPED_TRACE(std::string(row.function) + " " + std::to_string(row.n) + ": " + row.status);
    folder.write("target", kOld);
    const int openBefore = world::openDescriptors();
    const int file = nextDescriptor();
    const std::time_t from = std::time(nullptr);
    {
      const Fault fault(row.function, row.n, row.error, row.shortBy, row.times);
      EXPECT_EQ(save().toString(), filled(row.status));
      EXPECT_EQ(fault.hasFired(), std::string(row.function) != "none");
    }
    EXPECT_EQ(world::readText(target), row.isReplaced ? kNew : kOld);
    const Names names = folder.names();
    ASSERT_EQ(names.size(), row.temporary == Temporary::kKeptAndOpen ? 2U : 1U);
    if (names.size() == 2) {
      const long long at = std::atoll(names[0].c_str());
      EXPECT_TRUE(at >= from && at <= std::time(nullptr) && names[0] == std::to_string(at) + ".json") << names[0];
      EXPECT_EQ(unlink(folder.file(names[0]).c_str()), 0);
    }
    EXPECT_EQ(isOpen(file), row.temporary != Temporary::kGone);
    EXPECT_EQ(world::openDescriptors(), openBefore + (isOpen(file) ? 1 : 0));
    if (isOpen(file)) {
      EXPECT_EQ(close(file), 0);
    }
  }
}

TEST_F(DocumentFile, FullDiskLeavesTheOldContent) {
  rlimit before{};
  getrlimit(RLIMIT_FSIZE, &before);
  const rlimit fiveBytes{5, before.rlim_max};
  const int file = nextDescriptor();
  const auto handler = std::signal(SIGXFSZ, SIG_IGN);
  setrlimit(RLIMIT_FSIZE, &fiveBytes);  // the first write takes a part, the second is refused
  const std::string status = save().toString();
  setrlimit(RLIMIT_FSIZE, &before);
  std::signal(SIGXFSZ, handler);
  EXPECT_EQ(status, filled("Failed: Save file__ {F}: File too large"));
  EXPECT_EQ(world::readText(target), kOld);
  EXPECT_EQ(folder.names(), Names{"target"});
  EXPECT_EQ(close(file), 0);
}

TEST_F(DocumentFile, SaveNeedsAFolderAndAFile) {
  target = folder.file("none") + "/file";
  EXPECT_EQ(save().toString(), "Failed: Create temp file No such file or directory");
  target = folder.file("sub");
  ASSERT_EQ(mkdir(target.c_str(), 0700), 0);
  EXPECT_EQ(save().toString(), filled("Failed: Save file__\xc3\xa4\xc3\xa4 {F}: Is a directory"));
  EXPECT_EQ(folder.names(), (Names{"sub", "target"}));
  target = folder.file("fresh");
  EXPECT_EQ(save().toString(), "OK");
  struct stat status {};
  EXPECT_EQ(stat(target.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0600U);
  // A longer temporary file, left by a crash within the same second, leaves no tail.
  for (const std::time_t ahead : {0, 1, 2}) {
    folder.write(std::to_string(std::time(nullptr) + ahead) + ".json", std::string(100, 'x'));
  }
  EXPECT_EQ(save().toString(), "OK");
  EXPECT_EQ(world::readText(target), kNew);
}

// A bare name has no folder, and the temporary file would lie in the root of the file system, if that can be written.
TEST_F(DocumentFile, SaveOfABareNameIsRefused) {
  const int file = nextDescriptor();
  const bool canWriteRoot = access("/", W_OK) == 0;
  const std::string refusal =
      canWriteRoot ? "Open No such file or directory" : std::string("Create temp file ") + std::strerror(errno);
  const std::time_t from = std::time(nullptr);
  EXPECT_EQ(orvix::saveFile("bare", kNew, kLength).toString(), "Failed: " + refusal);
  int found = 0;
  for (std::time_t at = from; at <= std::time(nullptr); ++at) {
    found += unlink(("/" + std::to_string(at) + ".json").c_str()) == 0 ? 1 : 0;
  }
  EXPECT_EQ(found, canWriteRoot ? 1 : 0);
  EXPECT_EQ(close(file) == 0, canWriteRoot);
}

TEST_F(DocumentFile, RoundTrips) {
  const BSONObject document = fromJson(R"({"a":{"b":[1,"x"]},"n":null})");
  BSONObject loaded;
  EXPECT_EQ(orvix::saveJSON(target, document).toString(), "OK");
  EXPECT_EQ(world::readText(target), document.toJSON());
  EXPECT_EQ(orvix::loadJSON(target, &loaded).toString(), "OK");
  EXPECT_TRUE(loaded == document && loaded.isBorrowed());
  EXPECT_EQ(orvix::saveBSON(target, document).toString(), "OK");
  EXPECT_EQ(world::readText(target), std::string(reinterpret_cast<const char*>(document.data()), document.dataSize()));
  loaded = BSONObject(nullptr, false);
  EXPECT_EQ(orvix::loadBSON(target, &loaded).toString(), "OK");
  EXPECT_TRUE(loaded == document && loaded.isBorrowed());
  EXPECT_EQ(orvix::saveBSON(target, BSONObject()).toString(), "OK");
  EXPECT_EQ(world::readText(target), "");
  EXPECT_EQ(orvix::loadBSON(target, &loaded).toString(), filled("Failed: Load file: {F}"));
  EXPECT_EQ(orvix::saveJSON(target, BSONObject()).toString(), "OK");
  EXPECT_EQ(world::readText(target), "{ }");
  EXPECT_TRUE(loaded == document);
}

TEST_F(DocumentFile, LoadFileReadsAllOrNothing) {
  char* data = nullptr;
  std::size_t size = 0;
  const auto load = [&](const std::string& path) {
    return orvix::loadFile(path, reinterpret_cast<void**>(&data), &size).toString();
  };
  EXPECT_EQ(load(target), "OK");
  EXPECT_EQ(std::string(data, size + 1), std::string(kOld, sizeof kOld));
  std::free(data);
  EXPECT_EQ(orvix::loadFile(target, reinterpret_cast<void**>(&data), nullptr).toString(), "OK");
  std::free(data);
  // The last one claims a page and gives less, where there is such a file.
  for (const std::string& path : {folder.file("none"), folder.write("empty", ""), std::string("/proc/self/mem"),
                                  std::string("/sys/devices/system/cpu/online")}) {
    const int openBefore = world::openDescriptors();
    EXPECT_EQ(load(path), "Failed: Load file: " + path);
    EXPECT_EQ(data, nullptr);
    EXPECT_EQ(world::openDescriptors(), openBefore);
  }
  const Fault fault("malloc", 1, ENOMEM);
  const std::string status = load(target);
  EXPECT_TRUE(fault.hasFired());
  EXPECT_EQ(status, filled("Out of memory: Load file: {F}"));
  EXPECT_EQ(data, nullptr);
}

TEST_F(DocumentFile, LoadsTheFirstDocumentOrSaysWhyNot) {
  const std::string one = R"({ "a" : 1 })";
  const std::string bson("\10\0\0\0\na\0\0", 8);
  const std::string blanks(40000, ' ');
  const struct {
    Status (*load)(const std::string&, BSONObject*);
    std::string content;
    std::string outcome;  // a document, or a status
  } kRows[] = {
      {orvix::loadJSON, one, one},
      {orvix::loadJSON, blanks + R"({"a":1} {"b":2})", one},
      {orvix::loadJSON, "[true]", R"({ "0" : true })"},
      {orvix::loadJSON, "", "Failed: {F}is empty"},
      {orvix::loadJSON, blanks + "\r\n\t", "Failed: {F}is empty"},
      {orvix::loadJSON, "\f", "Failed: {F}is empty"},
      {orvix::loadJSON, R"({"a":)", "Failed: Failed to open {F}: Incomplete JSON"},
      {orvix::loadJSON, R"({"a":1} xyz)",
       R"(Failed: Failed to open {F}: Got parse error at "x", position 8: "SPECIAL_EXPECTED")"},
      {orvix::loadJSON, "{\"a\":\"\xff\"}", "Failed: Failed to open {F}: invalid bytes in UTF8 string"},
      {orvix::loadBSON, bson, R"({ "a" : null })"},
      {orvix::loadBSON, "\t" + bson.substr(1), "Failed: bsonBuilder: fromData"},
      {orvix::loadBSON, bson + "x", "Failed: bsonBuilder: fromData"},
      {orvix::loadBSON, bson.substr(0, 7) + "x", "Failed: bsonBuilder: fromData"},
      {orvix::loadBSON, bson.substr(0, 4), "Failed: bsonBuilder: fromData"},
      {orvix::loadBSON, "", "Failed: Load file: {F}"},
  };
  for (const auto& row : kRows) {
    SCOPED_TRACE(testing::PrintToString(row.content.substr(0, 20)));
    folder.write("target", row.content);
    const int openBefore = world::openDescriptors();
    BSONObject loaded = fromJson(R"({"kept":1})");
    const bool isStatus = row.outcome[0] == 'F';
    EXPECT_EQ(row.load(target, &loaded).toString(), isStatus ? filled(row.outcome) : "OK");
    EXPECT_EQ(loaded.toJSON(), isStatus ? R"({ "kept" : 1 })" : row.outcome);
    EXPECT_EQ(world::openDescriptors(), openBefore);
  }
  EXPECT_EQ(orvix::loadFile(target, nullptr, nullptr).toString(), "Invalid argument: Load file: target pointer");
  EXPECT_EQ(orvix::loadBSON(target, nullptr).toString(), "Invalid argument: loadBSON: target pointer");
  EXPECT_EQ(orvix::loadJSON(target, nullptr).toString(), "Invalid argument: loadJSON: target pointer");
  BSONObject loaded;
  EXPECT_EQ(orvix::loadJSON(folder.path(), &loaded).toString(), filled("Failed: Failed to open {D}: reader cb failed"));
  EXPECT_EQ(orvix::loadJSON(folder.file("none"), &loaded).toString(),
            filled("Failed: Failed to open {D}/none: No such file or directory"));
}

TEST_F(DocumentFile, JsonReadingSurvivesInterruptions) {
  folder.write("target", R"({"a":1})");
  const struct {
    const char* function;
    int error, shortBy;
    const char* status;
  } kRows[] = {
      {"read", EINTR, -1, "OK"},
      {"read", 0, 16000, "OK"},
      {"read", EIO, -1, "Failed: Failed to open {F}: reader cb failed"},
      {"open", EMFILE, -1, "Failed: Failed to open {F}: Too many open files"},
  };
  for (const auto& row : kRows) {
    const int openBefore = world::openDescriptors();
    BSONObject loaded;
    const Fault fault(row.function, 1, row.error, row.shortBy);
    EXPECT_EQ(orvix::loadJSON(target, &loaded).toString(), filled(row.status));
    EXPECT_TRUE(fault.hasFired());
    EXPECT_EQ(loaded.getInt32("a", 0), std::string(row.status) == "OK" ? 1 : 0);
    EXPECT_EQ(world::openDescriptors(), openBefore);
  }
}

TEST_F(DocumentFile, DashReadsStandardInputAndLeavesItOpen) {
  const int saved = dup(STDIN_FILENO);
  for (const char* const text : {R"({ "a" : 1 })", " \n"}) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    EXPECT_GT(write(ends[1], text, std::strlen(text)), 0);
    close(ends[1]);
    dup2(ends[0], STDIN_FILENO);
    close(ends[0]);
    BSONObject loaded;
    EXPECT_EQ(orvix::loadJSON("-", &loaded).toString(), text[0] == '{' ? "OK" : "Failed: -is empty");
    EXPECT_EQ(loaded.toJSON(), text[0] == '{' ? text : "{ }");
    EXPECT_TRUE(isOpen(STDIN_FILENO));
  }
  dup2(saved, STDIN_FILENO);
  close(saved);
}

}  // namespace
