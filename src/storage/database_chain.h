// The chain of open databases, for the database_*.cpp files alone.
#pragma once

#include <memory>

#include "storage/database.h"
#include "storage/stored_file.h"

constexpr uint32_t kDbHeaderSize = 256;
constexpr uint32_t kDbMarkAt = 128; // the header's second half, which is kept and written back
constexpr uint8_t kDbTextIsOurs =
    0x40; // record attribute: the text is in the run-time's characters

class RecordMap : public TypedMap<DatabaseLayout> {
public:
    // From the start of the data area, -1 for none yet, as is the size.
    int32_t data_offset(ResPlace place) const { return field(place, kOffsetAt); }
    int32_t data_size(ResPlace place) const { return field(place, kSizeAt); }
    uint32_t time(ResPlace place) const { return static_cast<uint32_t>(field(place, kTimeAt)); }

    void set_data(ResPlace place, int32_t offset, int32_t size)
    {
        put_be32(&bytes[entry_at(place) + kOffsetAt], static_cast<uint32_t>(offset));
        put_be32(&bytes[entry_at(place) + kSizeAt], static_cast<uint32_t>(size));
    }
    void set_time(ResPlace place, uint32_t time)
    {
        put_be32(&bytes[entry_at(place) + kTimeAt], time);
    }

private:
    static constexpr uint32_t kOffsetAt = 10;
    static constexpr uint32_t kSizeAt = 14;
    static constexpr uint32_t kTimeAt = 18;

    int32_t field(ResPlace place, uint32_t at) const
    {
        return static_cast<int32_t>(get_be32(&bytes[entry_at(place) + at]));
    }
};

struct DatabaseFile {
    DatabaseId id = kNoDatabase;
    DatabaseMode mode = DatabaseMode::read;
    StoredFile stored;
    uint8_t header[128] = {}; // the file's bytes from kDbMarkAt on
    RecordMap map;
};

struct DatabaseState {
    std::vector<std::unique_ptr<DatabaseFile>> chain; // oldest first
    DatabaseId next = 1;
    DatabaseId current = kNoDatabase; // whose file was used last
    ResType unique_type = 0;
    int32_t unique_id = 0;
};

extern DatabaseState databases;

struct RecordFound {
    DatabaseFile* file = nullptr;
    ResPlace place;
    explicit operator bool() const { return file != nullptr; }
};

DatabaseFile* database_file(DatabaseId database); // null: not open
RecordFound find_record(Handle record);           // over all, newest first

// Whether the path still leads to the database's file: what is written to one that was removed or
// replaced would be lost. Reading asks again when another database was used in between.
enum class FileUse { read, write };
bool FileOfDatabase(DatabaseFile& database, FileUse use);

// The entry's Handle with its data, unless told to leave that away.
int load_record_entry(DatabaseFile& file, ResPlace place, RecordLoad load, Handle& record);
// Reads data that lies before the map; false if it does not, or if another process changed the
// file.
bool read_record_data(DatabaseFile& file, uint32_t offset, void* bytes, uint32_t size);

inline bool is_read_only(const DatabaseFile& file)
{
    return (file.map.attributes() & kMapReadOnly) != 0;
}

template <class Action> void for_each_record(const RecordMap& map, Action action)
{
    for (int32_t type = 0; type < map.type_count(); type++) {
        for (int32_t entry = 0; entry < map.entry_count(type); entry++)
            action(ResPlace{ type, entry });
    }
}
