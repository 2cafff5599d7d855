// How the time of a work grows with the size of its input.

#include "bench/row.h"
#include "document/document.h"
#include "tests/world/host.h"

using benchmark::DoNotOptimize;
using orvix::BSONObject;

namespace {

constexpr std::size_t kElementSize = 38;  // of a wide document, in bytes

std::string keyOf(std::size_t number) {
  return "key" + std::to_string(1000000 + number);
}

BSONObject wideDocument(std::size_t elements) {
  orvix::BSONBuilder builder;
  for (std::size_t i = 0; i < elements; ++i) {
    builder.appendString(keyOf(i), "a text of some length");
  }
  return builder.getObject(false);
}

// One key in the other.
BSONObject deepDocument(std::size_t depth) {
  std::string text = "1";
  for (std::size_t i = 0; i < depth; ++i) {
    text.insert(0, "{\"a\":").append("}");
  }
  return world::fromJson(text);
}

// `prepare` makes of a size the work to measure.
template <typename Prepare>
void addCurve(const std::string& name, std::initializer_list<std::int64_t> sizes, const Prepare& prepare) {
  auto* const added = benchmark::RegisterBenchmark(("growth/" + name).c_str(), [=](benchmark::State& state) {
    const auto work = prepare(static_cast<std::size_t>(state.range(0)));
    for ([[maybe_unused]] auto step : state) {
      work();
    }
  });
  for (const std::int64_t size : sizes) {
    added->Arg(size);
  }
}

using Load = orvix::Status (*)(const std::string& path, BSONObject* target);
using Save = orvix::Status (*)(const std::string& path, const BSONObject& document);

void addFileCurves(const std::string& kind, Load load, Save save) {
  static const world::TemporaryFolder folder;
  const std::string path = folder.file(kind);
  const std::initializer_list<std::int64_t> sizes = {1 << 10, 1 << 14, 1 << 18, 1 << 22};
  addCurve("load " + kind + ", bytes", sizes, [=](std::size_t size) {
    save(path, wideDocument(size / kElementSize));
    return [=] {
      BSONObject document;
      bench::require(load(path, &document).isOk(), "not loaded");
    };
  });
  addCurve("save " + kind + ", bytes", sizes, [=](std::size_t size) {
    return
        [=, document = wideDocument(size / kElementSize)] { bench::require(save(path, document).isOk(), "not saved"); };
  });
}

}  // namespace

void bench::addGrowth() {
  addCurve("look up, keys deep", {1, 4, 16, 64}, [](std::size_t depth) {
    std::string path = "a";
    for (std::size_t i = 1; i < depth; ++i) {
      path += ".a";
    }
    return [=, document = deepDocument(depth)] { require(document.getInt32(path, 0) == 1, "not found"); };
  });
  addCurve("look up, keys wide", {1, 10, 100, 1000}, [](std::size_t width) {
    return [last = keyOf(width - 1), document = wideDocument(width)] { require(document.has(last), "not found"); };
  });
  addCurve("render, elements", {1, 10, 100, 1000, 10000}, [](std::size_t elements) {
    return [document = wideDocument(elements)] { DoNotOptimize(document.toStream(&document, true)); };
  });
  addFileCurves("BSON", orvix::loadBSON, orvix::saveBSON);
  addFileCurves("JSON", orvix::loadJSON, orvix::saveJSON);
}
