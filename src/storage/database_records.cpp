// Finding records, bringing their data in, and changing what the map says of them.
#include <algorithm>
#include <string_view>

#include "platform/characters.h"
#include "platform/clock.h"
#include "storage/database_chain.h"

static constexpr int64_t kEpoch = 2082826800; // time stamps are the calendar's seconds plus this

static uint32_t time_stamp()
{
    return static_cast<uint32_t>(calendar_seconds() + kEpoch);
}

// ---- Loading ----

bool read_record_data(DatabaseFile& file, uint32_t offset, void* bytes, uint32_t size)
{
    const uint32_t area = file.map.map_offset() - kDbHeaderSize;
    if (offset > area || size > area - offset)
        return false;
    StoredReading reading(file.stored);
    if (!reading.held)
        return false;
    if (!file.stored.writable) {
        // Another process may have moved everything since the map was read.
        uint8_t head[16];
        if (!ReadStored(file.stored, 0, head, sizeof head) ||
            !std::equal(head, head + sizeof head, file.map.bytes.begin()))
            return false;
    }
    return ReadStored(file.stored, kDbHeaderSize + offset, bytes, size);
}

// Types whose data is text, in Macintosh characters unless an attribute says otherwise.
static bool is_text_type(ResType type)
{
    const ResType three = type & 0xffffff00;
    return type == res_type("TEXT") || type == res_type("Text") ||
           three == (res_type("Txt ") & 0xffffff00) || three == (res_type("Kvx ") & 0xffffff00);
}

// A byte that has no equivalent stays as it is, so that nothing is lost.
static void convert_text(uint8_t* bytes, uint32_t size)
{
    for (uint32_t i = 0; i < size; i++) {
        const uint8_t ansi = mac_to_ansi[bytes[i]];
        if (ansi != 0)
            bytes[i] = ansi;
    }
}

static int read_into(DatabaseFile& file, ResPlace place, Handle handle)
{
    const RecordMap& map = file.map;
    const int32_t offset = map.data_offset(place);
    const int32_t size = map.data_size(place);
    if (offset == -1)
        return kDbGood;
    if (offset < 0 || size < 0 ||
        uint64_t(offset) + static_cast<uint32_t>(size) > map.map_offset() - kDbHeaderSize)
        return kDbCannotRead;
    if (size > 0 && !FileOfDatabase(file, FileUse::read))
        return kDbCannotRead;
    if (SetHandleSize(handle, static_cast<uint32_t>(size)) != 0)
        return kDbNoMemory;
    if (size > 0) {
        const uint32_t count = static_cast<uint32_t>(size);
        uint8_t* bytes = LockedHandle(handle).bytes;
        if (!read_record_data(file, static_cast<uint32_t>(offset), bytes, count)) {
            SetHandleSize(handle, 0);
            return kDbCannotRead;
        }
        if (is_text_type(map.type_at(place.type)) && !(map.entry_attributes(place) & kDbTextIsOurs))
            convert_text(bytes, count);
    }
    if (map.entry_attributes(place) & kResPurgeable)
        HPurge(handle);
    return kDbGood;
}

int load_record_entry(DatabaseFile& file, ResPlace place, RecordLoad load, Handle& record)
{
    record = file.map.handle(place);
    if (record != 0 && (load == RecordLoad::no || !HandleIsEmpty(record)))
        return kDbGood;
    if (record == 0) {
        record = NewHandle(0);
        file.map.set_handle(place, record);
    }
    const int status = load == RecordLoad::no ? int(kDbGood) : read_into(file, place, record);
    if (status != kDbGood)
        record = 0;
    return status;
}

// ---- Finding ----

RecordFound find_record(Handle record)
{
    for (auto file = databases.chain.rbegin(); file != databases.chain.rend(); ++file) {
        const ResPlace place = (*file)->map.find_handle(record);
        if (place.found())
            return { file->get(), place };
    }
    return {};
}

DatabaseId HomeDatabase(Handle record)
{
    const RecordFound found = find_record(record);
    return found ? found.file->id : kNoDatabase;
}

int32_t CountRecords(DatabaseId database, ResType type)
{
    const DatabaseFile* file = database_file(database);
    const int32_t item = file == nullptr ? -1 : file->map.find_type(type);
    return item < 0 ? 0 : file->map.entry_count(item);
}

int32_t CountRecordTypes(DatabaseId database)
{
    const DatabaseFile* file = database_file(database);
    int32_t count = 0;
    for (int32_t type = 0; file != nullptr && type < file->map.type_count(); type++)
        count += file->map.entry_count(type) > 0;
    return count;
}

ResType GetIndexedType(DatabaseId database, int32_t index)
{
    const DatabaseFile* file = database_file(database);
    for (int32_t type = 0; file != nullptr && type < file->map.type_count(); type++) {
        if (file->map.entry_count(type) > 0 && index-- == 0)
            return file->map.type_at(type);
    }
    return 0;
}

template <class Query>
static int get_record(DatabaseId database, RecordLoad load, Handle& record, Query query)
{
    DatabaseFile* file = database_file(database);
    record = 0;
    if (file == nullptr)
        return kDbNotFound;
    const ResPlace place = query(file->map);
    return place.found() ? load_record_entry(*file, place, load, record) : int(kDbNotFound);
}

