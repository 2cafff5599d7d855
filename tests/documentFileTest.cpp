// Documents in files: what is read, and how a file is replaced, call by call.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <clocale>
#include <cstdlib>
#include <ctime>
#include <thread>
#include <tuple>

#include "document/document.h"
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
  enum Temporary { kGone, kGoneButOpen, kKeptAndOpen };
  // clang-format off
  // Function, n, error, short by, times; status, content, temporary file.
  const std::tuple<const char*, int, int, int, int, std::string, const char*, Temporary> rows[] = {
      {"none", 1, 0, -1, 1, "OK", kNew, kGone}, {"write", 1, 0, 3, 1, "OK", kNew, kGone},
      {"write", 1, 0, kLength, 1, "OK", kNew, kGone}, {"write", 1, EINTR, -1, 1000, "OK", kNew, kGone},
      {"close", 1, EIO, -1, 1, "OK", kNew, kGoneButOpen},
      {"open", 1, EMFILE, -1, 1, "Failed: Create temp file Too many open files", kOld, kGone},
      {"open", 2, EACCES, -1, 1, "Failed: Open {D}Permission denied", kOld, kKeptAndOpen},
      {"write", 1, ENOSPC, -1, 1, "Failed: Save file__ {F}: No space left on device", kOld, kGoneButOpen},
      {"write", 1, ENOSPC, 3, 2, "Failed: Save file__ {F}: No space left on device", kOld, kGoneButOpen},
      {"write", 1, 0, kLength, 2, "Failed: Save file__ {F}: Success", kOld, kGoneButOpen},
      {"fsync", 1, EIO, -1, 1, "Failed: fsync {F}: Input/output error", kOld, kGoneButOpen},
      {"rename", 1, EXDEV, -1, 1, "Failed: Save file__\xc3\xa4\xc3\xa4 {F}: Invalid cross-device link", kOld, kGone},
      {"fsync", 2, EIO, -1, 1, "Failed: fsync {D}: Input/output error", kNew, kGone}};
  // clang-format on
  for (const auto& [function, n, error, shortBy, times, status, content, temporary] : rows) {
    SCOPED_TRACE(std::string(function) + " " + std::to_string(n) + ": " + status);
    folder.write("target", kOld);
    const int openBefore = world::openDescriptors();
    const int file = nextDescriptor();
    const std::time_t from = std::time(nullptr);
    {
      const Fault fault(function, n, error, shortBy, times);
      EXPECT_EQ(save().toString(), filled(status));
      EXPECT_EQ(fault.hasFired(), std::string(function) != "none");
    }
    EXPECT_EQ(world::readText(target), content);
    const Names names = folder.names();
    ASSERT_EQ(names.size(), temporary == kKeptAndOpen ? 2U : 1U);
    if (names.size() == 2) {
      const long long at = std::atoll(names[0].c_str());
      EXPECT_TRUE(at >= from && at <= std::time(nullptr) && names[0] == std::to_string(at) + ".json") << names[0];
      std::remove(folder.file(names[0]).c_str());
    }
    EXPECT_EQ(close(file) == 0, temporary != kGone);
    EXPECT_EQ(world::openDescriptors(), openBefore);
  }
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
  EXPECT_TRUE(stat(target.c_str(), &status) == 0 && (status.st_mode & 0777U) == 0600);
}

