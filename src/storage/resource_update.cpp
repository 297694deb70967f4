// Writing resources and maps back. The map is the last thing in a file: data that needs a new place
// is laid over it, and a new map behind that. A change is journaled from its first byte to the
// writing of the map, so the file is found either as before or as after it.
//
// WriteResource may leave such a change open, which UpdateResFile ends. When a step of an open
// change fails, only the map in memory goes back, since the only copy of what was written before
// may be in the file; a change that fails with its first step is undone.
#include <cstring>

#include "storage/bytes.h"
#include "storage/resource_chain.h"

// Where a changed entry's data will stand.
struct Placement {
    ResPlace place;
    Handle handle;
    uint32_t offset; // from the start of the data area
    uint32_t size;
};

struct WritePlan {
    uint32_t map_offset;
    uint32_t data_length;
    bool moved = false; // data is laid where the map is
    std::vector<Placement> placements;
};

static WritePlan empty_plan(const ResFile& file)
{
    return { file.map.map_offset(), file.map.data_length(), false, {} };
}

// Adds an entry to the plan if it has changed data. False when it would end beyond what an entry's
// 24 bits, or a file's 31, can reach.
static bool plan_entry(ResFile& file, ResPlace place, WritePlan& plan)
{
    if (!(file.map.entry_attributes(place) & kResChanged))
        return true;
    const Handle handle = file.map.handle(place);
    if (handle == 0) { // its data was released, the change with it
        file.map.set_entry_attributes(place, file.map.entry_attributes(place) & ~kResChanged);
        return true;
    }
    const uint32_t size = GetHandleSize(handle);
    uint32_t offset = file.map.data_offset(place);
    const int64_t old = offset == kNoDataOffset ? -1 : stored_length(file, offset);
    if (old < int64_t(size)) {
        offset = plan.map_offset - kResHeaderSize;
        if (offset >= kNoDataOffset || uint64_t(plan.map_offset) + size + 4 > INT32_MAX)
            return false;
        plan.map_offset += size + 4;
        plan.data_length += size + 4;
        plan.moved = true;
    }
    plan.placements.push_back({ place, handle, offset, size });
    return true;
}

static std::vector<ByteRange> plan_ranges(const ResFile& file, const WritePlan& plan)
{
    std::vector<ByteRange> ranges;
    for (const Placement& data : plan.placements)
        ranges.push_back({ kResHeaderSize + data.offset, data.size + 4 });
    if (plan.moved)
        ranges.push_back({ file.map.map_offset(), UINT32_MAX - file.map.map_offset() });
    return ranges;
}

static bool write_data(ResFile& file, const Placement& data)
{
    uint8_t word[4];
    put_be32(word, data.size);
    const uint32_t at = kResHeaderSize + data.offset;
    if (!WriteStored(file.stored, at, word, 4))
        return false;
    return data.size == 0 ||
           WriteStored(file.stored, at + 4, LockedHandle(data.handle).bytes, data.size);
}

// Writes what the plan holds, which was announced to the journal, and enters it in the map.
static bool carry_out(ResFile& file, const WritePlan& plan)
{
    for (const Placement& data : plan.placements) {
        if (!write_data(file, data))
            return false;
        const uint8_t attributes = file.map.entry_attributes(data.place) & ~kResChanged;
        file.map.set_entry_attributes(data.place, attributes);
        file.map.set_data_offset(data.place, data.offset);
    }
    file.map.set_extent(plan.map_offset, plan.data_length);
    if (plan.moved)
        file.map.set_attributes(file.map.attributes() | kMapCompact | kMapChanged);
    return true;
}

// Changed data is kept from being purged; what is on disk again may go.
static void let_purge(const ResFile& file, const WritePlan& plan)
{
    for (const Placement& data : plan.placements) {
        if (file.map.entry_attributes(data.place) & kResPurgeable)
            HPurge(data.handle);
    }
}

// Sets the map back if the step is not completed, and undoes the change that it began.
struct UpdateStep {
    explicit UpdateStep(ResFile& changed)
        : file(changed), before(changed.map.bytes), begins(changed.stored.journal.file == kNoFile)
    {
    }
    ~UpdateStep()
    {
        if (completed)
            return;
        file.map.bytes = std::move(before);
        file.map.forget_index();
        if (begins)
            RollBackStored(file.stored);
    }
    ResFile& file;
    std::vector<uint8_t> before;
    const bool begins;
    bool completed = false;
};

static int16_t write_entry(ResFile& file, ResPlace place)
{
    if (file.map.attributes() & kMapReadOnly)
        return kResGood;
    UpdateStep step(file);
    WritePlan plan = empty_plan(file);
    if (!plan_entry(file, place, plan) || !SaveStored(file.stored, plan_ranges(file, plan)) ||
        !carry_out(file, plan))
        return kResWriteFailed;
    if (step.begins && !plan.moved && !CommitStored(file.stored))
        return kResWriteFailed;
    step.completed = true;
    let_purge(file, plan);
    return kResGood;
}

void WriteResource(Handle handle)
{
    const ResFound found = find_resource(handle);
    if (found && (found.file->map.entry_attributes(found.place) & kResChanged))
        set_status(write_entry(*found.file, found.place));
}

static bool write_map(ResFile& file)
{
    const std::vector<uint8_t> bytes = file.map.file_bytes();
    const uint32_t size = static_cast<uint32_t>(bytes.size());
    return WriteStored(file.stored, 0, bytes.data(), 16) &&
           WriteStored(file.stored, file.map.map_offset(), bytes.data(), size) &&
           CutStored(file.stored, file.map.map_offset() + size);
}

static int16_t update(ResFile& file)
{
    UpdateStep step(file);
    WritePlan plan = empty_plan(file);
    for (int type = 0; type < file.map.type_count(); type++) {
        for (int entry = 0; entry < file.map.entry_count(type); entry++) {
            if (!plan_entry(file, { type, entry }, plan))
                return kResWriteFailed;
        }
    }
    plan.moved = plan.moved || (file.map.attributes() & kMapCompact);
    std::vector<ByteRange> ranges = plan_ranges(file, plan);
    ranges.push_back({ 0, 16 });
    ranges.push_back({ file.map.map_offset(), UINT32_MAX - file.map.map_offset() });
    if (!SaveStored(file.stored, ranges) || !carry_out(file, plan))
        return kResWriteFailed;
    let_purge(file, plan);
    if (file.map.attributes() & kMapCompact)
        file.map.compact();
    file.map.set_attributes(file.map.attributes() & ~(kMapCompact | kMapChanged));
    if (!write_map(file) || !CommitStored(file.stored))
        return kResWriteFailed;
    step.completed = true;
    return kResGood;
}

void UpdateResFile(int reference)
{
    set_status(kResGood);
    if (reference == 0)
        return;
    ResFile* file = res_file(reference);
    if (file == nullptr)
        return set_status(kResUnknownFile);
    if (!(file->map.attributes() & kMapReadOnly) && (file->map.attributes() & kMapChanged))
        set_status(update(*file));
}
