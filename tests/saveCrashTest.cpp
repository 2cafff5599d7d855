// A save that ends at each of its system calls in turn, as in a crash, and what is found afterwards.

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "document/document.h"
#include "tests/world/host.h"
#include "tests/world/systemCalls.h"

using orvix::BSONObject;
using orvix::Status;
using world::Cut;
using world::fromJson;

namespace {

struct Format {
  const char* name;
  Status (*save)(const std::string&, const BSONObject&);
  Status (*load)(const std::string&, BSONObject*);
  std::string (*content)(const BSONObject&);
};

std::string jsonOf(const BSONObject& document) {
  return document.toJSON();
}

std::string bytesOf(const BSONObject& document) {
  return {reinterpret_cast<const char*>(document.data()), document.dataSize()};
}

const Format kFormats[] = {{"JSON", orvix::saveJSON, orvix::loadJSON, jsonOf},
                           {"BSON", orvix::saveBSON, orvix::loadBSON, bytesOf}};

// Saves in a process of its own. The first letter of the call that it was cut at, or 0 when it came to its end.
char saveUntilCut(const Format& format, const std::string& target, const BSONObject& document, Cut cut, int n) {
  const pid_t child = fork();
  if (child == 0) {
    world::armCut(cut, n);
    _exit(format.save(target, document) ? 0 : 1);
  }
  int status = 0;
  EXPECT_TRUE(waitpid(child, &status, 0) == child && WIFEXITED(status));
  EXPECT_NE(WEXITSTATUS(status), 1) << "the save failed";
  return static_cast<char>(WEXITSTATUS(status));
}

void expectHeld(const Format& format, const std::string& target, const BSONObject& document) {
  BSONObject loaded;
  EXPECT_EQ(format.load(target, &loaded).toString(), "OK");
  EXPECT_EQ(loaded, document);
  EXPECT_EQ(world::readText(target), format.content(document));
}

// The one file beside the target, a save's temporary one; "" without one.
std::string leftOver(const world::TemporaryFolder& folder, std::time_t earliest) {
  const std::vector<std::string> names = folder.names();
  EXPECT_TRUE((names.size() == 1 || names.size() == 2) && names.back() == "target") << testing::PrintToString(names);
  if (names.size() != 2) {
    return "";
  }
  const long second = std::atol(names[0].c_str());
  EXPECT_TRUE(second >= earliest && second <= std::time(nullptr) && names[0] == std::to_string(second) + ".json");
  return names[0];
}

// Saves twice over what a crash left: beside a temporary file of long ago, and in the second of its own.
void expectLaterSaves(const Format& format, const world::TemporaryFolder& folder, const BSONObject& document) {
  for (const std::time_t second : {std::time_t{1}, std::time(nullptr)}) {
    if (const std::string temporary = leftOver(folder, 1); !temporary.empty()) {
      std::rename(folder.file(temporary).c_str(), folder.file(std::to_string(second) + ".json").c_str());
    }
    EXPECT_EQ(format.save(folder.file("target"), document).toString(), "OK");
    expectHeld(format, folder.file("target"), document);
  }
  leftOver(folder, 1);
}

// Cuts a save at its n-th call, after those `walked`, and answers as saveUntilCut does.
char crash(const Format& format, Cut cut, int n, const std::string& walked) {
  const BSONObject oldDocument = fromJson(R"({"is":"old"})");
  const BSONObject newDocument = fromJson(R"({"is":"new","and":"longer"})");
  const world::TemporaryFolder folder;
  const std::string target = folder.file("target");
  EXPECT_TRUE(format.save(target, oldDocument));
  const std::time_t from = std::time(nullptr);
  const char call = saveUntilCut(format, target, newDocument, cut, n);
  const bool isDone = cut == Cut::kAfter || cut == Cut::kPowerLoss;
  const bool isMoved = call == 0 || walked.find('r') != std::string::npos || (isDone && call == 'r');
  expectHeld(format, target, isMoved ? newDocument : oldDocument);
  EXPECT_EQ(leftOver(folder, from).empty(), isMoved || (!isDone && walked.empty()));
  expectLaterSaves(format, folder, oldDocument);
  return call;
}

TEST(SaveCrash, TargetHoldsOneContentWhereverTheSaveEnds) {
  for (const Format& format : kFormats) {
    for (const Cut cut : {Cut::kBefore, Cut::kHalfway, Cut::kAfter, Cut::kPowerLoss}) {
      std::string walked;
      char call = 0;
      do {
        SCOPED_TRACE(std::string(format.name) + " cut " + std::to_string(static_cast<int>(cut)) + " after " + walked);
        call = crash(format, cut, static_cast<int>(walked.size()) + 1, walked);
        walked += call;
      } while (call != 0 && !HasFailure());
      // Temporary file and directory opened; written, secured, closed; renamed; directory secured and closed.
      EXPECT_EQ(walked.c_str(), std::string("oowfcrfc")) << format.name;
    }
  }
}

}  // namespace