TEST_F(DocumentFile, RoundTrips) {
  const BSONObject document = fromJson(R"({"a":{"b":[1,"x"]},"n":null})");
  const std::string bytes(reinterpret_cast<const char*>(document.data()), document.dataSize());
  BSONObject loaded;
  EXPECT_TRUE(orvix::saveJSON(target, document) && world::readText(target) == document.toJSON());
  EXPECT_TRUE(orvix::loadJSON(target, &loaded) && loaded == document && loaded.isBorrowed());
  loaded = BSONObject(nullptr, false);
  EXPECT_TRUE(orvix::saveBSON(target, document) && world::readText(target) == bytes);
  EXPECT_TRUE(orvix::loadBSON(target, &loaded) && loaded == document && loaded.isBorrowed());
  EXPECT_TRUE(orvix::saveBSON(target, BSONObject()) && world::readText(target).empty());
  EXPECT_TRUE(orvix::saveJSON(target, BSONObject()) && world::readText(target) == "{ }");
  orvix::BSONBuilder notUtf8;
  notUtf8.appendString("a", "\xff");
  EXPECT_EQ(orvix::saveJSON(target, notUtf8.getObject(false)).toString(),
            filled("Failed: Save file__ {F}: a value has no form in JSON"));
  EXPECT_EQ(world::readText(target), "{ }");
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
  EXPECT_EQ(load(target), filled("Out of memory: Load file: {F}"));
  EXPECT_TRUE(fault.hasFired() && data == nullptr);
}

