// Finding resources in the chain and bringing their data in. A search goes from a file to those
// opened before it, and in each file's map takes the first match in list order.
#include <algorithm>

#include "platform/files.h"
#include "storage/bytes.h"
#include "storage/resource_chain.h"

// ---- Loading ----

int64_t stored_length(ResFile& file, uint32_t data_offset)
{
    uint8_t word[4];
    const uint32_t area = file.map.map_offset() - kResHeaderSize;
    if (data_offset > area || area - data_offset < 4)
        return -1;
    StoredReading reading(file.stored);
    if (!reading.held || !ReadStored(file.stored, kResHeaderSize + data_offset, word, 4))
        return -1;
    const uint32_t length = get_be32(word);
    return length <= area - data_offset - 4 ? int64_t(length) : -1;
}

// Status of bringing an entry's data into its empty Handle.
static int16_t read_data(ResFile& file, ResPlace place, Handle handle)
{
    const uint32_t offset = file.map.data_offset(place);
    if (offset == kNoDataOffset)
        return kResGood;
    const int64_t length = stored_length(file, offset);
    if (length < 0)
        return kResReadFailed;
    if (SetHandleSize(handle, static_cast<uint32_t>(length)) != 0)
        return kResNoMemory;
    if (length > 0) {
        StoredReading reading(file.stored);
        const bool read = ReadStored(file.stored, kResHeaderSize + offset + 4,
                                     LockedHandle(handle).bytes, static_cast<uint32_t>(length));
        if (!reading.held || !read) {
            SetHandleSize(handle, 0);
            return kResReadFailed;
        }
    }
    if (file.map.entry_attributes(place) & kResPurgeable)
        HPurge(handle);
    return kResGood;
}

Handle load_entry(ResFile& file, ResPlace place, LoadMode mode)
{
    set_status(kResGood);
    if (mode == LoadMode::preload && !(file.map.entry_attributes(place) & kResPreload))
        return 0;
    Handle handle = file.map.handle(place);
    if (handle != 0 && (resources.load == 0 || !HandleIsEmpty(handle)))
        return handle;
    if (handle == 0) {
        handle = NewHandle(0);
        file.map.set_handle(place, handle);
    }
    set_status(read_data(file, place, handle));
    return ResError() == kResGood ? handle : 0;
}

// ---- Searching ----

// The place in the chain, from the top, of the current file; the chain's size when there is none.
static size_t current_depth()
{
    const std::vector<std::unique_ptr<ResFile>>& chain = resources.chain;
    size_t depth = 0;
    while (depth < chain.size() && chain[chain.size() - 1 - depth]->reference != resources.current)
        depth++;
    return depth;
}

static ResFile& file_at_depth(size_t depth)
{
    return *resources.chain[resources.chain.size() - 1 - depth];
}

// The first match of a map query in the files from depth on, limited to one file if told so.
template <typename Query> static ResFound search(size_t depth, size_t files, Query query)
{
    const size_t end = std::min(resources.chain.size(), depth + std::min(files, SIZE_MAX - depth));
    for (; depth < end; depth++) {
        ResFile& file = file_at_depth(depth);
        const ResPlace place = query(file.map);
        if (place.found())
            return { &file, place };
    }
    return {};
}

ResFound find_resource(Handle handle)
{
    const ResFound found =
        search(0, SIZE_MAX, [&](const ResourceMap& map) { return map.find_handle(handle); });
    set_status(found ? kResGood : kResNotFound);
    return found;
}

static Handle load_found(ResFound found)
{
    if (found)
        return load_entry(*found.file, found.place, LoadMode::normal);
    set_status(kResNotFound);
    return 0;
}

Handle GetResource(ResType type, int16_t id)
{
    return load_found(search(current_depth(), SIZE_MAX,
                             [&](const ResourceMap& map) { return map.find_id(type, id); }));
}

Handle GetNamedResource(ResType type, std::string_view name)
{
    return load_found(search(current_depth(), SIZE_MAX,
                             [&](const ResourceMap& map) { return map.find_name(type, name); }));
}

