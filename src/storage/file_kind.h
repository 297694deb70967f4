// The Macintosh idea of a file's type and creator: kept in the headers of resource files and
// databases, guessed from the name elsewhere.
#pragma once

#include <string>

#include "storage/resource_map.h"

struct FileKind {
    ResType type;
    ResType creator;
};

enum class FileFamily { resource, database, other };

// Null parts are left alone. A file of another family has no place for either: nothing happens
// then.
FileKind GetFileKind(const std::string& path);
bool SetFileKind(const std::string& path, const ResType* type, const ResType* creator);

FileFamily FamilyOfFile(const std::string& path);

// Whether 16 bytes can begin a database of that size.
bool IsDatabaseHeader(const uint8_t* header, int64_t file_size);
