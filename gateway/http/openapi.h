// The API's description (OpenAPI 3), gateway/http/openapi.json, compiled in, zero-terminated. Any thread.
#pragma once

namespace orvix::gateway {

extern const char kOpenApi[];

}  // namespace orvix::gateway
