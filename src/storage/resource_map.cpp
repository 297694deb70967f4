#include "storage/resource_map.h"

#include <algorithm>
#include <cstring>

#include "storage/bytes.h"

// Offsets in the map's header, in a type item and in an entry.
static constexpr uint32_t kAttributesAt = 22;
static constexpr uint32_t kTypeListAt = 24;
static constexpr uint32_t kNameListAt = 26;
static constexpr uint32_t kHeaderSize = 28;
static constexpr uint32_t kItemSize = 8;
static constexpr uint32_t kItemCountAt = 4;
static constexpr uint32_t kItemListAt = 6;
static constexpr uint32_t kEntrySize = 12;
static constexpr uint32_t kEntryNameAt = 2;
static constexpr uint32_t kEntryAttributesAt = 4;
static constexpr uint32_t kEntryHandleAt = 8;
static constexpr uint16_t kNoName = 0xffff;
static constexpr uint32_t kMostListBytes = 0xffff; // what a 16-bit offset can reach

std::vector<uint8_t> empty_resource_map()
{
    std::vector<uint8_t> bytes(kEmptyMapSize);
    put_be32(&bytes[0], 256);
    put_be32(&bytes[4], 256);
    put_be32(&bytes[12], kEmptyMapSize);
    put_be16(&bytes[kTypeListAt], kHeaderSize);
    put_be16(&bytes[kNameListAt], kEmptyMapSize);
    put_be16(&bytes[kHeaderSize], 0xffff);
    return bytes;
}

// ---- Fields ----

uint32_t ResourceMap::map_offset() const
{
    return get_be32(&bytes[4]);
}

uint32_t ResourceMap::data_length() const
{
    return get_be32(&bytes[8]);
}

void ResourceMap::set_extent(uint32_t map_offset, uint32_t data_length)
{
    put_be32(&bytes[4], map_offset);
    put_be32(&bytes[8], data_length);
}

uint16_t ResourceMap::attributes() const
{
    return get_be16(&bytes[kAttributesAt]);
}

void ResourceMap::set_attributes(uint16_t attributes)
{
    put_be16(&bytes[kAttributesAt], attributes);
}

uint32_t ResourceMap::type_list() const
{
    return get_be16(&bytes[kTypeListAt]);
}

uint32_t ResourceMap::name_list() const
{
    return get_be16(&bytes[kNameListAt]);
}

int ResourceMap::type_count() const
{
    return static_cast<int16_t>(get_be16(&bytes[type_list()])) + 1;
}

void ResourceMap::set_type_count(int count)
{
    put_be16(&bytes[type_list()], static_cast<uint16_t>(count - 1));
}

uint32_t ResourceMap::item_at(int type) const
{
    return type_list() + 2 + kItemSize * static_cast<uint32_t>(type);
}

ResType ResourceMap::type_at(int type) const
{
    return get_be32(&bytes[item_at(type)]);
}

int ResourceMap::entry_count(int type) const
{
    return static_cast<uint16_t>(get_be16(&bytes[item_at(type) + kItemCountAt]) + 1);
}

uint32_t ResourceMap::list_at(int type) const
{
    return type_list() + get_be16(&bytes[item_at(type) + kItemListAt]);
}

uint32_t ResourceMap::entry_at(ResPlace place) const
{
    return list_at(place.type) + kEntrySize * static_cast<uint32_t>(place.entry);
}

int16_t ResourceMap::id(ResPlace place) const
{
    return static_cast<int16_t>(get_be16(&bytes[entry_at(place)]));
}

std::string_view ResourceMap::name(ResPlace place) const
{
    const uint16_t offset = get_be16(&bytes[entry_at(place) + kEntryNameAt]);
    if (offset == kNoName)
        return {};
    const uint8_t* counted = &bytes[name_list() + offset];
    return { reinterpret_cast<const char*>(counted + 1), *counted };
}

uint8_t ResourceMap::entry_attributes(ResPlace place) const
{
    return bytes[entry_at(place) + kEntryAttributesAt];
}

void ResourceMap::set_entry_attributes(ResPlace place, uint8_t attributes)
{
    bytes[entry_at(place) + kEntryAttributesAt] = attributes;
}

uint32_t ResourceMap::data_offset(ResPlace place) const
{
    return get_be32(&bytes[entry_at(place) + kEntryAttributesAt]) & 0xffffff;
}

void ResourceMap::set_data_offset(ResPlace place, uint32_t offset)
{
    put_be32(&bytes[entry_at(place) + kEntryAttributesAt],
             uint32_t(entry_attributes(place)) << 24 | offset);
}

// ---- Soundness ----

