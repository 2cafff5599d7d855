#include "gateway/worker/protocol.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <type_traits>
#include <utility>

#include "document/document.h"
#include "plugin/names.h"

namespace orvix::gateway {
namespace {

// Below what any receiver hears: a number that is lower is a mistake.
constexpr int kLowestDbm = -150;
constexpr int kHighestPercent = 100;

struct Range {
  int first;
  int last;
};

constexpr Range rangeOf(ModemState /*type*/) {
  return {0, static_cast<int>(ModemState::kReady)};
}
constexpr Range rangeOf(hostkit::Verdict /*type*/) {
  return {0, static_cast<int>(hostkit::Verdict::kUncertain)};
}
constexpr Range rangeOf(hostkit::ErrorClass /*type*/) {
  return {0, static_cast<int>(hostkit::ErrorClass::kDoubt)};
}
constexpr Range rangeOf(XplTraceKind /*type*/) {
  return {kXplTraceReceived, kXplTraceLinesSet};
}

// A number from the other end becomes an enumerator only where there is one: all else would be undefined behaviour.
template <typename Enum>
Enum enumOf(int number) {
  constexpr Range kRange = rangeOf(Enum{});
  if (number < kRange.first || number > kRange.last) {
    throw ProtocolError("a number has no meaning");
  }
  return static_cast<Enum>(number);
}

// Appends each field to a document.
class Writer {
 public:
  void field(const char* key, const std::string& text) { document.appendString(key, text); }
  void field(const char* key, const bool& isSet) { document.appendBool(key, isSet); }
  void field(const char* key, const int& number) { document.appendInt32(key, number); }
  void field(const char* key, const std::int64_t& number) { document.appendInt64(key, number); }
  template <typename Enum, typename = std::enable_if_t<std::is_enum_v<Enum>>>
  void field(const char* key, const Enum& value) {
    document.appendInt32(key, static_cast<int>(value));
  }
  template <typename Value>
  void field(const char* key, const std::optional<Value>& value) {
    if (value) {
      field(key, *value);
    } else {
      // A null, so that every field is there in every document.
      document.appendString(key, nullptr);
    }
  }
  void field(const char* key, const std::map<int, hostkit::ErrorClass>& codes) {
    BSONBuilder list;
    document.appendDocumentBegin(key, &list);
    for (const auto& [code, errorClass] : codes) {
      list.appendInt32(std::to_string(code), static_cast<int>(errorClass));
    }
    document.appendDocumentEnd(&list);
  }
  void bytes(const char* key, const std::string& data) {
    document.appendBinary(key, BSON_SUBTYPE_BINARY, reinterpret_cast<const std::uint8_t*>(data.data()),
                          static_cast<std::uint32_t>(data.size()));
  }
  std::string text() const {
    const BSONObject object = document.getObject(false);
    return {reinterpret_cast<const char*>(object.data()), object.readable()->len};
  }

 private:
  BSONBuilder document;
};

// Looks each field up. One that is not there stays as it is, which shows when the message is written again.
class Reader {
 public:
  explicit Reader(const std::string& body) {
    const auto* const bytes = reinterpret_cast<const std::uint8_t*>(body.data());
    if (!document.fromData(bytes, static_cast<std::uint32_t>(body.size())).isOk()) {
      throw ProtocolError("a frame holds no document");
    }
    object = document.getObject(false);
  }

  // Texts go on into JSON and logs, which want UTF-8; only traffic is bytes.
  void field(const char* key, std::string& text) {
    text = object.getString(key, "");
    if (!bson_utf8_validate(text.data(), text.size(), false)) {
      throw ProtocolError("a text is not UTF-8");
    }
  }
  void field(const char* key, bool& isSet) { isSet = object.getBool(key, isSet); }
  void field(const char* key, int& number) { number = object.getInt32(key, number); }
  void field(const char* key, std::int64_t& number) { number = object.getInt64(key, number); }
  template <typename Enum, typename = std::enable_if_t<std::is_enum_v<Enum>>>
  void field(const char* key, Enum& value) {
    value = enumOf<Enum>(object.getInt32(key, static_cast<int>(value)));
  }
  template <typename Value>
  void field(const char* key, std::optional<Value>& value) {
    if (object.get(key).type() == BSON_TYPE_INT32) {
      field(key, value.emplace());
    }
  }
  void field(const char* key, std::map<int, hostkit::ErrorClass>& codes) {
    const BSONObject list = object.getObject(key, false);
    for (const BSONPair& pair : list) {
      codes[static_cast<int>(std::strtol(pair.keyText(), nullptr, 10))] = enumOf<hostkit::ErrorClass>(pair.getInt32());
    }
  }
  void bytes(const char* key, std::string& data) {
    std::uint32_t length = 0;
    const std::uint8_t* const found = object.getBinary(key, nullptr, &length);
    data.assign(reinterpret_cast<const char*>(found), length);
  }

