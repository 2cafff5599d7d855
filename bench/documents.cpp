// Documents beside raw libbson: NAME/product and NAME/limit do the same work.

#include <benchmark/benchmark.h>

#include <cstring>
#include <string>

#include "app/common/document/document.h"
#include "app/common/text.h"
#include "app/device/gsmModem/adapter/gsmDataReport.h"
#include "app/device/gsmModem/adapter/gsmDevice.h"
#include "bench/allocations.h"

using bench::measure;
using orvix::BSONObject;
using orvix::gsm::GsmDataReport;

namespace {

const std::string kPercent = "GSMModem.report.signalQuality.percent";

BSONObject reportDocument(int csq) {
  GsmDataReport report({csq, 1});
  BSONObject document;
  report.GetDocument(&document);
  return document;
}

BSONObject configuration() {
  orvix::gsm::GsmDevice device;
  BSONObject document;
  device.createDefaultConfig(&document);
  return document;
}

// The limit of GsmDataReport: the same elements, children on the stack.
void buildReportRaw(bson_t* root) {
  bson_t modem, report, part;
  const std::string time = orvix::localTimeText(std::time(nullptr));
  bson_append_document_begin(root, "GSMModem", 8, &modem);
  bson_append_document_begin(&modem, "report", 6, &report);
  bson_append_utf8(&report, "time", 4, time.c_str(), static_cast<int>(time.size()));
  bson_append_document_begin(&report, "signalQuality", 13, &part);
  bson_append_int32(&part, "percent", 7, 63);
  bson_append_int32(&part, "dBm", 3, -73);
  bson_append_bool(&part, "valid", 5, true);
  bson_append_document_end(&report, &part);
  bson_append_document_begin(&report, "NetworkRegistration", 19, &part);
  bson_append_utf8(&part, "status", 6, "home", 4);
  bson_append_bool(&part, "valid", 5, true);
  bson_append_document_end(&report, &part);
  bson_append_document_end(&modem, &report);
  bson_append_document_end(root, &modem);
}

void buildReport(benchmark::State& state) {
  measure(state, [] { benchmark::DoNotOptimize(GsmDataReport({20, 1})); });
}
BENCHMARK(buildReport)->Name("buildReport/product");

void buildReportLimit(benchmark::State& state) {
  measure(state, [] {
    bson_t* const root = bson_new();
    buildReportRaw(root);
    benchmark::DoNotOptimize(root);
    bson_destroy(root);
  });
}
BENCHMARK(buildReportLimit)->Name("buildReport/limit");

void lookUp(benchmark::State& state) {
  const BSONObject document = reportDocument(20);
  measure(state, [&] { benchmark::DoNotOptimize(document.getInt32(kPercent, 0)); });
}
BENCHMARK(lookUp)->Name("lookUp/product");

void lookUpLimit(benchmark::State& state) {
  const BSONObject document = reportDocument(20);
  measure(state, [&] {
    bson_iter_t iter, found;
    const bool isThere = bson_iter_init(&iter, document.readable()) &&
                         bson_iter_find_descendant(&iter, kPercent.c_str(), &found) && BSON_ITER_HOLDS_INT32(&found);
    benchmark::DoNotOptimize(isThere ? bson_iter_int32(&found) : 0);
  });
}
BENCHMARK(lookUpLimit)->Name("lookUp/limit");

void checkConfiguration(benchmark::State& state) {
  orvix::gsm::GsmDevice device;
  const BSONObject document = configuration();
  measure(state, [&] { benchmark::DoNotOptimize(device.checkConfig(document).isOk()); });
}
BENCHMARK(checkConfiguration)->Name("checkConfiguration/product");

void checkConfigurationLimit(benchmark::State& state) {
  const BSONObject document = configuration();
  static constexpr const char* kPaths[] = {
      "id", "name", "config", "config.mode", "config.comstr", "config.ip", "config.ip.address", "config.ip.port"};
  measure(state, [&] {
    for (const char* const path : kPaths) {
      bson_iter_t iter, found;
      benchmark::DoNotOptimize(bson_iter_init(&iter, document.readable()) &&
                               bson_iter_find_descendant(&iter, path, &found) && bson_iter_type(&found) != 0);
    }
  });
}
BENCHMARK(checkConfigurationLimit)->Name("checkConfiguration/limit");

void deepCopy(benchmark::State& state) {
  const BSONObject document = reportDocument(20);
  measure(state, [&] { benchmark::DoNotOptimize(document.copy()); });
}
BENCHMARK(deepCopy)->Name("deepCopy/product");

void deepCopyLimit(benchmark::State& state) {
  const BSONObject document = reportDocument(20);
  measure(state, [&] {
    bson_t* const copy = bson_copy(document.readable());
    benchmark::DoNotOptimize(copy);
    bson_destroy(copy);
  });
}
BENCHMARK(deepCopyLimit)->Name("deepCopy/limit");

void jsonOut(benchmark::State& state) {
  const BSONObject document = reportDocument(20);
  measure(state, [&] { benchmark::DoNotOptimize(document.toJSON()); });
}
BENCHMARK(jsonOut)->Name("jsonOut/product");

void jsonOutLimit(benchmark::State& state) {
  const BSONObject document = reportDocument(20);
  measure(state, [&] {
    char* const text = bson_as_json(document.readable(), nullptr);
    benchmark::DoNotOptimize(text);
    bson_free(text);
  });
}
BENCHMARK(jsonOutLimit)->Name("jsonOut/limit");

}  // namespace
