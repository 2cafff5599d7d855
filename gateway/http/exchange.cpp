#include "gateway/http/exchange.h"

namespace orvix::gateway {

std::string jsonText(const nlohmann::json& json) {
  // Reasons may quote a modem's bytes.
  return json.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

Response jsonResponse(int status, const nlohmann::json& json) {
  Response response;
  response.status = status;
  response.body = jsonText(json);
  return response;
}

Response refusalResponse(const Refusal& refusal) {
  Response response = jsonResponse(refusal.status, refusalJson(refusal));
  if (refusal.retryAfterSeconds) {
    response.headers.emplace_back("Retry-After", std::to_string(*refusal.retryAfterSeconds));
  }
  return response;
}

Response refusalResponse(int status, const std::string& error, std::optional<std::string> field) {
  // For refusals of the door's own, which are final: no time to come again.
  return refusalResponse(Refusal{status, error, std::move(field), std::nullopt});
}

}  // namespace orvix::gateway
