#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

// The SHA-1 digest as 40 hexadecimal digits.
std::string sha1_hex(const uint8_t* data, size_t size);