TEST_F(DocumentFile, LoadsTheFirstDocumentOrSaysWhyNot) {
  const std::string one = R"({ "a" : 1 })";
  const std::string bson("\10\0\0\0\na\0\0", 8);
  const std::string blanks(40000, ' ');
  const std::string empty = "Failed: {F}is empty";
  const std::string broken = "Failed: bsonBuilder: fromData";
  const std::string refused = "Failed: Failed to open {F}: ";
  // clang-format off
  // Each outcome is a document or a status.
  const std::tuple<Status (*)(const std::string&, BSONObject*), std::string, std::string> rows[] = {
      {orvix::loadJSON, one, one}, {orvix::loadJSON, blanks + R"({"a":1} {"b":2})", one},
      {orvix::loadJSON, "[true]", R"({ "0" : true })"},
      {orvix::loadJSON, "", empty}, {orvix::loadJSON, blanks + "\r\n\t", empty}, {orvix::loadJSON, "\f", empty},
      {orvix::loadJSON, R"({"a":)", refused + "Incomplete JSON"},
      {orvix::loadJSON, R"({"a":1} xyz)", refused + R"(Got parse error at "x", position 8: "SPECIAL_EXPECTED")"},
      {orvix::loadJSON, "{\"a\":\"\xff\"}", refused + "invalid bytes in UTF8 string"},
      {orvix::loadBSON, bson, R"({ "a" : null })"}, {orvix::loadBSON, "", "Failed: Load file: {F}"},
      {orvix::loadBSON, "\t" + bson.substr(1), broken}, {orvix::loadBSON, bson + "x", broken},
      {orvix::loadBSON, bson.substr(0, 7) + "x", broken}, {orvix::loadBSON, bson.substr(0, 4), broken}};
  // clang-format on
  const int openBefore = world::openDescriptors();
  for (const auto& [load, content, outcome] : rows) {
    SCOPED_TRACE(testing::PrintToString(content.substr(0, 20)));
    folder.write("target", content);
    BSONObject loaded = fromJson(R"({"kept":1})");
    const bool isStatus = outcome[0] == 'F';
    EXPECT_EQ(load(target, &loaded).toString(), isStatus ? filled(outcome) : "OK");
    EXPECT_EQ(loaded.toJSON(), isStatus ? R"({ "kept" : 1 })" : outcome);
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
  const std::tuple<const char*, int, int, const char*> rows[] = {
      {"read", EINTR, -1, "OK"},
      {"read", 0, 16000, "OK"},
      {"read", EIO, -1, "Failed: Failed to open {F}: reader cb failed"},
      {"open", EMFILE, -1, "Failed: Failed to open {F}: Too many open files"}};
  const int openBefore = world::openDescriptors();
  for (const auto& [function, error, shortBy, status] : rows) {
    BSONObject loaded;
    const Fault fault(function, 1, error, shortBy);
    EXPECT_EQ(orvix::loadJSON(target, &loaded).toString(), filled(status));
    EXPECT_TRUE(fault.hasFired() && world::openDescriptors() == openBefore);
    EXPECT_EQ(loaded.getInt32("a", 0), std::string(status) == "OK" ? 1 : 0);
  }
}

// A pipe in place of standard input, while it lives.
class InputPipe {
 public:
  explicit InputPipe(int flags) {
    int ends[2];
    EXPECT_EQ(pipe2(ends, flags), 0);
    EXPECT_EQ(dup2(ends[0], STDIN_FILENO), STDIN_FILENO);
    close(ends[0]);
    in = ends[1];
  }
  ~InputPipe() {
    dup2(saved, STDIN_FILENO);
    close(saved);
  }
  InputPipe(const InputPipe&) = delete;
  InputPipe& operator=(const InputPipe&) = delete;

  void send(const std::string& text) const {
    EXPECT_GT(write(in, text.data(), text.size()), 0);
    close(in);
  }

 private:
  int saved = dup(STDIN_FILENO);
  int in = -1;
};

TEST_F(DocumentFile, DashReadsStandardInputAndLeavesItOpen) {
  for (const std::string text : {R"({ "a" : 1 })", " \n"}) {
    const InputPipe input(0);
    input.send(text);
    BSONObject loaded;
    EXPECT_EQ(orvix::loadJSON("-", &loaded).toString(), text[0] == '{' ? "OK" : "Failed: -is empty");
    EXPECT_EQ(loaded.toJSON(), text[0] == '{' ? text : "{ }");
    EXPECT_NE(fcntl(STDIN_FILENO, F_GETFD), -1);
  }
}

// The state letter of a thread: S while it waits.
char stateOf(pid_t thread) {
  const std::string line = world::readText("/proc/self/task/" + std::to_string(thread) + "/stat");
  return line.at(line.rfind(')') + 2);
}

TEST_F(DocumentFile, DashWaitsForWhatANonBlockingStandardInputHasNotYet) {
  const InputPipe input(O_NONBLOCK);
  std::atomic<bool> isReading = false;
  std::thread sender([&, reader = gettid()] {
    while (!isReading || stateOf(reader) != 'S') {
      std::this_thread::yield();
    }
    input.send(R"({"a":1})");
  });
  BSONObject loaded;
  world::SystemCalls::instance().readCount = 0;
  {
    const Fault fault("read", 1, [&] { isReading = true; });
    EXPECT_EQ(orvix::loadJSON("-", &loaded).toString(), "OK");
  }
  sender.join();
  EXPECT_EQ(loaded.getInt32("a", 0), 1);
  EXPECT_LE(world::SystemCalls::instance().readCount, 4) << "it asks again only when there is something";
}

TEST_F(DocumentFile, JsonIsTheSameInEveryLocale) {
  const std::string make = "localedef -i de_DE -f ISO-8859-1 " + folder.file("de_DE") + " >/dev/null 2>&1";
  setenv("LOCPATH", folder.path().c_str(), 1);
  // NOLINTNEXTLINE(cert-env33-c): a fixed command, and no input of a stranger's
  if (std::system(make.c_str()) < 0 || std::setlocale(LC_ALL, "de_DE") == nullptr) {
    GTEST_SKIP() << "the package locales is missing: no locale that writes 1,5 can be made";
  }
  folder.write("target", R"({"a":1.5})");
  BSONObject loaded;
  EXPECT_TRUE(orvix::loadJSON(target, &loaded).isOk() && loaded.getDouble("a", 0) == 1.5);
  EXPECT_EQ(fromJson(R"({"a":1.5})").toJSON(), R"({ "a" : 1.5 })");
  EXPECT_EQ(loaded.toStream(nullptr, true), "{ 1,500000 }") << "the host's own locale is left as it was";
  std::setlocale(LC_ALL, "C");
  unsetenv("LOCPATH");
}

}  // namespace
