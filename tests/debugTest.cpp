// The debug report library: routes, hooks, prompt, and its text helpers.

#include <gtest/gtest.h>
#include <unistd.h>

#include <climits>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <limits>
#include <sstream>
#include <string>
#include <tuple>
#include <utility>

#include "debug/xdbg.h"

namespace {

constexpr char kFallback[] = "XDbgReport: string too long or io error\r\n";

std::string seen;  // "[EXTRA: ]LEVEL ROUTE SIZE TEXT;" of each hooked report
int hookAnswer = 0;

int hook(int level, int route, const char* text, unsigned bufferSize) {
  std::ostringstream line;
  line << level << ' ' << route << ' ' << bufferSize << ' ' << text << ';';
  seen += line.str();
  return hookAnswer;
}

int extendedHook(int level, int route, const char* text, unsigned bufferSize, int extra) {
  seen += std::to_string(extra) + ": ";
  return hook(level, route, text, bufferSize);
}

// Runs in a folder of its own, which receives "xdebug.txt", and puts the settings back.
class DebugTest : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_NE(mkdtemp(folder.data()), nullptr);
    std::filesystem::current_path(folder);
    seen.clear();
    hookAnswer = 0;
  }

  void TearDown() override {
    XDbgSetOutputs(0, nullptr);
    XDbgSetRoute(kXDbgAssertion, kXDbgToPrompt);
    XDbgSetStream(kXDbgAssertion, nullptr);
    XDbgSetReportHook(nullptr);
    XDbgSetReportHookEx(nullptr);
    std::filesystem::current_path(home);
    std::filesystem::remove_all(folder);
  }

  static std::string contentOf(const char* name) {
    std::ostringstream text;
    text << std::ifstream(name, std::ios::binary).rdbuf();
    return text.str();
  }

  const std::filesystem::path home = std::filesystem::current_path();
  std::string folder = std::filesystem::temp_directory_path() / "xdbg-test-XXXXXX";
};

// What standard input holds from now on; for child processes.
void type(const char* text) {
  int ends[2];
  if (pipe(ends) != 0 || write(ends[1], text, std::strlen(text)) < 0) {
    _exit(99);
  }
  close(ends[1]);
  dup2(ends[0], STDIN_FILENO);
}

std::string promptOf(const std::string& level, const std::string& message) {
  return "*** Tandor Debug Library ***\n\nDebug " + level + "!\n\nFile: \nLine: <line unknown>\n\n" + message +
         "\n\n\n\n<Abort> <Retry> <Ignore> ? ****************************\n";
}

int reportAt(unsigned level, int route, const char* file, int line, const char* format, ...) {
  va_list args;
  va_start(args, format);
  const int answer = XDbgReport(level, route, file, line, format, args, 0);
  va_end(args);
  return answer;
}

}  // namespace

TEST_F(DebugTest, AtLoadOnlyAssertionsAreRoutedAndThosePrompt) {
  XDbgSetReportHook(hook);
  for (unsigned level = 0; level < 3; ++level) {
    EXPECT_EQ(XDbgPrint(level, kXDbgToFile, "an override cannot switch it on"), 0);
    EXPECT_EQ(XDbgSetStream(level, kXDbgStreamQuery), nullptr);
  }
  EXPECT_EQ(XDbgInfo("i") + XDbgWarning("w") + XDbgError("e"), 0);
  EXPECT_TRUE(seen.empty() && !std::filesystem::exists("xdebug.txt"));
  EXPECT_EQ(XDbgSetRoute(kXDbgAssertion, -1), kXDbgToPrompt);
}

TEST_F(DebugTest, PromptShowsItsTextAndActsOnTheAnswer) {
  const std::tuple<unsigned, const char*, const char*, int> rows[] = {
      {3, "Assertion Failed", "a\n", 3}, {3, "Assertion Failed", "A", 3}, {2, "Error", "r\n", 11},
      {1, "Warning", "R", 11},           {0, "Information", "\n", 10},    {3, "Assertion Failed", "", 10}};
  for (const auto& [level, name, typed, exitStatus] : rows) {
    const auto report = [level = level, typed = typed] {
      type(typed);
      XDbgSetRoute(level, kXDbgToPrompt);
      std::exit(10 + reportAt(level, -1, "dir/file.cpp", 12, "value %d", 7));
    };
    EXPECT_EXIT(report(), testing::ExitedWithCode(exitStatus), testing::Eq(promptOf(name, "value 7"))) << typed;
  }
}

