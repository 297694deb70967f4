// Full compaction: the records move down in the order of their places until nothing dead is between
// them, changed ones go last. Everything is planned before the first byte is written.
#include <algorithm>

#include "platform/files.h"
#include "storage/database_update.h"

static constexpr uint32_t kMoveBuffer = 1 << 20;

struct PlacedRecord {
    ResPlace place;
    uint32_t offset;
    uint32_t size;
};

struct FreshRecord {
    ResPlace place;
    Handle handle;
    uint32_t size;
};

struct CompactionPlan {
    std::vector<PlacedRecord> placed; // by offset
    std::vector<FreshRecord> fresh;   // changed or never written: the last in the map comes first
    uint32_t first_moved = 0;         // bytes below it stay as they are
    uint32_t end = 0;                 // of the placed ones, when they have moved
};

static CompactionPlan sort_records(DatabaseFile& file)
{
    CompactionPlan plan;
    RecordMap& map = file.map;
    for_each_record(map, [&](ResPlace place) {
        const int32_t offset = map.data_offset(place);
        const int32_t size = std::max(map.data_size(place), 0);
        const bool changed = map.entry_attributes(place) & kResChanged;
        const Handle handle = map.handle(place);
        if (offset >= 0 && (!changed || handle == 0))
            plan.placed.push_back(
                { place, static_cast<uint32_t>(offset), static_cast<uint32_t>(size) });
        else if (handle != 0)
            plan.fresh.push_back({ place, handle, GetHandleSize(handle) });
        if (changed && handle == 0)
            map.set_entry_attributes(place, map.entry_attributes(place) & ~kResChanged);
    });
    std::stable_sort(
        plan.placed.begin(), plan.placed.end(), [](const PlacedRecord& a, const PlacedRecord& b) {
            return a.offset != b.offset ? a.offset < b.offset : a.size == 0 && b.size != 0;
        });
    std::reverse(plan.fresh.begin(), plan.fresh.end());
    return plan;
}

// Where everything goes; a status when records overlap, or lie outside the data area.
static int measure(const DatabaseFile& file, CompactionPlan& plan)
{
    uint32_t position = 0;
    bool moving = false;
    const uint32_t area = file.map.map_offset() - kDbHeaderSize;
    for (const PlacedRecord& record : plan.placed) {
        if (position > record.offset)
            return kDbOverlap;
        if (record.offset > area || record.size > area - record.offset)
            return kDbCannotRead;
        if (!moving && position != record.offset) {
            moving = true;
            plan.first_moved = position;
        }
        position += record.size;
    }
    plan.end = position;
    if (!moving)
        plan.first_moved = position;
    uint64_t end = uint64_t(kDbHeaderSize) + position + file.map.bytes.size();
    for (const FreshRecord& record : plan.fresh)
        end += record.size;
    if (end <= INT32_MAX)
        return kDbGood;
    SetLastError(kFileErrorDiskFull);
    return kDbFileFailed;
}

// Downward, so no byte is overwritten before it was read.
static bool move_bytes(DatabaseFile& file, uint32_t from, uint32_t to, uint32_t size)
{
    std::vector<uint8_t> buffer(std::min(size, kMoveBuffer));
    for (uint32_t done = 0; done < size;) {
        const uint32_t part = std::min(size - done, kMoveBuffer);
        if (!ReadStored(file.stored, kDbHeaderSize + from + done, buffer.data(), part) ||
            !WriteStored(file.stored, kDbHeaderSize + to + done, buffer.data(), part))
            return false;
        done += part;
    }
    return true;
}

// Records that stand side by side move as one.
static bool move_placed(DatabaseFile& file, const CompactionPlan& plan)
{
    uint32_t position = 0;
    for (size_t i = 0; i < plan.placed.size();) {
        const uint32_t from = plan.placed[i].offset;
        uint32_t size = 0;
        size_t next = i;
        while (next < plan.placed.size() && plan.placed[next].offset == from + size)
            size += plan.placed[next++].size;
        if (from != position && !move_bytes(file, from, position, size))
            return false;
        for (uint32_t at = position; i < next; i++) {
            file.map.set_data(plan.placed[i].place, static_cast<int32_t>(at),
                              static_cast<int32_t>(plan.placed[i].size));
            at += plan.placed[i].size;
        }
        position += size;
    }
    return true;
}

static bool write_fresh(DatabaseFile& file, const CompactionPlan& plan, uint32_t& end)
{
    RecordWriter writer(file);
    end = plan.end;
    for (const FreshRecord& record : plan.fresh) {
        if (!writer.put(end, record.handle, record.size)) {
            writer.drop();
            return false;
        }
        RecordMap& map = file.map;
        map.set_data(record.place, static_cast<int32_t>(end), static_cast<int32_t>(record.size));
        map.set_entry_attributes(record.place, map.entry_attributes(record.place) & ~kResChanged);
        end += record.size;
    }
    return writer.flush();
}

int CompactDatabase(DatabaseId database)
{
    DatabaseFile* found = database_file(database);
    if (found == nullptr)
        return kDbNotFound;
    DatabaseFile& file = *found;
    if (is_read_only(file))
        return kDbReadOnly;
    if (!FileOfDatabase(file, FileUse::write))
        return kDbCannotRead;
    if (file.stored.journal.file != kNoFile) {
        // What was written so far is made to last first: a compaction is undone as a whole.
        const int status = write_database(file);
        if (status != kDbGood)
            return status;
    }
    DatabaseStep step(file);
    if (file.map.attributes() & kMapCompact)
        file.map.compact();
    CompactionPlan plan = sort_records(file);
    const int status = measure(file, plan);
    if (status != kDbGood)
        return status;
    const uint32_t first = kDbHeaderSize + plan.first_moved;
    uint32_t end = 0;
    const std::vector<ByteRange> touched = { { 0, 16 },
                                             { kDbMarkAt, sizeof file.header },
                                             { first, UINT32_MAX - first } };
    if (!SaveStored(file.stored, touched) || !move_placed(file, plan) ||
        !write_fresh(file, plan, end))
        return kDbFileFailed;
    file.map.set_extent(kDbHeaderSize + end, end);
    if (!write_database_map(file))
        return kDbFileFailed;
    step.completed = true;
    for (const FreshRecord& record : plan.fresh) {
        if (file.map.entry_attributes(record.place) & kResPurgeable)
            HPurge(record.handle);
    }
    return kDbGood;
}
