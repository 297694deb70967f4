// Creating, opening and closing databases. Every open one keeps its file open, and with it the lock
// that holds other writers off.
#include "storage/database.h"

#include <cstring>

#include "platform/files.h"
#include "storage/database_chain.h"
#include "storage/file_kind.h"

static constexpr uint32_t kMapHead = 16; // header and map begin with the same bytes
static constexpr uint32_t kCreatorAt = 16;
static constexpr uint32_t kTypeAt = 20;
static constexpr uint8_t kDatabaseMark = 2;
static constexpr uint32_t kPairsAt = 136; // 15 pairs of words, -1 and 0, that nothing uses
static constexpr uint32_t kPairs = 15;

DatabaseState databases;

DatabaseFile* database_file(DatabaseId database)
{
    for (const std::unique_ptr<DatabaseFile>& file : databases.chain) {
        if (file->id == database)
            return file.get();
    }
    return nullptr;
}

bool DatabaseIsOpen(DatabaseId database)
{
    return database_file(database) != nullptr;
}

DatabaseMode ModeOfDatabase(DatabaseId database)
{
    const DatabaseFile* file = database_file(database);
    return file == nullptr ? DatabaseMode::read : file->mode;
}

bool FileOfDatabase(DatabaseFile& database, FileUse use)
{
    if (use == FileUse::read && databases.current == database.id)
        return true;
    const FileHandle file =
        CreateFileA(database.stored.path.c_str(), FileAccess::read, FileDisposition::open_existing);
    const bool same = SameFile(file, database.stored.file);
    CloseHandle(file);
    if (same)
        databases.current = database.id;
    return same;
}

// ---- Creating ----

static std::vector<uint8_t> new_database_bytes(ResType creator, ResType type)
{
    std::vector<uint8_t> bytes(kDbHeaderSize);
    const std::vector<uint8_t> map = RecordMap::empty_bytes();
    memcpy(bytes.data(), map.data(), kMapHead);
    put_be32(&bytes[kCreatorAt], creator);
    put_be32(&bytes[kTypeAt], type);
    bytes[kDbMarkAt] = kDatabaseMark;
    for (uint32_t pair = 0; pair < kPairs; pair++)
        put_be32(&bytes[kPairsAt + 8 * pair], UINT32_MAX);
    bytes.insert(bytes.end(), map.begin(), map.end());
    return bytes;
}

int CreateDatabase(const std::string& path, ResType creator, ResType type)
{
    StoredFile stored;
    if (!OpenStoredFile(stored, path, OpenMode::write))
        return kDbFileFailed;
    const std::vector<uint8_t> bytes = new_database_bytes(creator, type);
    const uint32_t size = static_cast<uint32_t>(bytes.size());
    const bool good = SaveStored(stored, { { 0, UINT32_MAX } }) &&
                      WriteStored(stored, 0, bytes.data(), size) && CutStored(stored, size) &&
                      CommitStored(stored);
    const uint32_t error = GetLastError();
    CloseStoredFile(stored);
    SetLastError(error);
    return good ? kDbGood : kDbFileFailed;
}

bool IsDatabaseFile(const std::string& path)
{
    return FamilyOfFile(path) == FileFamily::database;
}

// ---- Opening ----

static int bad_numbers(DatabaseFault& fault, const uint8_t* header, const uint8_t* more)
{
    for (const uint8_t* from : { header, more }) {
        for (uint32_t at = 0; from != nullptr && at < kMapHead; at += 4)
            fault.numbers.push_back(get_be32(from + at));
    }
    return kDbBadFile;
}