bool ResourceMap::lists_are_apart() const
{
    struct List {
        uint32_t start, end;
    };
    std::vector<List> lists;
    for (int type = 0; type < type_count(); type++) {
        const uint32_t start = list_at(type);
        lists.push_back({ start, start + kEntrySize * static_cast<uint32_t>(entry_count(type)) });
    }
    std::sort(lists.begin(), lists.end(), [](const List& a, const List& b) {
        return a.start != b.start ? a.start < b.start : a.end < b.end;
    });
    uint32_t end = item_at(type_count());
    for (const List& list : lists) {
        if (list.start < end)
            return false;
        end = list.end;
    }
    return end <= name_list();
}

bool ResourceMap::is_sound() const
{
    const uint32_t size = static_cast<uint32_t>(bytes.size());
    if (size < kEmptyMapSize || type_list() < kHeaderSize || type_list() + 2 > size)
        return false;
    if (type_count() < 0 || item_at(type_count()) > size || name_list() > size)
        return false;
    if (!lists_are_apart())
        return false;
    for (int type = 0; type < type_count(); type++) {
        for (int entry = 0; entry < entry_count(type); entry++) {
            const uint32_t offset = get_be16(&bytes[entry_at({ type, entry }) + kEntryNameAt]);
            const uint32_t at = name_list() + offset;
            if (offset != kNoName && (at >= size || at + 1 + bytes[at] > size))
                return false;
        }
    }
    return true;
}

// ---- The index ----

static uint64_t id_key(int type, int16_t id)
{
    return uint64_t(static_cast<uint32_t>(type)) << 16 | static_cast<uint16_t>(id);
}

void ResourceMap::build_index() const
{
    const std::unordered_map<Handle, Owner> known = std::move(index_.handles);
    index_ = Index();
    for (int type = 0; type < type_count(); type++) {
        if (entry_count(type) > 0)
            index_.types.try_emplace(type_at(type), type);
        for (int entry = 0; entry < entry_count(type); entry++) {
            const ResPlace place = { type, entry };
            index_.ids.try_emplace(id_key(type, id(place)), entry);
            const Handle held = get_be32(&bytes[entry_at(place) + kEntryHandleAt]);
            const auto before = known.find(held);
            if (held == 0 || before == known.end())
                continue;
            const Owner owner = { before->second.generation, false, place };
            const auto [first, fresh] = index_.handles.try_emplace(held, owner);
            first->second.shared = !fresh;
        }
    }
    index_.built = true;
}

const ResourceMap::Index& ResourceMap::index() const
{
    if (!index_.built)
        build_index();
    return index_;
}

int ResourceMap::find_type(ResType wanted) const
{
    const auto found = index().types.find(wanted);
    return found == index().types.end() ? -1 : found->second;
}

ResPlace ResourceMap::find_id(ResType wanted, int16_t wanted_id) const
{
    int type = wanted == 0 ? 0 : find_type(wanted);
    const int end = wanted == 0 ? type_count() : type + 1;
    for (; type >= 0 && type < end; type++) {
        const auto found = index().ids.find(id_key(type, wanted_id));
        if (found != index().ids.end())
            return { type, found->second };
    }
    return {};
}

ResPlace ResourceMap::find_name(ResType wanted, std::string_view wanted_name) const
{
    int type = wanted == 0 ? 0 : find_type(wanted);
    const int end = wanted == 0 ? type_count() : type + 1;
    for (; type >= 0 && type < end; type++) {
        for (int entry = 0; entry < entry_count(type); entry++) {
            const ResPlace place = { type, entry };
            if (get_be16(&bytes[entry_at(place) + kEntryNameAt]) != kNoName &&
                name(place) == wanted_name)
                return place;
        }
    }
    return {};
}

ResPlace ResourceMap::find_handle(Handle wanted) const
{
    const auto found = index().handles.find(wanted);
    if (wanted == 0 || found == index().handles.end() || !HandleIsLive(wanted) ||
        found->second.generation != HandleGeneration(wanted))
        return {};
    return found->second.place;
}

bool ResourceMap::holds_handle(ResType wanted, Handle wanted_handle) const
{
    const ResPlace first = find_handle(wanted_handle);
    if (!first.found() || type_at(first.type) == wanted)
        return first.found();
    const int type = find_type(wanted);
    for (int entry = 0; type >= 0 && entry < entry_count(type); entry++) {
        if (handle({ type, entry }) == wanted_handle)
            return true;
    }
    return false;
}

// An entry's Handle that was disposed of behind the map's back counts as none.
Handle ResourceMap::handle(ResPlace place) const
{
    const Handle held = get_be32(&bytes[entry_at(place) + kEntryHandleAt]);
    return held != 0 && find_handle(held).found() ? held : 0;
}

void ResourceMap::clear_handles()
{
    for (int type = 0; type < type_count(); type++) {
        for (int entry = 0; entry < entry_count(type); entry++)
            put_be32(&bytes[entry_at({ type, entry }) + kEntryHandleAt], 0);
    }
    index_ = Index();
}

