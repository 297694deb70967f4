// Writing databases back. As in a resource file the map is the last thing, new data is laid over
// it, and a change is journaled from its first byte to the writing of the map. When a step of a
// change that was open before fails, only the map in memory goes back; one that fails with its
// first step is undone on disk too.
#include <algorithm>
#include <cstring>

#include "platform/files.h"
#include "storage/database_chain.h"
#include "storage/database_update.h"

static constexpr uint32_t kMostBuffered = 1 << 20;

DatabaseStep::DatabaseStep(DatabaseFile& changed)
    : file(changed), before(changed.map.bytes), begins(changed.stored.journal.file == kNoFile)
{
}

DatabaseStep::~DatabaseStep()
{
    if (completed)
        return;
    const uint32_t error = GetLastError();
    file.map.bytes = std::move(before);
    file.map.forget_index();
    if (begins)
        RollBackStored(file.stored);
    SetLastError(error);
}

// ---- Writing records ----

RecordWriter::~RecordWriter()
{
    assert(buffer_.empty() && "records were announced and not written");
}

bool RecordWriter::put(uint32_t offset, Handle handle, uint32_t size)
{
    if (size == 0)
        return true;
    const bool joins = offset == start_ + buffer_.size();
    if ((!joins || buffer_.size() + size > kMostBuffered) && !flush())
        return false;
    const LockedHandle locked(handle);
    if (size > kMostBuffered)
        return WriteStored(file_.stored, kDbHeaderSize + offset, locked.bytes, size);
    if (buffer_.empty())
        start_ = offset;
    buffer_.insert(buffer_.end(), locked.bytes, locked.bytes + size);
    return true;
}

bool RecordWriter::flush()
{
    const uint32_t size = static_cast<uint32_t>(buffer_.size());
    const bool good =
        size == 0 || WriteStored(file_.stored, kDbHeaderSize + start_, buffer_.data(), size);
    buffer_.clear();
    return good;
}

// Where a changed record's data will stand.
struct RecordPlacement {
    ResPlace place;
    Handle handle;
    uint32_t offset;
    uint32_t size;
};

struct RecordPlan {
    uint32_t map_offset;
    uint32_t data_length;
    bool moved = false; // data is laid where the map is
    std::vector<RecordPlacement> placements;
};

static bool plan_record(DatabaseFile& file, ResPlace place, RecordPlan& plan)
{
    RecordMap& map = file.map;
    if (!(map.entry_attributes(place) & kResChanged))
        return true;
    const Handle handle = map.handle(place);
    if (handle == 0) { // its data was released, the change with it
        map.set_entry_attributes(place, map.entry_attributes(place) & ~kResChanged);
        return true;
    }
    const uint32_t size = GetHandleSize(handle);
    int64_t offset = map.data_offset(place);
    const bool fits = map.data_size(place) >= int64_t(size) && offset >= 0 &&
                      offset + size <= map.map_offset() - kDbHeaderSize;
    if (!fits) {
        if (uint64_t(plan.map_offset) + size + map.bytes.size() > INT32_MAX)
            return false;
        offset = plan.map_offset - kDbHeaderSize;
        plan.map_offset += size;
        plan.data_length += size;
        plan.moved = true;
    }
    plan.placements.push_back({ place, handle, static_cast<uint32_t>(offset), size });
    return true;
}

static bool carry_out(DatabaseFile& file, const RecordPlan& plan)
{
    std::vector<ByteRange> ranges;
    for (const RecordPlacement& data : plan.placements)
        ranges.push_back({ kDbHeaderSize + data.offset, data.size });
    ranges.push_back({ 0, 16 });
    ranges.push_back({ kDbMarkAt, sizeof file.header });
    ranges.push_back({ file.map.map_offset(), UINT32_MAX - file.map.map_offset() });
    if (!SaveStored(file.stored, ranges))
        return false;
    RecordWriter writer(file);
    for (const RecordPlacement& data : plan.placements) {
        if (!writer.put(data.offset, data.handle, data.size)) {
            writer.drop();
            return false;
        }
    }
    if (!writer.flush())
        return false;
    for (const RecordPlacement& data : plan.placements) {
        RecordMap& map = file.map;
        map.set_data(data.place, static_cast<int32_t>(data.offset),
                     static_cast<int32_t>(data.size));
        const uint8_t attributes = map.entry_attributes(data.place) & ~kResChanged;
        map.set_entry_attributes(data.place, attributes);
    }
    file.map.set_extent(plan.map_offset, plan.data_length);
    if (!plan.placements.empty())
        file.map.set_attributes(file.map.attributes() | kMapChanged);
    return true;
}

static void let_purge(const DatabaseFile& file, const RecordPlan& plan)
{
    for (const RecordPlacement& data : plan.placements) {
        if (file.map.entry_attributes(data.place) & kResPurgeable)
            HPurge(data.handle);
    }
}

// The change stays open until the map is written.
int WriteRecord(Handle record)
{
    const RecordFound found = find_record(record);
    if (!found)
        return kDbNotFound;
    DatabaseFile& file = *found.file;
    if (is_read_only(file) || !(file.map.entry_attributes(found.place) & kResChanged))
        return kDbGood;
    if (!FileOfDatabase(file, FileUse::write))
        return kDbCannotRead;
    DatabaseStep step(file);
    RecordPlan plan = { file.map.map_offset(), file.map.data_length(), false, {} };
    if (!plan_record(file, found.place, plan) || !carry_out(file, plan))
        return kDbFileFailed;
    step.completed = true;
    let_purge(file, plan);
    return kDbGood;
}

// ---- Writing the map ----

bool write_database_map(DatabaseFile& file)
{
    file.map.set_attributes(file.map.attributes() & ~(kMapCompact | kMapChanged));
    const std::vector<uint8_t> bytes = file.map.file_bytes();
    const uint32_t size = static_cast<uint32_t>(bytes.size());
    const uint32_t place = file.map.map_offset();
    return WriteStored(file.stored, 0, bytes.data(), 16) &&
           WriteStored(file.stored, kDbMarkAt, file.header, sizeof file.header) &&
           WriteStored(file.stored, place, bytes.data(), size) &&
           CutStored(file.stored, place + size) && CommitStored(file.stored);
}

int write_database(DatabaseFile& file)
{
    if (!FileOfDatabase(file, FileUse::write))
        return kDbCannotRead;
    DatabaseStep step(file);
    RecordPlan plan = { file.map.map_offset(), file.map.data_length(), false, {} };
    bool fits = true;
    for_each_record(file.map,
                    [&](ResPlace place) { fits = fits && plan_record(file, place, plan); });
    if (!fits) {
        SetLastError(kFileErrorDiskFull);
        return kDbFileFailed;
    }
    if (!carry_out(file, plan))
        return kDbFileFailed;
    let_purge(file, plan);
    if (file.map.attributes() & kMapCompact)
        file.map.compact();
    if (!write_database_map(file))
        return kDbFileFailed;
    step.completed = true;
    return kDbGood;
}

int UpdateDatabase(DatabaseId database, bool may_compact)
{
    DatabaseFile* file = database_file(database);
    if (file == nullptr)
        return kDbNotFound;
    if (is_read_only(*file) || !(file->map.attributes() & kMapChanged))
        return kDbGood;
    uint64_t live = 0;
    for_each_record(file->map, [&](ResPlace place) {
        const int32_t size = file->map.data_size(place);
        live += size > 0 ? static_cast<uint32_t>(size) : 0;
    });
    if (may_compact && live < uint64_t(file->map.data_length()) * 7 / 10)
        return CompactDatabase(database);
    return write_database(*file);
}