TEST_F(DebugTest, RoutesDeliverInOrderAroundThePrompt) {
  const auto reportEverywhere = [](const char* typed, FILE* stream) {
    type(typed);
    XDbgSetRoute(kXDbgError, kXDbgToFile | kXDbgToStream | kXDbgToPrompt | kXDbgToFileSecond | kXDbgToFileThird);
    XDbgSetStream(kXDbgError, stream);
    std::exit(XDbgError("x"));
  };
  EXPECT_EXIT(reportEverywhere("a", std::fopen("stream.txt", "w")), testing::ExitedWithCode(3),
              testing::Eq(promptOf("Error", "x")));
  EXPECT_EQ(contentOf("xdebug.txt"), "x") << "8 and 16 come after the prompt";
  EXPECT_EQ(contentOf("stream.txt"), "x");
  EXPECT_EXIT(reportEverywhere("i", kXDbgStreamFile), testing::ExitedWithCode(0), "");
  EXPECT_EQ(contentOf("xdebug.txt"), "xxxxx") << "file, stream as file, 8 and 16, appended";
}

TEST_F(DebugTest, OverrideReplacesTheRouteOfALevelThatIsOn) {
  XDbgSetReportHook(hook);
  XDbgSetOutputs(kXDbgToStream, nullptr);
  const char* const noFormat = nullptr;
  EXPECT_EQ(XDbgPrint(1, -1, "%s", "a") + XDbgPrint(2, 24, "%s", "b"), 0);
  EXPECT_EQ(XDbgPrint(2, 0, "no route") + XDbgPrint(4, 2, "no such level") + reportAt(2, 2, nullptr, 0, noFormat), 0);
  EXPECT_EQ(seen, "1 1 1024 a;2 24 1024 b;");
}

TEST_F(DebugTest, SettersAnswerThePreviousValue) {
  EXPECT_EQ(XDbgSetOutputs(8, stderr), 1);
  for (unsigned level = 0; level < 5; ++level) {
    const int route = level < 3 ? 8 : level == 3 ? kXDbgToPrompt : 0;
    FILE* const stream = level < 3 ? stderr : nullptr;
    EXPECT_TRUE(XDbgSetRoute(level, -1) == route && XDbgSetRoute(level, 9) == route) << level;
    EXPECT_EQ(XDbgSetRoute(level, -1), level < 4 ? 9 : 0);
    EXPECT_TRUE(XDbgSetStream(level, kXDbgStreamQuery) == stream && XDbgSetStream(level, kXDbgStreamFile) == stream);
    EXPECT_EQ(XDbgSetStream(level, nullptr), level < 4 ? kXDbgStreamFile : nullptr);
  }
}

TEST_F(DebugTest, HooksSeeReportsFirstAndZeroKeepsThem) {
  XDbgSetOutputs(kXDbgToFile, nullptr);
  EXPECT_EQ(XDbgSetReportHook(hook), nullptr);
  XDbgInfo("%c%d", 'a', 1);
  hookAnswer = 1;
  XDbgWarning("b");
  XDbgSetReportHookEx(extendedHook);
  hookAnswer = 0;
  XDbgError("c");
  XDbgInfoEx("d");
  hookAnswer = -1;  // neither keeps it: both are asked, the extended one first
  XDbgInfo("e");
  EXPECT_EQ(XDbgSetReportHook(nullptr), hook);
  EXPECT_EQ(seen, "0 2 1024 a1;1 2 1024 b;0: 2 2 1024 c;1: 0 2 1024 d;0: 0 2 1024 e;0 2 1024 e;");
  EXPECT_EQ(contentOf("xdebug.txt"), "be");
}

TEST_F(DebugTest, MessageThatDoesNotFitBecomesTheFallback) {
  XDbgSetOutputs(kXDbgToFile, nullptr);
  const std::string longest(1023, 'x');
  XDbgError("%s", longest.c_str());
  EXPECT_EQ(contentOf("xdebug.txt"), longest);
  XDbgError("%s+", longest.c_str());
  XDbgError("%*d", 100000, 1);
  XDbgError("%ls", L"\x1F600");  // not representable in the "C" locale
  EXPECT_EQ(contentOf("xdebug.txt"), longest + kFallback + kFallback + kFallback);
}

TEST_F(DebugTest, HexDumpRowsHoldSixteenBytes) {
  const unsigned char data[] = "\x00\x1F ~\x7F\x80\xFF%dGHIJKLMNOPQ";
  const auto lead = [](const unsigned char* row) {
    char text[40];
    std::snprintf(text, sizeof text, "0 1 1024 %08lx: ", reinterpret_cast<unsigned long>(row));
    return std::string(text);
  };
  const std::string row = lead(data) + "00 1f 20 7e 7f 80 ff 25 64 47 48 49 4a 4b 4c 4d .. ~...%dGHIJKLM\n;";
  const std::string rest = lead(data + 16) + "4e 4f 50 51 " + std::string(36, ' ') + "NOPQ\n;";
  XDbgSetOutputs(kXDbgToStream, nullptr);
  XDbgSetReportHook(hook);
  for (const std::size_t length : {0U, 16U, 20U}) {
    XDbgHexDump(data, length);
  }
  EXPECT_EQ(seen, row + row + rest);
}