// The table may know the Handle's number from an older Handle that died: whoever held that one has
// none now.
void ResourceMap::forget_dead(Handle handle)
{
    for (int type = 0; type < type_count(); type++) {
        for (int entry = 0; entry < entry_count(type); entry++) {
            uint8_t* held = &bytes[entry_at({ type, entry }) + kEntryHandleAt];
            if (get_be32(held) == handle)
                put_be32(held, 0);
        }
    }
    index_.handles.erase(handle);
}

void ResourceMap::set_handle(ResPlace place, Handle handle)
{
    index();
    uint8_t* held = &bytes[entry_at(place) + kEntryHandleAt];
    const auto before = index_.handles.find(get_be32(held));
    if (before != index_.handles.end()) {
        if (before->second.shared)
            index_.built = false;
        else
            index_.handles.erase(before);
    }
    const auto same = index_.handles.find(handle);
    if (same != index_.handles.end() && same->second.generation != HandleGeneration(handle))
        forget_dead(handle);
    put_be32(held, handle);
    if (handle == 0)
        return;
    const auto [owner, fresh] =
        index_.handles.try_emplace(handle, Owner{ HandleGeneration(handle), false, place });
    if (!fresh) {
        owner->second.shared = true;
        index_.built = false; // the first of them in list order is to be found
    }
}

// ---- Changes ----

// Opens a gap below the name list; the lists behind it are the caller's to correct.
void ResourceMap::insert_bytes(uint32_t at, uint32_t count)
{
    bytes.insert(bytes.begin() + at, count, 0);
    put_be32(&bytes[12], static_cast<uint32_t>(bytes.size()));
    put_be16(&bytes[kNameListAt], static_cast<uint16_t>(name_list() + count));
}

int ResourceMap::add_type(ResType type)
{
    const int count = type_count();
    const uint32_t gap = item_at(count); // the first list begins here, or behind a gap of its own
    const uint32_t end = count == 0 ? kItemSize + 2
                                    : list_at(count - 1) - type_list() + kItemSize +
                                          kEntrySize * static_cast<uint32_t>(entry_count(count - 1));
    insert_bytes(gap, kItemSize);
    for (int i = 0; i < count; i++) {
        uint8_t* list = &bytes[item_at(i) + kItemListAt];
        put_be16(list, static_cast<uint16_t>(get_be16(list) + kItemSize));
    }
    set_type_count(count + 1);
    put_be32(&bytes[gap], type);
    put_be16(&bytes[gap + kItemCountAt], 0xffff);
    put_be16(&bytes[gap + kItemListAt], static_cast<uint16_t>(end));
    return count;
}

bool ResourceMap::add(ResType type, int16_t new_id, std::string_view new_name, Handle handle)
{
    index();
    int item = find_type(type);
    const uint32_t growth = kEntrySize + (item < 0 ? kItemSize : 0);
    const uint32_t name_offset =
        static_cast<uint32_t>(bytes.size()) - name_list(); // where a name would begin
    if (name_list() + growth > kMostListBytes || (item < 0 && type_count() == INT16_MAX) ||
        (!new_name.empty() && name_offset >= kNoName))
        return false;
    if (item < 0) {
        item = add_type(type);
        index_.types.try_emplace(type, item);
    }
    const ResPlace place = { item, entry_count(item) };
    const uint32_t at = entry_at(place);
    insert_bytes(at, kEntrySize);
    for (int i = 0; i < type_count(); i++) {
        uint8_t* list = &bytes[item_at(i) + kItemListAt];
        if (i != item && type_list() + get_be16(list) >= at)
            put_be16(list, static_cast<uint16_t>(get_be16(list) + kEntrySize));
    }
    put_be16(&bytes[item_at(item) + kItemCountAt], static_cast<uint16_t>(place.entry));
    put_be16(&bytes[at], static_cast<uint16_t>(new_id));
    put_be32(&bytes[at + kEntryAttributesAt], uint32_t(kResChanged) << 24 | kNoDataOffset);
    set_name_offset(at, new_name);
    index_.ids.try_emplace(id_key(item, new_id), place.entry);
    set_handle(place, handle);
    set_attributes(attributes() | kMapChanged);
    return true;
}

// Appends the name to the list and points the entry at it; an empty name is none.
void ResourceMap::set_name_offset(uint32_t entry, std::string_view new_name)
{
    const uint32_t offset = static_cast<uint32_t>(bytes.size()) - name_list();
    put_be16(&bytes[entry + kEntryNameAt],
             new_name.empty() ? kNoName : static_cast<uint16_t>(offset));
    if (new_name.empty())
        return;
    bytes.push_back(static_cast<uint8_t>(new_name.size()));
    bytes.insert(bytes.end(), new_name.begin(), new_name.end());
    put_be32(&bytes[12], static_cast<uint32_t>(bytes.size()));
}

