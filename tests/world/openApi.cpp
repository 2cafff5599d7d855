#include "tests/world/openApi.h"

#include <algorithm>

#include "common/isoTime.h"
#include "common/text.h"
#include "gateway/http/openapi.h"
#include "gateway/http/target.h"

namespace world {
namespace {

using nlohmann::json;

const json& document() {
  static const json parsed = json::parse(orvix::gateway::kOpenApi);
  return parsed;
}

const json& resolved(const json& node) {
  return node.contains("$ref") ? document().at(json::json_pointer(node.at("$ref").get<std::string>().substr(1))) : node;
}

bool isOfType(const json& value, const std::string& type) {
  return (type == "null" && value.is_null()) || (type == "string" && value.is_string()) ||
         (type == "integer" && value.is_number_integer()) || (type == "number" && value.is_number()) ||
         (type == "boolean" && value.is_boolean()) || (type == "object" && value.is_object()) ||
         (type == "array" && value.is_array());
}

std::string faultOf(const json& value, const json& schemaOrReference, const std::string& where);

std::string faultOfObject(const json& value, const json& schema, const std::string& where) {
  for (const json& key : schema.value("required", json::array())) {
    if (!value.contains(key)) {
      return where + " lacks " + key.dump();
    }
  }
  const json properties = schema.value("properties", json::object());
  for (const auto& [key, member] : value.items()) {
    if (!properties.contains(key) && !schema.value("additionalProperties", true)) {
      return where + " has " + key + ", which is not described";
    }
    if (properties.contains(key)) {
      if (std::string fault = faultOf(member, properties[key], where + "." + key); !fault.empty()) {
        return fault;
      }
    }
  }
  return "";
}

std::string faultOf(const json& value, const json& schemaOrReference, const std::string& where) {
  const json& schema = resolved(schemaOrReference);
  if (schema.contains("oneOf")) {
    const auto fits = std::count_if(schema["oneOf"].begin(), schema["oneOf"].end(),
                                    [&](const json& one) { return faultOf(value, one, where).empty(); });
    return fits == 1 ? "" : where + " fits " + std::to_string(fits) + " of oneOf";
  }
  const json types = schema["type"].is_array() ? schema["type"] : json::array({schema["type"]});
  if (std::none_of(types.begin(), types.end(), [&](const json& type) { return isOfType(value, type); })) {
    return where + " is " + value.dump();
  }
  if (schema.contains("enum") && std::count(schema["enum"].begin(), schema["enum"].end(), value) == 0) {
    return where + " is " + value.dump();
  }
  if (value.is_string() && schema.value("format", "") == "date-time" && !orvix::msOfRfc3339(value.get<std::string>())) {
    return where + " is no time";
  }
  for (const json& element : value.is_array() ? value : json::array()) {
    if (std::string fault = faultOf(element, schema.at("items"), where + "[]"); !fault.empty()) {
      return fault;
    }
  }
  return value.is_object() ? faultOfObject(value, schema, where) : "";
}

// The description's entry for a path: "{id}" stands for any part.
const json* entryOf(const std::vector<std::string>& path) {
  for (const auto& [pattern, entry] : document().at("paths").items()) {
    const auto parts = std::get<orvix::gateway::Target>(orvix::gateway::readTarget(pattern)).path;
    const auto stands = [](const std::string& part, const std::string& given) {
      return part == given || (part.rfind('{', 0) == 0 && !given.empty());
    };
    if (std::equal(parts.begin(), parts.end(), path.begin(), path.end(), stands)) {
      return &entry;
    }
  }
  return nullptr;
}

}  // namespace

std::string unforeseen(const orvix::gateway::Request& request, const orvix::gateway::Response& response) {
  const auto target = orvix::gateway::readTarget(request.target);
  const json* const entry = target.index() == 0 ? entryOf(std::get<orvix::gateway::Target>(target).path) : nullptr;
  const std::string method = request.method == "HEAD" ? "get" : orvix::toLower(request.method);
  if (entry == nullptr || !entry->contains(method)) {
    return faultOf(json::parse(response.body, nullptr, false), document()["components"]["schemas"]["Error"], "error");
  }
  const json& responses = entry->at(method).at("responses");
  const std::string status = std::to_string(response.status);
  if (!responses.contains(status)) {
    return "status " + status;
  }
  const auto content = resolved(responses[status]).at("content").items().begin();
  if (response.contentType.rfind(content.key(), 0) != 0) {
    return "content " + response.contentType;
  }
  const bool isJson = content.key() == "application/json";
  return isJson ? faultOf(json::parse(response.body, nullptr, false), content.value().at("schema"), "body") : "";
}

}  // namespace world
