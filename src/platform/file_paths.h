// System paths ("C:\a\b.txt", Windows-1252) and what they stand for on the host. Drive C: is the
// root of the file system, a path without a drive is relative to the current directory. A name that
// is not there as spelt is looked up once more without case, folder by folder.
#pragma once

#include <string>
#include <string_view>

// The host's path. Where nothing of that name is, the path that creating it should use. Empty for a
// path that nothing can stand under: another drive than C:, an empty path.
std::string host_path(std::string_view system_path);

// The same without looking: every name as it is spelt.
std::string spelt_host_path(std::string_view system_path);

// A host path in the system's form; an absolute one begins with "C:\".
std::string system_path(std::string_view host);
