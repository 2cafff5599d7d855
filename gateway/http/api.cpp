#include "gateway/http/api.h"

#include <algorithm>
#include <string_view>

#include "gateway/http/handlers.h"
#include "gateway/http/openapi.h"
#include "gateway/http/target.h"
#include "gateway/page/page.h"

namespace orvix::gateway {
namespace {

struct Route {
  const char* method;
  const char* path;   // "*" stands for any one part
  const char* query;  // the keys that it knows
  Response (*handler)(const Call&);
  bool isOpen = false;  // to everybody
};

Response showPage(const Call& /*call*/) {
  const Page& page = statusPage();
  Response response;
  response.body = page.html;
  response.contentType = "text/html; charset=utf-8";
  // A referrer would give away the page's address, after whose # the token may stand.
  response.headers = {{"Content-Security-Policy", page.contentSecurityPolicy}, {"Referrer-Policy", "no-referrer"}};
  return response;
}

Response showOpenApi(const Call& /*call*/) {
  Response response;
  response.body = kOpenApi;
  return response;
}

Response beginEvents(const Call& /*call*/) {
  Response response;
  response.isEventStream = true;
  response.contentType = "text/event-stream";
  return response;
}

// The whole API; openapi.json describes the same rows, against which the tests hold every answer.
constexpr Route kRoutes[] = {
    {"GET", "/", "", showPage, true},
    {"GET", "/healthz", "", showHealth, true},
    {"GET", "/metrics", "", showMetrics},
    {"GET", "/v1/openapi.json", "", showOpenApi},
    {"GET", "/v1/events", "", beginEvents},
    {"GET", "/v1/status", "", showStatus},
    {"GET", "/v1/modems", "", listModems},
    {"GET", "/v1/modems/*/history", "from to points", showHistory},
    {"GET", "/v1/messages", "state after limit", listMessages},
    {"POST", "/v1/messages", "", postMessages},
    {"GET", "/v1/messages/*", "", showMessage},
    {"DELETE", "/v1/messages/*", "", cancelMessage},
    {"POST", "/v1/messages/*/resolve", "", resolveMessage},
    {"GET", "/v1/messages/*/attempts/*/recording", "", showRecording},
    {"POST", "/v1/alertmanager", "to", postAlerts},
};

bool isPathOf(const Route& route, const std::vector<std::string>& path) {
  // Split as a request's own path is, so that both mean the same by a slash.
  const std::vector<std::string> pattern = std::get<Target>(readTarget(route.path)).path;
  return std::equal(pattern.begin(), pattern.end(), path.begin(), path.end(),
                    [](const std::string& part, const std::string& given) {
                      // An empty part is no id.
                      return part == given || (part == "*" && !given.empty());
                    });
}

// Rows of one path differ by their method alone; all of them are open or none.
std::vector<const Route*> routesOf(const std::vector<std::string>& path) {
  std::vector<const Route*> found;
  for (const Route& route : kRoutes) {
    if (isPathOf(route, path)) {
      found.push_back(&route);
    }
  }
  return found;
}

// The library leaves the body out of an answer to HEAD.
bool isMethodOf(const Route& route, const std::string& method) {
  return method == route.method || (method == "HEAD" && route.method == std::string_view("GET"));
}

Response wrongMethod(const std::vector<const Route*>& routes) {
  std::string allowed;
  for (const Route* const route : routes) {
    allowed += (allowed.empty() ? "" : ", ") + std::string(route->method);
    allowed += route->method == std::string_view("GET") ? ", HEAD" : "";
  }
  Response response = refusalResponse(405, "this address takes " + allowed);
  // RFC 9110 wants it with every 405.
  response.headers.emplace_back("Allow", allowed);
  return response;
}

std::optional<std::string> unknownKey(const Route& route, const Target& target) {
  // With blanks around, so that no key is found within another; one with a blank would be found across two.
  const std::string known = " " + std::string(route.query) + " ";
  for (const auto& [key, value] : target.query) {
    if (key.empty() || key.find(' ') != std::string::npos || known.find(" " + key + " ") == std::string::npos) {
      return key;
    }
  }
  return std::nullopt;
}

Response unauthorized() {
  Response response = refusalResponse(401, "an Authorization header with a token that is known here is needed");
  response.headers.emplace_back("WWW-Authenticate", "Bearer");
  return response;
}

Response answerRoute(const Api& api, const Request& request, const Target& target, const Route& route) {
  if (const auto key = unknownKey(route, target)) {
    return refusalResponse(422, "unknown in this address", *key);
  }
  return route.handler(Call{api, request, target});
}

}  // namespace

Response answer(const Api& api, const Request& request) {
  const std::variant<Target, Refusal> read = readTarget(request.target);
  const auto* const target = std::get_if<Target>(&read);
  const std::vector<const Route*> routes = target != nullptr ? routesOf(target->path) : std::vector<const Route*>();
  // Before anything is said of the address: without a token nobody learns what there is.
  if (!request.caller && (routes.empty() || !routes.front()->isOpen)) {
    return unauthorized();
  }
  if (request.isTooLarge) {
    return refusalResponse(413, "the body is longer than 65536 bytes");
  }
  if (target == nullptr) {
    return refusalResponse(std::get<Refusal>(read));
  }
  if (routes.empty()) {
    return refusalResponse(404, "there is nothing at this address");
  }
  const auto route = std::find_if(routes.begin(), routes.end(),
                                  [&](const Route* candidate) { return isMethodOf(*candidate, request.method); });
  return route == routes.end() ? wrongMethod(routes) : answerRoute(api, request, *target, **route);
}

}  // namespace orvix::gateway
