// The API's description, gateway/http/openapi.json, compiled in. Any thread.
#pragma once

namespace orvix::gateway {

extern const char kOpenApi[];

}  // namespace orvix::gateway
