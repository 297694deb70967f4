// Lisp source as the host's editors write it, and as the reader takes it.
#pragma once

#include <string>
#include <string_view>

// UTF-8 becomes Windows-1252, other bytes stay as they are; line ends become carriage returns.
std::string lisp_text(std::string_view host_text);

// The whole of a host file, bytes as they are. False, with *error told, when it cannot be read.
bool read_host_file(const std::string& path, std::string* bytes, std::string* error);