bool ResourceMap::set_info(ResPlace place, int16_t new_id, std::string_view new_name)
{
    const uint32_t entry = entry_at(place);
    const uint16_t old = get_be16(&bytes[entry + kEntryNameAt]);
    const bool fits = old != kNoName && name(place).size() >= new_name.size();
    if (!new_name.empty() && !fits && bytes.size() - name_list() >= kNoName)
        return false;
    if (new_name.empty() || !fits) {
        set_name_offset(entry, new_name);
    } else {
        uint8_t* counted = &bytes[name_list() + old];
        *counted = static_cast<uint8_t>(new_name.size());
        memcpy(counted + 1, new_name.data(), new_name.size());
    }
    if (id(place) != new_id) {
        put_be16(&bytes[entry], static_cast<uint16_t>(new_id));
        index_.built = false;
    }
    set_attributes(attributes() | kMapChanged);
    return true;
}

void ResourceMap::remove(ResPlace place)
{
    const uint32_t at = entry_at(place);
    const int count = entry_count(place.type);
    const uint32_t behind = kEntrySize * static_cast<uint32_t>(count - 1 - place.entry);
    memmove(&bytes[at], &bytes[at] + kEntrySize, behind);
    put_be16(&bytes[item_at(place.type) + kItemCountAt], static_cast<uint16_t>(count - 2));
    set_attributes(attributes() | kMapCompact | kMapChanged);
    index_.built = false;
}

void ResourceMap::compact()
{
    struct Item {
        ResType type;
        uint32_t list;
        int count;
    };
    std::vector<Item> items;
    uint32_t names_size = 0;
    uint32_t entries = 0;
    for (int type = 0; type < type_count(); type++) {
        if (entry_count(type) == 0)
            continue;
        items.push_back({ type_at(type), list_at(type), entry_count(type) });
        entries += static_cast<uint32_t>(entry_count(type));
        for (int entry = 0; entry < entry_count(type); entry++) {
            const ResPlace place = { type, entry };
            if (get_be16(&bytes[entry_at(place) + kEntryNameAt]) != kNoName)
                names_size += 1 + static_cast<uint32_t>(name(place).size());
        }
    }
    std::stable_sort(items.begin(), items.end(),
                     [](const Item& a, const Item& b) { return a.list < b.list; });

    // Entries that share a name get one each, which may not fit: the old list then stays.
    const bool gathers = names_size < kNoName;
    const uint32_t lists = type_list() + 2 + kItemSize * static_cast<uint32_t>(items.size());
    std::vector<uint8_t> names;
    std::vector<uint8_t> packed(bytes.begin(), bytes.begin() + lists);
    put_be16(&packed[type_list()], static_cast<uint16_t>(items.size() - 1));
    packed.reserve(lists + kEntrySize * entries);
    uint32_t item_place = type_list() + 2;
    for (const Item& item : items) {
        put_be32(&packed[item_place], item.type);
        put_be16(&packed[item_place + kItemCountAt], static_cast<uint16_t>(item.count - 1));
        put_be16(&packed[item_place + kItemListAt],
                 static_cast<uint16_t>(packed.size() - type_list()));
        item_place += kItemSize;
        for (int i = 0; i < item.count; i++) {
            const uint8_t* entry = &bytes[item.list + kEntrySize * static_cast<uint32_t>(i)];
            const size_t copy = packed.size();
            packed.insert(packed.end(), entry, entry + kEntrySize);
            const uint16_t offset = get_be16(entry + kEntryNameAt);
            if (!gathers || offset == kNoName)
                continue;
            const uint8_t* counted = &bytes[name_list() + offset];
            put_be16(&packed[copy + kEntryNameAt], static_cast<uint16_t>(names.size()));
            names.insert(names.end(), counted, counted + 1 + *counted);
        }
    }
    put_be16(&packed[kNameListAt], static_cast<uint16_t>(packed.size()));
    if (gathers)
        packed.insert(packed.end(), names.begin(), names.end());
    else
        packed.insert(packed.end(), bytes.begin() + name_list(), bytes.end());
    put_be32(&packed[12], static_cast<uint32_t>(packed.size()));
    bytes = std::move(packed);
    index_.built = false;
}

std::vector<uint8_t> ResourceMap::file_bytes() const
{
    std::vector<uint8_t> copy = bytes;
    put_be32(&copy[16], 0);
    put_be16(&copy[20], 0);
    put_be16(&copy[kAttributesAt], attributes() & ~(kMapCompact | kMapChanged));
    for (int type = 0; type < type_count(); type++) {
        for (int entry = 0; entry < entry_count(type); entry++)
            put_be32(&copy[entry_at({ type, entry }) + kEntryHandleAt], 0);
    }
    return copy;
}
