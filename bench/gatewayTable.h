// The table that gatewayBench prints, and its parts. What fails throws std::runtime_error. One thread.
#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace bench {

void row(const std::string& what, double value);
// `kind` is "at most" or "at least".
void row(const std::string& what, double value, const std::string& kind, double mark);

double timeOf(const std::function<void()>& work);  // ms
double quantile(std::vector<double> values, double share);

// What the doors do without a modem; works in that folder.
void measureDoors(const std::filesystem::path& folder);
// What a modem brings: its messages, reports, memory, and what the service takes while nothing happens.
void measureOnModem(const std::filesystem::path& folder);

}  // namespace bench
