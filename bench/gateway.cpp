// The built gateway as its users meet it, compared with bare SQLite on the same disk. Prints a table in Markdown.

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>

#include "bench/gatewayService.h"
#include "bench/gatewayTable.h"

namespace {

namespace fs = std::filesystem;

void print(const std::string& what, double value, const std::string& mark, const std::string& verdict) {
  const int digits = value < 0.1 ? 4 : value < 10 ? 2 : 0;
  std::printf("| %s | %.*f | %s | %s |\n", what.c_str(), digits, value, mark.c_str(), verdict.c_str());
  std::fflush(stdout);
}

}  // namespace

void bench::row(const std::string& what, double value) {
  print(what, value, "-", "-");
}

void bench::row(const std::string& what, double value, const std::string& kind, double mark) {
  char number[32];
  std::snprintf(number, sizeof number, " %g", mark);
  const bool isMet = kind == "at most" ? value <= mark : value >= mark;
  print(what, value, kind + number, isMet ? "ok" : "missed");
}

double bench::timeOf(const std::function<void()>& work) {
  const double begin = nowMs();
  work();
  return nowMs() - begin;
}

double bench::quantile(std::vector<double> values, double share) {
  std::sort(values.begin(), values.end());
  return values[static_cast<std::size_t>(share * static_cast<double>(values.size() - 1))];
}

int main() {
  std::string folder = (fs::temp_directory_path() / "gatewayBench.XXXXXX").string();
  int status = 0;
  try {
    bench::require(mkdtemp(folder.data()) != nullptr, "no temporary folder");
    std::printf("| what | value | mark | verdict |\n| --- | --- | --- | --- |\n");
    bench::measureDoors(folder);
    bench::measureOnModem(folder);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "gatewayBench: %s\n", error.what());
    status = 2;
  }
  fs::remove_all(folder);
  return status;
}