static int read_map(DatabaseFile& file, DatabaseFault& fault)
{
    uint8_t header[kDbHeaderSize];
    StoredReading reading(file.stored);
    if (!reading.held || !ReadStored(file.stored, 0, header, kDbHeaderSize))
        return kDbCannotRead;
    const int64_t file_size = GetFileSize(file.stored.file);
    if (!IsDatabaseHeader(header, file_size)) {
        bad_numbers(fault, header, nullptr);
        fault.numbers.push_back(static_cast<uint32_t>(file_size));
        return kDbBadFile;
    }
    const uint32_t length = get_be32(header + 12);
    if (length < RecordMap::kEmptySize) {
        fault.text = "Bad read";
        return kDbBadFile;
    }
    file.map.bytes.resize(length);
    if (!ReadStored(file.stored, get_be32(header + 4), file.map.bytes.data(), length)) {
        fault.text = "Bad read";
        return kDbBadFile;
    }
    if (memcmp(header, file.map.bytes.data(), kMapHead) != 0) {
        fault.text = "Different header map";
        return bad_numbers(fault, header, file.map.bytes.data());
    }
    if (!file.map.is_sound()) {
        bad_numbers(fault, header, nullptr);
        fault.numbers.push_back(static_cast<uint32_t>(file_size));
        return kDbBadFile;
    }
    memcpy(file.header, header + kDbMarkAt, sizeof file.header);
    return kDbGood;
}

static OpenMode open_mode(DatabaseMode mode)
{
    return mode == DatabaseMode::read    ? OpenMode::read
           : mode == DatabaseMode::write ? OpenMode::write
                                         : OpenMode::write_or_read;
}

int OpenDatabase(const std::string& path, DatabaseMode mode, DatabaseId& opened,
                 DatabaseFault& fault)
{
    std::unique_ptr<DatabaseFile> file = std::make_unique<DatabaseFile>();
    file->mode = mode;
    if (!OpenStoredFile(file->stored, path, open_mode(mode)))
        return kDbFileFailed;
    const int status = read_map(*file, fault);
    if (status != kDbGood) {
        CloseStoredFile(file->stored);
        return status;
    }
    uint16_t attributes = file->map.attributes() & ~(kMapCompact | kMapChanged);
    if (!file->stored.writable)
        attributes |= kMapReadOnly;
    file->map.set_attributes(attributes);
    file->map.clear_handles();
    file->id = databases.next++;
    opened = file->id;
    databases.current = file->id;
    databases.chain.push_back(std::move(file));
    DatabaseFile& added = *databases.chain.back();
    for_each_record(added.map, [&](ResPlace place) {
        Handle record;
        if (added.map.entry_attributes(place) & kResPreload)
            load_record_entry(added, place, RecordLoad::yes, record);
    });
    return kDbGood;
}

// ---- Closing ----

static std::unique_ptr<DatabaseFile> unlink_database(size_t place)
{
    std::unique_ptr<DatabaseFile> file = std::move(databases.chain[place]);
    databases.chain.erase(databases.chain.begin() + static_cast<ptrdiff_t>(place));
    return file;
}

int CloseDatabase(DatabaseId database, DatabaseClose how)
{
    size_t place = 0;
    while (place < databases.chain.size() && databases.chain[place]->id != database)
        place++;
    if (place == databases.chain.size())
        return kDbNotFound;
    const int status = how == DatabaseClose::drop_changes
                           ? int(kDbGood)
                           : UpdateDatabase(database, how == DatabaseClose::update_or_compact);
    const uint32_t error = GetLastError();
    const std::unique_ptr<DatabaseFile> file = unlink_database(place);
    if (databases.current == database)
        databases.current = kNoDatabase;
    for_each_record(file->map, [&](ResPlace record) {
        const Handle handle = file->map.handle(record);
        if (handle != 0)
            DisposeHandle(handle);
    });
    CloseStoredFile(file->stored);
    SetLastError(error);
    return status;
}

void CloseAllDatabases(DatabaseClose how)
{
    while (!databases.chain.empty())
        CloseDatabase(databases.chain.back()->id, how);
}

void AbandonAllDatabases()
{
    while (!databases.chain.empty())
        AbandonStoredFile(unlink_database(databases.chain.size() - 1)->stored);
}