int GetIndexedRecord(DatabaseId database, ResType type, int32_t index, RecordLoad load,
                     Handle& record)
{
    return get_record(database, load, record, [&](const RecordMap& map) {
        const int32_t item = map.find_type(type);
        const bool inside = item >= 0 && index >= 0 && index < map.entry_count(item);
        return inside ? ResPlace{ item, index } : ResPlace();
    });
}

int GetRecord(DatabaseId database, ResType type, int32_t id, RecordLoad load, Handle& record)
{
    return get_record(database, load, record,
                      [&](const RecordMap& map) { return map.find_id(type, id); });
}

int GetNamedRecord(DatabaseId database, ResType type, std::string_view name, RecordLoad load,
                   Handle& record)
{
    return get_record(database, load, record,
                      [&](const RecordMap& map) { return map.find_name(type, name); });
}

int32_t UniqueRecordId(ResType type, const std::vector<DatabaseId>& wanted)
{
    if (type != databases.unique_type) {
        databases.unique_type = type;
        databases.unique_id = 0;
    }
    uint32_t id = static_cast<uint32_t>(databases.unique_id);
    for (const DatabaseId database : wanted) {
        const DatabaseFile* file = database_file(database);
        while (file != nullptr && file->map.find_id(type, static_cast<int32_t>(id)).found())
            id++;
    }
    databases.unique_id = static_cast<int32_t>(id + 1);
    return static_cast<int32_t>(id);
}

// ---- One record ----

int LoadRecord(Handle record)
{
    const RecordFound found = find_record(record);
    Handle loaded;
    return found ? load_record_entry(*found.file, found.place, RecordLoad::yes, loaded)
                 : int(kDbNotFound);
}

int DetachRecord(Handle record)
{
    const RecordFound found = find_record(record);
    if (!found)
        return kDbNotFound;
    found.file->map.set_handle(found.place, 0);
    return kDbGood;
}

int ReleaseRecord(Handle record)
{
    const int status = DetachRecord(record);
    if (status == kDbGood)
        DisposeHandle(record);
    return status;
}

int GetRecordInfo(Handle record, RecordInfo& info)
{
    const RecordFound found = find_record(record);
    if (!found)
        return kDbNotFound;
    const RecordMap& map = found.file->map;
    const uint32_t size = GetHandleSize(record);
    info = { map.id(found.place),
             map.type_at(found.place.type),
             std::string(map.name(found.place)),
             map.entry_attributes(found.place),
             map.time(found.place),
             size != 0 ? static_cast<int32_t>(size) : map.data_size(found.place) };
    return kDbGood;
}

// Finds a record that may be changed.
static int find_to_change(Handle record, RecordFound& found)
{
    found = find_record(record);
    if (!found)
        return kDbNotFound;
    return is_read_only(*found.file) ? kDbReadOnly : kDbGood;
}

int SetRecordInfo(Handle record, int32_t id, std::string_view name)
{
    RecordFound found;
    const int status = find_to_change(record, found);
    if (status != kDbGood || (found.file->map.entry_attributes(found.place) & kResProtected))
        return status;
    const bool done = found.file->map.set_info(found.place, id, name.substr(0, UINT8_MAX));
    return done ? kDbGood : kDbNoMemory;
}

static void mark_changed(RecordFound found, uint8_t attributes)
{
    RecordMap& map = found.file->map;
    map.set_entry_attributes(found.place, attributes);
    map.set_attributes(map.attributes() | kMapChanged);
}

int SetRecordAttributes(Handle record, uint8_t attributes)
{
    RecordFound found;
    const int status = find_to_change(record, found);
    if (status != kDbGood)
        return status;
    mark_changed(found, attributes);
    if (attributes & kResChanged)
        HNoPurge(record);
    return kDbGood;
}

int ChangedRecord(Handle record)
{
    RecordFound found;
    const int status = find_to_change(record, found);
    if (status != kDbGood)
        return status;
    const uint8_t attributes = found.file->map.entry_attributes(found.place);
    mark_changed(found, attributes | kResChanged | kDbTextIsOurs);
    found.file->map.set_time(found.place, time_stamp());
    HNoPurge(record); // a purge would lose the change
    return kDbGood;
}

int AddRecord(DatabaseId database, Handle handle, ResType type, int32_t id, std::string_view name)
{
    DatabaseFile* file = database_file(database);
    if (file == nullptr)
        return kDbNotFound;
    if (!HandleIsLive(handle))
        return kDbCannotAdd;
    for (const std::unique_ptr<DatabaseFile>& open : databases.chain) {
        if (open->map.holds_handle(type, handle))
            return kDbCannotAdd;
    }
    if (is_read_only(*file))
        return kDbReadOnly;
    if (!file->map.add(type, id, name.substr(0, UINT8_MAX), handle, kResChanged | kDbTextIsOurs))
        return kDbNoMemory;
    const int32_t item = file->map.find_type(type);
    const ResPlace place = { item, file->map.entry_count(item) - 1 };
    file->map.set_data(place, -1, -1);
    file->map.set_time(place, time_stamp());
    HNoPurge(handle);
    return kDbGood;
}

int RemoveRecord(Handle record)
{
    RecordFound found;
    const int status = find_to_change(record, found);
    if (status != kDbGood)
        return status;
    if (found.file->map.entry_attributes(found.place) & kResProtected)
        return kDbProtected;
    found.file->map.remove(found.place);
    return kDbGood;
}
