// The one border between the system's strings, bytes of Windows-1252, and the host's, UTF-8. The
// five bytes that Windows-1252 leaves open stand for the C1 controls of the same number, so every
// byte string goes to UTF-8 and back unchanged.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

std::string utf8_from_ansi(std::string_view ansi);

// What has no Windows-1252 form becomes substitute; so does each byte that is not UTF-8.
std::string ansi_from_utf8(std::string_view utf8, char substitute = '?');

// The same pair for one file name, without loss. What the system's names cannot hold is written as
// "<65E5>", the code point in hexadecimal, or "<xFF>" for a byte that is not UTF-8: so are "\", ":"
// and "<" themselves. "<" and ">" are in no name that Windows makes, so nothing can be mistaken.
std::string ansi_file_name(std::string_view host_name);
std::string host_file_name(std::string_view ansi_name);

bool ansi_equal_without_case(std::string_view first, std::string_view second);
