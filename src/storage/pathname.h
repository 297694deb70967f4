// Pathnames: a string, a symbol that has one as its value, or a list of such, as a system path.
#pragma once

#include <string>

#include "kernel/value.h"

// The system path: components joined by "\". Error 2 when the value names none or the path is
// longer than 255 bytes, error 6 for an unbound symbol.
std::string path_argument(Value pathname);

// A system path as the list of its components.
Value make_pathname_list(const std::string& path);

// Raises the error of the last file call that failed, about that pathname.
[[noreturn]] void raise_file_error(Value pathname);
