// What is asked of and done to one resource, found by its Handle, and resources of known layout.
#include <cstring>

#include "storage/bytes.h"
#include "storage/resource_chain.h"

static void mark_changed(ResFile& file)
{
    file.map.set_attributes(file.map.attributes() | kMapChanged);
}

// ---- Handles ----

void LoadResource(Handle handle)
{
    const ResFound found = find_resource(handle);
    if (found)
        load_entry(*found.file, found.place, LoadMode::normal);
}

void ReleaseResource(Handle handle)
{
    const ResFound found = find_resource(handle);
    if (!found)
        return;
    found.file->map.set_handle(found.place, 0);
    DisposeHandle(handle);
}

void DetachResource(Handle handle)
{
    const ResFound found = find_resource(handle);
    if (found)
        found.file->map.set_handle(found.place, 0);
}

int32_t SizeResource(Handle handle)
{
    const ResFound found = find_resource(handle);
    if (!found)
        return -1;
    if (GetHandleSize(handle) != 0)
        return static_cast<int32_t>(GetHandleSize(handle));
    const uint32_t offset = found.file->map.data_offset(found.place);
    if (offset == kNoDataOffset)
        return -1;
    const int64_t length = stored_length(*found.file, offset);
    if (length < 0)
        set_status(kResReadFailed);
    return static_cast<int32_t>(length);
}

// ---- Entries ----

bool GetResInfo(Handle handle, ResInfo& info)
{
    const ResFound found = find_resource(handle);
    if (!found)
        return false;
    const ResourceMap& map = found.file->map;
    info = { map.id(found.place), map.type_at(found.place.type),
             std::string(map.name(found.place)) };
    return true;
}

void SetResInfo(Handle handle, int16_t id, std::string_view name)
{
    const ResFound found = find_resource(handle);
    if (!found || (found.file->map.entry_attributes(found.place) & kResProtected))
        return;
    if (!found.file->map.set_info(found.place, id, name.substr(0, UINT8_MAX)))
        set_status(kResNoMemory);
}

uint8_t GetResAttrs(Handle handle)
{
    const ResFound found = find_resource(handle);
    return found ? found.file->map.entry_attributes(found.place) : 0;
}

void SetResAttrs(Handle handle, uint8_t attributes)
{
    const ResFound found = find_resource(handle);
    if (!found)
        return;
    found.file->map.set_entry_attributes(found.place, attributes);
    mark_changed(*found.file);
    if (attributes & kResChanged)
        HNoPurge(handle);
}

void ChangedResource(Handle handle)
{
    const ResFound found = find_resource(handle);
    if (!found)
        return;
    ResourceMap& map = found.file->map;
    map.set_entry_attributes(found.place, map.entry_attributes(found.place) | kResChanged);
    mark_changed(*found.file);
    HNoPurge(handle); // a purge would lose the change
}

void AddResource(Handle handle, ResType type, int16_t id, std::string_view name)
{
    ResFile* file = res_file(resources.current);
    if (resources.current == 0 || file == nullptr || !HandleIsLive(handle))
        return set_status(kResAddFailed);
    for (const std::unique_ptr<ResFile>& open : resources.chain) {
        if (open->map.holds_handle(type, handle))
            return set_status(kResAddFailed);
    }
    if (!file->map.add_resource(type, id, name.substr(0, UINT8_MAX), handle))
        return set_status(kResAddFailed);
    HNoPurge(handle);
    resources.counts_dirty = true;
    set_status(kResGood);
}

void RmveResource(Handle handle)
{
    ResFile* file = res_file(resources.current);
    const ResPlace place =
        resources.current == 0 || file == nullptr ? ResPlace() : file->map.find_handle(handle);
    if (!place.found() || (file->map.entry_attributes(place) & kResProtected))
        return set_status(kResRemoveFailed);
    file->map.remove(place);
    resources.counts_dirty = true;
    set_status(kResGood);
}

// ---- Strings and patterns ----

Handle GetString(int16_t id)
{
    return GetResource(res_type("STR "), id);
}

// A resource that begins with a 16-bit count; the count is 0 when it is missing or too short.
struct CountedResource {
    CountedResource(ResType type, int16_t id) : handle(GetResource(type, id))
    {
        if (handle == 0 || HandleIsEmpty(handle))
            return;
        bytes = HLock(handle);
        size = GetHandleSize(handle);
        count = size < 2 ? 0 : static_cast<int16_t>(get_be16(bytes));
    }
    ~CountedResource()
    {
        if (bytes != nullptr)
            HUnlock(handle);
    }
    CountedResource(const CountedResource&) = delete;
    CountedResource& operator=(const CountedResource&) = delete;
    const Handle handle;
    const uint8_t* bytes = nullptr;
    uint32_t size = 0;
    int32_t count = 0;
};

int32_t CountIndStrings(int16_t id)
{
    return CountedResource(res_type("STR#"), id).count;
}

void GetIndString(uint8_t* buffer, int16_t id, int32_t index)
{
    buffer[0] = 0;
    const CountedResource strings(res_type("STR#"), id);
    if (index < 1 || index > strings.count)
        return;
    uint32_t at = 2;
    while (--index > 0 && at < strings.size)
        at += 1u + strings.bytes[at];
    if (at < strings.size && at + 1 + strings.bytes[at] <= strings.size)
        memcpy(buffer, strings.bytes + at, 1u + strings.bytes[at]);
}

void GetIndPattern(uint8_t* buffer, int16_t id, int32_t index)
{
    if (index < 1)
        return;
    if (id != 0) {
        const CountedResource patterns(res_type("PAT#"), id);
        const uint32_t at = 2 + 8 * static_cast<uint32_t>(index - 1);
        if (index <= patterns.count && at + 8 <= patterns.size)
            memcpy(buffer, patterns.bytes + at, 8);
        return;
    }
    if (index == 1) {
        memset(buffer, 0xff, 8);
    } else if (index == 20) {
        memset(buffer, 0, 8);
    } else if (index == 4) {
        for (int i = 0; i < 8; i++)
            buffer[i] = i % 2 == 0 ? 0xaa : 0x55;
    }
}