TEST_F(DebugTest, DateAndTimeAreLocal) {
  setenv("TZ", "EAST-2", 1);
  tzset();
  char date[40];
  char time[40];
  const std::pair<unsigned, const char*> rows[] = {
      {~3U, "07.03.2005 09:05:04"}, {1, "07.03.05 09:05:04"}, {2, "07.03.2005 09:05"}};
  for (const auto& [flags, text] : rows) {
    XDbgDateTime(1110179104, date, time, flags);  // 2005-03-07 07:05:04 UTC
    EXPECT_EQ(std::string(date) + " " + time, text);
  }
  XDbgDateTime(0, nullptr, nullptr, 0);
  if (sizeof(time_t) > 4) {
    XDbgDateTime(std::numeric_limits<time_t>::max(), date, time, 0);
    EXPECT_EQ(std::string(date) + time, "");
  }
}

TEST(DebugTextTest, IntegersInAnyRadix) {
  char buffer[34];
  // clang-format off
  const std::tuple<int, int, const char*> rows[] = {
      {INT_MIN, 10, "-2147483648"}, {-1, 16, "ffffffff"}, {-1, 2, "11111111111111111111111111111111"},
      {35, 36, "z"}, {5, 1, ""}, {5, 37, ""}};
  // clang-format on
  for (const auto& [value, radix, text] : rows) {
    EXPECT_STREQ(XDbgIntToText(value, buffer, radix), text) << value << " in " << radix;
  }
  EXPECT_STREQ(XDbgUIntToText(UINT_MAX, buffer, 10), "4294967295");
}

TEST(DebugTextTest, TokensSkipRunsAndFieldsCountThem) {
  // Text, delimiter, tokens, fields; each with a bar behind it.
  // clang-format off
  const char* const rows[][4] = {
      {",,a,,b", ",", "a|b|", "||a||b|"}, {"a,b,", ",", "a|b|", "a|b||"}, {"a==b===c", "==", "a|b|=c|", "a|b|=c|"},
      {",,", ",", "", "|||"}, {"a,b", "", "a,b|", "a,b|"}, {"a,b", ";", "a,b|", "a,b|"}, {"", ",", "", ""}};
  // clang-format on
  for (const auto& [text, delim, tokens, fields] : rows) {
    char part[8] = "?";
    std::string joined[2];
    for (int n = 1; n <= XDbgTokenCount(text, delim); ++n) {
      joined[0] += XDbgToken(part, sizeof part, text, delim, n) + std::string("|");
    }
    for (int n = 1; n <= XDbgFieldCount(text, delim); ++n) {
      joined[1] += XDbgField(part, sizeof part, text, delim, n) + std::string("|");
    }
    EXPECT_EQ(joined[0], tokens) << text;
    EXPECT_EQ(joined[1], fields) << text;
    for (const int n : {-1, 0, 9}) {
      EXPECT_STREQ(XDbgToken(part, sizeof part, text, delim, n), *delim == '\0' ? text : "");
      EXPECT_STREQ(XDbgField(part, sizeof part, text, delim, n), "");
    }
  }
}

TEST(DebugTextTest, CopiesStayWithinTheirBound) {
  char dest[8] = "old";
  EXPECT_STREQ(XDbgCopy(dest, 0, "new"), "old");
  EXPECT_STREQ(XDbgCopy(dest, 3, "new"), "ne");
  EXPECT_STREQ(XDbgCopy(dest, 4, "new"), "new");
  EXPECT_STREQ(XDbgCopy(dest, 1, "new"), "");
  const std::tuple<int, const char*, const char*, const char*> rows[] = {
      {8, "ab->c", "->", "ab"}, {8, "ab-c", "->", "ab-c"}, {2, "ab->c", "->", "a"}, {8, "ab", "", ""}};
  for (const auto& [size, text, delim, copied] : rows) {
    EXPECT_STREQ(XDbgCopyUntil(dest, size, text, delim), copied) << text;
  }
  EXPECT_STREQ(XDbgToken(dest, 3, ",abc", ",", 1), "ab");
  EXPECT_STREQ(XDbgField(dest, 3, ",abc", ",", 2), "ab");
}

TEST(DebugTextTest, BaseNamePrefersBackslashThenSlashThenColon) {
  const char* const rows[][2] = {{"a/b\\c/d:e", "c/d:e"}, {"c:a/b:c", "b:c"}, {"c:name", "name"},
                                 {"name", "name"},        {"dir/", ""},       {"", ""}};
  for (const auto& row : rows) {
    EXPECT_STREQ(XDbgBaseName(row[0]), row[1]) << row[0];
  }
  EXPECT_STREQ(XDbgBaseName(nullptr), "");
}