 private:
  BSONBuilder document;
  BSONObject object;
};

// The fields of each message, for both directions.

template <typename Fields>
void describe(Fields& fields, StartOrder& m) {
  fields.field("modem", m.modem);
  fields.field("plugin", m.plugin);
  fields.field("configFile", m.configFile);
  fields.field("reportSeconds", m.reportSeconds);
  fields.field("lateSeconds", m.lateSeconds);
  fields.field("okIsSent", m.okIsSent);
  fields.field("codes", m.codes);
  fields.field("escapeFirst", m.escapeFirst);
  fields.field("wasLineLost", m.wasLineLost);
  fields.field("verbosity", m.verbosity);
}

template <typename Fields>
void describe(Fields& fields, AttemptOrder& m) {
  fields.field("id", m.id);
  fields.field("number", m.number);
  fields.field("to", m.to);
  fields.field("text", m.text);
}

template <typename Fields>
void describe(Fields& fields, StopOrder& m) {
  fields.field("listenSeconds", m.listenSeconds);
}

template <typename Fields>
void describe(Fields& fields, StateNews& m) {
  fields.field("state", m.state);
  fields.field("reason", m.reason);
}

template <typename Fields>
void describe(Fields& fields, ModemReport& m) {
  fields.field("dBm", m.dBm);
  fields.field("percent", m.percent);
  fields.field("registration", m.registration);
}

template <typename Fields>
void describe(Fields& fields, DoingNews& m) {
  fields.field("doing", m.doing);
  fields.field("isCall", m.isCall);
}

template <typename Fields>
void describe(Fields& fields, TrafficNews& m) {
  fields.field("us", m.us);
  fields.field("kind", m.kind);
  fields.bytes("bytes", m.bytes);
}

template <typename Fields>
void describe(Fields& fields, EndNews& m) {
  fields.field("verdict", m.result.verdict);
  fields.field("reference", m.result.reference);
  fields.field("code", m.result.code);
  fields.field("errorClass", m.result.errorClass);
  fields.field("hasAnswered", m.result.hasAnswered);
  fields.field("reason", m.result.reason);
}

// A message whose type says it all.
template <typename Fields, typename Message, typename = std::enable_if_t<std::is_empty_v<Message>>>
void describe(Fields& /*fields*/, Message& /*m*/) {
}

// What the types alone do not say.
template <typename Message>
void check(const Message& /*m*/) {
}

void check(const ModemReport& m) {
  const bool isKnown = std::find(std::begin(names::kRegistrationWords), std::end(names::kRegistrationWords),
                                 m.registration) != std::end(names::kRegistrationWords);
  if (!isKnown || m.dBm.value_or(0) < kLowestDbm || m.dBm.value_or(0) > 0 || m.percent.value_or(0) < 0 ||
      m.percent.value_or(0) > kHighestPercent) {
    throw ProtocolError("a report is out of range");
  }
}

// The difference of two times then has room.
void check(const TrafficNews& m) {
  if (m.us < 0) {
    throw ProtocolError("a time is out of range");
  }
}

template <typename Variant>
Frame frameOf(const Variant& message) {
  Writer writer;
  // A copy, for describe() takes what a Reader may change.
  std::visit([&](auto copy) { describe(writer, copy); }, message);
  return {static_cast<std::uint8_t>(message.index()), writer.text()};
}

// The message of that place in the variant, with its defaults.
template <typename Variant, std::size_t kType = 0>
Variant emptyOf(std::size_t type) {
  if constexpr (kType < std::variant_size_v<Variant>) {
    return type == kType ? Variant(std::in_place_index<kType>) : emptyOf<Variant, kType + 1>(type);
  } else {
    throw ProtocolError("a frame is of an unknown type");
  }
}

template <typename Variant>
Variant decoded(const Frame& frame) {
  Variant message = emptyOf<Variant>(frame.type);
  Reader reader(frame.body);
  std::visit(
      [&](auto& m) {
        describe(reader, m);
        check(m);
      },
      message);
  // Written again it must be the same, byte for byte: so no field is missing, left over or of another type, and no rule
  // has to be written twice.
  if (frameOf(message).body != frame.body) {
    throw ProtocolError("a frame's fields are not those of its type");
  }
  return message;
}

}  // namespace

std::string encoded(const ToWorker& message) {
  return bytesOf(frameOf(message));
}

std::string encoded(const FromWorker& message) {
  return bytesOf(frameOf(message));
}

ToWorker toWorkerOf(const Frame& frame) {
  return decoded<ToWorker>(frame);
}

FromWorker fromWorkerOf(const Frame& frame) {
  return decoded<FromWorker>(frame);
}

}  // namespace orvix::gateway
