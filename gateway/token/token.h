// Tokens: random words of which the service knows the hash alone. Any thread.
#pragma once

#include <string>
#include <string_view>

namespace orvix::gateway {

// 32 bytes from the kernel's random source (getrandom), as 64 hexadecimal digits. Throws std::system_error when it has
// none.
std::string newToken();

// SHA-256 in 64 lower-case hexadecimal digits.
// FIPS 180-4. Throws nothing but std::bad_alloc.
std::string sha256Of(std::string_view bytes);

// Compares in a time that tells nothing about where they differ, for a guess must not be led by it.
bool isSameHash(const std::string& a, const std::string& b);

}  // namespace orvix::gateway
