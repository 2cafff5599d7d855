// Rows of documents: reading, building, comparing, copying and rendering, compared with libbson itself.

#include "document/document.h"

#include <cstring>

#include "bench/row.h"
#include "common/text.h"
#include "device/gsmDevice.h"

using bench::addRow;
using bench::require;
using benchmark::DoNotOptimize;
using orvix::BSONObject;
using orvix::BSONValue;
using orvix::gsm::GsmDataReport;

namespace {

// What a host is told about when it changes.
const std::string kWatched[] = {"GSMModem.report.signalQuality.percent", "GSMModem.report.signalQuality.valid",
                                "GSMModem.report.NetworkRegistration.status",
                                "GSMModem.report.NetworkRegistration.valid"};

const std::pair<std::string, bson_type_t> kConfigurationKeys[] = {{"id", BSON_TYPE_UTF8},
                                                                  {"name", BSON_TYPE_UTF8},
                                                                  {"config", BSON_TYPE_DOCUMENT},
                                                                  {"config.mode", BSON_TYPE_UTF8},
                                                                  {"config.comstr", BSON_TYPE_UTF8},
                                                                  {"config.ip", BSON_TYPE_DOCUMENT},
                                                                  {"config.ip.address", BSON_TYPE_UTF8},
                                                                  {"config.ip.port", BSON_TYPE_INT32}};

BSONObject reportDocument() {
  BSONObject document;
  GsmDataReport({20, 1}).GetDocument(&document);
  return document;
}

const std::uint32_t kReportSize = reportDocument().dataSize();

bool findRaw(const BSONObject& document, const std::string& path, bson_iter_t* found) {
  bson_iter_t iter;
  return bson_iter_init(&iter, document.readable()) && bson_iter_find_descendant(&iter, path.c_str(), found);
}

// The four children are the caller's.
void buildReport(bson_t* root, bson_t* modem, bson_t* report, bson_t* signal, bson_t* network) {
  const std::string time = orvix::localTimeText(std::time(nullptr));
  bson_append_document_begin(root, "GSMModem", 8, modem);
  bson_append_document_begin(modem, "report", 6, report);
  bson_append_utf8(report, "time", 4, time.c_str(), static_cast<int>(time.size()));
  bson_append_document_begin(report, "signalQuality", 13, signal);
  bson_append_int32(signal, "percent", 7, 63);
  bson_append_int32(signal, "dBm", 3, -73);
  bson_append_bool(signal, "valid", 5, true);
  bson_append_document_end(report, signal);
  bson_append_document_begin(report, "NetworkRegistration", 19, network);
  bson_append_utf8(network, "status", 6, "home", 4);
  bson_append_bool(network, "valid", 5, true);
  bson_append_document_end(report, network);
  bson_append_document_end(modem, report);
  bson_append_document_end(root, modem);
}

void buildOnStack() {
  bson_t modem, report, signal, network;
  bson_t* const root = bson_new();
  buildReport(root, &modem, &report, &signal, &network);
  require(root->len == kReportSize, "another report");
  bson_destroy(root);
}

void buildOnHeap() {
  bson_t* documents[5];
  for (bson_t*& document : documents) {
    document = bson_new();
  }
  buildReport(documents[0], documents[1], documents[2], documents[3], documents[4]);
  bson_destroy(documents[0]);
  for (int child = 1; child < 5; ++child) {
    bson_free(documents[child]);  // their bytes were the root's
  }
}

void compareRaw(const BSONObject& a, const BSONObject& b) {
  for (const std::string& path : kWatched) {
    bson_iter_t inA, inB;
    require(findRaw(a, path, &inA) && findRaw(b, path, &inB), "not found");
    if (BSON_ITER_HOLDS_UTF8(&inA)) {
      DoNotOptimize(std::strcmp(bson_iter_utf8(&inA, nullptr), bson_iter_utf8(&inB, nullptr)));
    } else if (BSON_ITER_HOLDS_INT32(&inA)) {
      DoNotOptimize(bson_iter_int32(&inA) == bson_iter_int32(&inB));
    } else {
      DoNotOptimize(bson_iter_bool(&inA) == bson_iter_bool(&inB));
    }
  }
}

void readConfigurationRaw(const BSONObject& document) {
  for (const auto& [path, type] : kConfigurationKeys) {
    bson_iter_t found;
    require(findRaw(document, path, &found) && bson_iter_type(&found) == type, "not found");
    DoNotOptimize(BSON_ITER_HOLDS_UTF8(&found) ? bson_iter_utf8(&found, nullptr) : "");
    DoNotOptimize(BSON_ITER_HOLDS_INT32(&found) ? bson_iter_int32(&found) : 0);
  }
}

void renderRaw(bson_iter_t* level, std::string* text) {
  *text += "{ ";
  for (bool isFirst = true; bson_iter_next(level); isFirst = false) {
    text->append(isFirst ? "\"" : ", \"").append(bson_iter_key(level)).append("\": ");
    bson_iter_t inner;
    if (BSON_ITER_HOLDS_DOCUMENT(level) && bson_iter_recurse(level, &inner)) {
      renderRaw(&inner, text);
    } else if (BSON_ITER_HOLDS_UTF8(level)) {
      text->append("\"").append(bson_iter_utf8(level, nullptr)).append("\"");
    } else if (BSON_ITER_HOLDS_BOOL(level)) {
      text->append(bson_iter_bool(level) ? "true" : "false");
    } else {
      text->append(std::to_string(bson_iter_int32(level)));
    }
  }
  *text += " }";
}

void addReads(const BSONObject& report, const BSONObject& configuration) {
  static const BSONObject other = report.copy();
  static orvix::gsm::GsmDevice device;
  addRow(
      "look up a path of four keys", {1.1, 0}, [=] { DoNotOptimize(report.getInt32(kWatched[0], 0)); },
      [=] {
        bson_iter_t found;
        const bool isThere = findRaw(report, kWatched[0], &found) && BSON_ITER_HOLDS_INT32(&found);
        DoNotOptimize(isThere ? bson_iter_int32(&found) : 0);
      });
  addRow(
      "compare four values of two reports", {1.1, 0},
      [=] {
        for (const std::string& path : kWatched) {
          DoNotOptimize(orvix::compareValues(report.get(path), other.get(path)));
        }
      },
      [=] { compareRaw(report, other); });
  addRow(
      "read eight configuration keys", {1.1, 0},
      [=] {
        for (const auto& [path, type] : kConfigurationKeys) {
          const BSONValue value = configuration.get(path);
          require(value.type() == type, "not found");
          DoNotOptimize(value.getString());
          DoNotOptimize(value.getInt32());
        }
      },
      [=] { readConfigurationRaw(configuration); });
  addRow(
      "check a good configuration", {2.2}, [=] { require(device.checkConfig(configuration).isOk(), "refused"); },
      [=] { readConfigurationRaw(configuration); });
}

void addCopies(const BSONObject& report) {
  const std::shared_ptr<bson_t> shared(bson_new(), bson_destroy);
  addRow(
      "copy a handle", {1.3, 0},
      [=] {
        BSONObject copy(report);
        DoNotOptimize(copy);
      },
      [=] {
        std::shared_ptr<bson_t> copy(shared);
        DoNotOptimize(copy);
      });
  addRow(
      "deep copy of a report", {1.4, 3}, [=] { DoNotOptimize(report.copy()); },
      [=] {
        bson_t* const copy = bson_copy(report.readable());
        DoNotOptimize(copy);
        bson_destroy(copy);
      });
}

void addTexts(const BSONObject& report) {
  const std::string rendered = report.toStream(&report, true);
  const std::string json = report.toJSON();
  addRow(
      "render a report", {1.2, 1}, [=] { DoNotOptimize(report.toStream(&report, true)); },
      [=] {
        std::string text;
        bson_iter_t root;
        bson_iter_init(&root, report.readable());
        renderRaw(&root, &text);
        require(text == rendered, "another text");
      });
  addRow(
      "JSON out", {1.05}, [=] { DoNotOptimize(report.toJSON()); },
      [=] {
        char* const text = bson_as_json(report.readable(), nullptr);
        DoNotOptimize(text);
        bson_free(text);
      });
  addRow(
      "JSON in", {1.05},
      [=] {
        orvix::BSONBuilder builder;
        require(builder.fromJSON(json.c_str()).isOk(), "not read");
      },
      [=] {
        bson_error_t error{};
        bson_t* const document = bson_new_from_json(reinterpret_cast<const uint8_t*>(json.c_str()), -1, &error);
        require(document != nullptr, "not read");
        bson_destroy(document);
      });
}

}  // namespace

void bench::addDocumentRows() {
  const auto build = [] { DoNotOptimize(GsmDataReport({20, 1})); };
  addRow("build a data report", {1.5, 14}, build, buildOnStack);
  addRow("the same, limit on the heap", {}, build, buildOnHeap);
  const BSONObject report = reportDocument();
  BSONObject configuration;
  orvix::gsm::GsmDevice().createDefaultConfig(&configuration);
  addReads(report, configuration);
  addCopies(report);
  addTexts(report);
}

void bench::addAll() {
  addDocumentRows();
  addStatusRows();
  addSerialRows();
  addGrowth();
}