Handle Get1Resource(ResType type, int16_t id)
{
    return load_found(
        search(current_depth(), 1, [&](const ResourceMap& map) { return map.find_id(type, id); }));
}

// Counts the index down over the entries that the filter lets pass.
static ResPlace find_index(const ResourceMap& map, ResType type, int32_t& index)
{
    const int first = type == 0 ? 0 : map.find_type(type);
    const int end = type == 0 ? map.type_count() : first + 1;
    for (int item = first; item >= 0 && item < end; item++) {
        const int count = map.entry_count(item);
        if (index <= count)
            return { item, index - 1 };
        index -= count;
    }
    return {};
}

static Handle get_by_index(size_t depth, size_t files, ResType type, int32_t index)
{
    if (index < 1) {
        set_status(kResGood);
        return 0;
    }
    return load_found(
        search(depth, files, [&](const ResourceMap& map) { return find_index(map, type, index); }));
}

Handle GetIndResource(ResType type, int32_t index)
{
    return get_by_index(0, SIZE_MAX, type, index);
}

Handle Get1IndResource(ResType type, int32_t index)
{
    return get_by_index(current_depth(), 1, type, index);
}

int HomeResFile(Handle handle)
{
    const ResFound found = find_resource(handle);
    return found ? found.file->reference : -1;
}

void SetResLoad(uint8_t flag)
{
    resources.load = flag;
    set_status(kResGood);
}

// ---- Counting ----

static void count_types()
{
    resources.counts.clear();
    for (size_t depth = 0; depth < resources.chain.size(); depth++) {
        const ResourceMap& map = file_at_depth(depth).map;
        for (int item = 0; item < map.type_count(); item++) {
            const int count = map.entry_count(item);
            const ResType type = map.type_at(item);
            const auto known = std::find_if(resources.counts.begin(), resources.counts.end(),
                                            [&](const auto& pair) { return pair.first == type; });
            if (known != resources.counts.end())
                known->second += count;
            else if (count > 0)
                resources.counts.emplace_back(type, count);
        }
    }
    resources.counts_dirty = false;
}

int32_t CountResources(ResType type)
{
    if (resources.counts_dirty)
        count_types();
    set_status(kResGood);
    for (const auto& [known, count] : resources.counts) {
        if (known == type)
            return count;
    }
    return 0;
}

// The current file; null with the status that says so.
static ResFile* current_file()
{
    ResFile* file = resources.current == 0 ? nullptr : res_file(resources.current);
    set_status(file == nullptr ? kResNotFound : kResGood);
    return file;
}

int32_t Count1Resources(ResType type)
{
    const ResFile* file = current_file();
    const int item = file == nullptr ? -1 : file->map.find_type(type);
    return item < 0 ? 0 : file->map.entry_count(item);
}

int32_t Count1Types()
{
    const ResFile* file = current_file();
    int32_t count = 0;
    for (int item = 0; file != nullptr && item < file->map.type_count(); item++)
        count += file->map.entry_count(item) > 0;
    return count;
}

ResType Get1IndType(int32_t index)
{
    const ResFile* file = current_file();
    for (int item = 0; file != nullptr && item < file->map.type_count(); item++) {
        if (file->map.entry_count(item) > 0 && --index == 0)
            return file->map.type_at(item);
    }
    if (file != nullptr)
        set_status(kResNotFound);
    return 0;
}

// A hit is sought again from the file of the hit downward, with the next id. There are 65,536 ids.
int16_t UniqueID(ResType type)
{
    set_status(kResGood);
    if (type != resources.unique_type) {
        resources.unique_type = type;
        resources.unique_id = 128;
    }
    size_t depth = 0;
    for (int tries = 0; tries <= UINT16_MAX && depth < resources.chain.size();) {
        if (file_at_depth(depth).map.find_id(type, resources.unique_id).found()) {
            resources.unique_id = static_cast<int16_t>(resources.unique_id + 1);
            tries++;
        } else {
            depth++;
        }
    }
    const int16_t id = resources.unique_id;
    resources.unique_id = static_cast<int16_t>(id + 1);
    return id;
}
