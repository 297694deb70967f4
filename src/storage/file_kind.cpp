#include "storage/file_kind.h"

#include "platform/files.h"
#include "platform/text_encoding.h"
#include "storage/bytes.h"
#include "storage/resource_file.h"

static constexpr uint32_t kHeaderSize = 256;
static constexpr uint32_t kNumbersSize = 16; // what the header begins with

// Where the four bytes of each stand.
struct KindPlaces {
    uint32_t type;
    uint32_t creator;
};

static constexpr KindPlaces kResourcePlaces = { 82, 86 };
static constexpr KindPlaces kDatabasePlaces = { 20, 16 };

bool IsDatabaseHeader(const uint8_t* header, int64_t file_size)
{
    const uint32_t map = get_be32(header + 4);
    const uint32_t data_length = get_be32(header + 8);
    const uint32_t map_length = get_be32(header + 12);
    return get_be32(header) == kHeaderSize && map >= kHeaderSize && data_length <= INT32_MAX &&
           map_length <= INT32_MAX && uint64_t(kHeaderSize) + data_length <= map &&
           uint64_t(map) + map_length == uint64_t(file_size);
}

FileFamily FamilyOfFile(const std::string& path)
{
    if (IsResourceFile(path))
        return FileFamily::resource;
    const FileHandle file =
        CreateFileA(path.c_str(), FileAccess::read, FileDisposition::open_existing);
    if (file == kNoFile)
        return FileFamily::other;
    uint8_t header[kNumbersSize];
    const bool is_database = ReadFileAt(file, 0, header, sizeof header) &&
                             IsDatabaseHeader(header, GetFileSize(file));
    CloseHandle(file);
    return is_database ? FileFamily::database : FileFamily::other;
}

static ResType type_by_name(const std::string& path)
{
    const size_t start = path.find_last_of("\\/.");
    if (start == std::string::npos || path[start] != '.')
        return res_type("TEXT");
    const std::string extension = path.substr(start + 1);
    if (extension.size() == 3) {
        const char last = extension[2];
        const bool letter = (last >= 'a' && last <= 'z') || (last >= 'A' && last <= 'Z');
        const std::string head = extension.substr(0, 2);
        if (letter && ansi_equal_without_case(head, "pi"))
            return res_type("PICT");
        if (letter && ansi_equal_without_case(head, "mv"))
            return res_type("MooV");
        if (ansi_equal_without_case(extension, "mov"))
            return res_type("MooV");
    }
    return res_type("TEXT");
}

FileKind GetFileKind(const std::string& path)
{
    FileKind kind = { type_by_name(path), res_type("????") };
    const FileFamily family = FamilyOfFile(path);
    if (family == FileFamily::other)
        return kind;
    const KindPlaces places = family == FileFamily::resource ? kResourcePlaces : kDatabasePlaces;
    const FileHandle file =
        CreateFileA(path.c_str(), FileAccess::read, FileDisposition::open_existing);
    uint8_t word[4];
    if (ReadFileAt(file, places.type, word, 4))
        kind.type = get_be32(word);
    if (ReadFileAt(file, places.creator, word, 4))
        kind.creator = get_be32(word);
    CloseHandle(file);
    return kind;
}

bool SetFileKind(const std::string& path, const ResType* type, const ResType* creator)
{
    const FileFamily family = FamilyOfFile(path);
    if (family == FileFamily::other)
        return true;
    const KindPlaces places = family == FileFamily::resource ? kResourcePlaces : kDatabasePlaces;
    const FileHandle file =
        CreateFileA(path.c_str(), FileAccess::read_write, FileDisposition::open_existing);
    if (file == kNoFile)
        return false;
    uint8_t word[4];
    bool good = true;
    if (type != nullptr) {
        put_be32(word, *type);
        good = WriteFileAt(file, places.type, word, 4);
    }
    if (creator != nullptr) {
        put_be32(word, *creator);
        good = WriteFileAt(file, places.creator, word, 4) && good;
    }
    CloseHandle(file);
    return good;
}
