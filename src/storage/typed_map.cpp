#include "storage/typed_map.h"

#include <algorithm>
#include <cstring>
#include <utility>

template <class Layout> std::vector<uint8_t> TypedMap<Layout>::empty_bytes()
{
    std::vector<uint8_t> empty(kEmptySize);
    put_be32(&empty[0], 256);
    put_be32(&empty[4], 256);
    put_be32(&empty[12], kEmptySize);
    put_word(&empty[Layout::kTypeListAt], Layout::kHeaderSize);
    put_word(&empty[Layout::kNameListAt], kEmptySize);
    put_word(&empty[Layout::kHeaderSize], kNoWord);
    return empty;
}

// ---- Fields ----

template <class Layout> void TypedMap<Layout>::set_extent(uint32_t map_offset, uint32_t data_length)
{
    put_be32(&bytes[4], map_offset);
    put_be32(&bytes[8], data_length);
}

template <class Layout> void TypedMap<Layout>::set_attributes(uint16_t attributes)
{
    put_be16(&bytes[Layout::kAttributesAt], attributes);
}

template <class Layout> void TypedMap<Layout>::set_length()
{
    put_be32(&bytes[12], static_cast<uint32_t>(bytes.size()));
}

// Counts stand in the file less one. That of types is signed, that of entries is not.
template <class Layout> int32_t TypedMap<Layout>::type_count() const
{
    return static_cast<Id>(get_word(type_list())) + 1;
}

template <class Layout> int32_t TypedMap<Layout>::entry_count(int32_t type) const
{
    const uint32_t count = get_word(item_at(type) + kItemCountAt);
    return count == kNoWord ? 0 : static_cast<int32_t>(count + 1);
}

template <class Layout> std::string_view TypedMap<Layout>::name(ResPlace place) const
{
    const uint32_t offset = get_word(entry_at(place) + kEntryNameAt);
    if (offset == kNoWord)
        return {};
    const uint8_t* counted = &bytes[name_list() + offset];
    return { reinterpret_cast<const char*>(counted + 1), *counted };
}

template <class Layout> uint8_t TypedMap<Layout>::entry_attributes(ResPlace place) const
{
    return bytes[entry_at(place) + Layout::kEntryAttributesAt];
}

template <class Layout>
void TypedMap<Layout>::set_entry_attributes(ResPlace place, uint8_t attributes)
{
    bytes[entry_at(place) + Layout::kEntryAttributesAt] = attributes;
}

// ---- Soundness ----

template <class Layout> bool TypedMap<Layout>::items_fit() const
{
    const uint64_t size = bytes.size();
    if (size < kEmptySize || type_list() < Layout::kHeaderSize ||
        uint64_t(type_list()) + kWord > size || name_list() > size)
        return false;
    const int64_t count = int64_t(static_cast<Id>(get_word(type_list()))) + 1;
    return count >= 0 && type_list() + kWord + kItemSize * static_cast<uint64_t>(count) <= size;
}

template <class Layout> bool TypedMap<Layout>::lists_are_apart() const
{
    struct List {
        uint64_t start, end;
    };
    std::vector<List> lists;
    for (int32_t type = 0; type < type_count(); type++) {
        const uint64_t start = uint64_t(type_list()) + get_word(item_at(type) + kItemListAt);
        const uint32_t last = get_word(item_at(type) + kItemCountAt);
        const uint64_t count = last == kNoWord ? 0 : uint64_t(last) + 1;
        lists.push_back({ start, start + Layout::kEntrySize * count });
    }
    std::sort(lists.begin(), lists.end(), [](const List& a, const List& b) {
        return a.start != b.start ? a.start < b.start : a.end < b.end;
    });
    uint64_t end = item_at(type_count());
    for (const List& list : lists) {
        if (list.start < end)
            return false;
        end = list.end;
    }
    return end <= name_list();
}

template <class Layout> bool TypedMap<Layout>::names_are_inside() const
{
    for (int32_t type = 0; type < type_count(); type++) {
        for (int32_t entry = 0; entry < entry_count(type); entry++) {
            const uint32_t offset = get_word(entry_at({ type, entry }) + kEntryNameAt);
            const uint64_t at = uint64_t(name_list()) + offset;
            if (offset != kNoWord && (at >= bytes.size() || at + 1 + bytes[at] > bytes.size()))
                return false;
        }
    }
    return true;
}

template <class Layout> bool TypedMap<Layout>::is_sound() const
{
    return items_fit() && lists_are_apart() && names_are_inside();
}

// ---- The index ----

template <class Layout> uint64_t TypedMap<Layout>::id_key(int32_t type, Id id)
{
    return uint64_t(static_cast<uint32_t>(type)) << 32 | static_cast<uint32_t>(id);
}

template <class Layout> void TypedMap<Layout>::build_index() const
{
    const std::unordered_map<Handle, Owner> known = std::move(index_.handles);
    index_ = Index();
    size_t entries = 0;
    for (int32_t type = 0; type < type_count(); type++)
        entries += static_cast<size_t>(entry_count(type));
    index_.ids.reserve(entries);
    for (int32_t type = 0; type < type_count(); type++) {
        if (entry_count(type) > 0)
            index_.types.try_emplace(type_at(type), type);
        for (int32_t entry = 0; entry < entry_count(type); entry++) {
            const ResPlace place = { type, entry };
            index_.ids.try_emplace(id_key(type, id(place)), entry);
            const Handle held = get_be32(&bytes[entry_at(place) + Layout::kEntryHandleAt]);
            const auto before = held == 0 ? known.end() : known.find(held);
            if (before == known.end())
                continue;
            const Owner owner = { before->second.generation, false, place };
            const auto [first, fresh] = index_.handles.try_emplace(held, owner);
            first->second.shared = !fresh;
        }
    }
    index_.built = true;
}

template <class Layout> const typename TypedMap<Layout>::Index& TypedMap<Layout>::index() const
{
    if (!index_.built)
        build_index();
    return index_;
}

template <class Layout> int32_t TypedMap<Layout>::find_type(ResType wanted) const
{
    const auto found = index().types.find(wanted);
    return found == index().types.end() ? -1 : found->second;
}

template <class Layout> ResPlace TypedMap<Layout>::find_id(ResType wanted, Id wanted_id) const
{
    int32_t type = wanted == 0 ? 0 : find_type(wanted);
    const int32_t end = wanted == 0 ? type_count() : type + 1;
    for (; type >= 0 && type < end; type++) {
        const auto found = index().ids.find(id_key(type, wanted_id));
        if (found != index().ids.end())
            return { type, found->second };
    }
    return {};
}

template <class Layout>
ResPlace TypedMap<Layout>::find_name(ResType wanted, std::string_view wanted_name) const
{
    int32_t type = wanted == 0 ? 0 : find_type(wanted);
    const int32_t end = wanted == 0 ? type_count() : type + 1;
    for (; type >= 0 && type < end; type++) {
        for (int32_t entry = 0; entry < entry_count(type); entry++) {
            const ResPlace place = { type, entry };
            if (get_word(entry_at(place) + kEntryNameAt) != kNoWord && name(place) == wanted_name)
                return place;
        }
    }
    return {};
}

template <class Layout> ResPlace TypedMap<Layout>::find_handle(Handle wanted) const
{
    const auto found = index().handles.find(wanted);
    if (wanted == 0 || found == index().handles.end() || !HandleIsLive(wanted) ||
        found->second.generation != HandleGeneration(wanted))
        return {};
    return found->second.place;
}

template <class Layout>
bool TypedMap<Layout>::holds_handle(ResType wanted, Handle wanted_handle) const
{
    const ResPlace first = find_handle(wanted_handle);
    if (!first.found() || type_at(first.type) == wanted)
        return first.found();
    const int32_t type = find_type(wanted);
    for (int32_t entry = 0; type >= 0 && entry < entry_count(type); entry++) {
        if (handle({ type, entry }) == wanted_handle)
            return true;
    }
    return false;
}

// ---- Handles ----

// An entry's Handle that was disposed of behind the map's back counts as none.
template <class Layout> Handle TypedMap<Layout>::handle(ResPlace place) const
{
    const Handle held = get_be32(&bytes[entry_at(place) + Layout::kEntryHandleAt]);
    return held != 0 && find_handle(held).found() ? held : 0;
}

template <class Layout> void TypedMap<Layout>::clear_handles()
{
    for (int32_t type = 0; type < type_count(); type++) {
        for (int32_t entry = 0; entry < entry_count(type); entry++)
            put_be32(&bytes[entry_at({ type, entry }) + Layout::kEntryHandleAt], 0);
    }
    index_ = Index();
}

// The table may know the Handle's number from an older Handle that died: whoever held that one has
// none now.
template <class Layout> void TypedMap<Layout>::forget_dead(Handle handle)
{
    const Owner owner = index_.handles[handle];
    index_.handles.erase(handle);
    if (!owner.shared) {
        put_be32(&bytes[entry_at(owner.place) + Layout::kEntryHandleAt], 0);
        return;
    }
    for (int32_t type = 0; type < type_count(); type++) {
        for (int32_t entry = 0; entry < entry_count(type); entry++) {
            uint8_t* held = &bytes[entry_at({ type, entry }) + Layout::kEntryHandleAt];
            if (get_be32(held) == handle)
                put_be32(held, 0);
        }
    }
}

template <class Layout> void TypedMap<Layout>::set_handle(ResPlace place, Handle handle)
{
    index();
    const uint32_t held = entry_at(place) + Layout::kEntryHandleAt;
    const auto before = index_.handles.find(get_be32(&bytes[held]));
    if (before != index_.handles.end()) {
        if (before->second.shared)
            index_.built = false;
        else
            index_.handles.erase(before);
    }
    const auto same = index_.handles.find(handle);
    if (same != index_.handles.end() && same->second.generation != HandleGeneration(handle))
        forget_dead(handle);
    put_be32(&bytes[held], handle);
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
template <class Layout> void TypedMap<Layout>::insert_bytes(uint32_t at, uint32_t count)
{
    bytes.insert(bytes.begin() + at, count, 0);
    set_length();
    put_word(Layout::kNameListAt, name_list() + count);
}

// Adds to the offsets of all lists that begin at or behind a place.
template <class Layout>
void TypedMap<Layout>::move_lists(uint32_t from, uint32_t count, int32_t except)
{
    for (int32_t type = 0; type < type_count(); type++) {
        const uint32_t list = item_at(type) + kItemListAt;
        if (type != except && type_list() + get_word(list) >= from)
            put_word(list, get_word(list) + count);
    }
}

template <class Layout> int32_t TypedMap<Layout>::add_type(ResType type)
{
    const int32_t count = type_count();
    const uint32_t gap = item_at(count); // the first list begins here, or behind a gap of its own
    insert_bytes(gap, kItemSize);
    move_lists(0, kItemSize, -1);
    uint32_t list = kWord + kItemSize;
    if (count > 0)
        list = list_at(count - 1) - type_list() +
               Layout::kEntrySize * static_cast<uint32_t>(entry_count(count - 1));
    put_word(type_list(), static_cast<uint32_t>(count));
    put_be32(&bytes[gap], type);
    put_word(gap + kItemCountAt, kNoWord);
    put_word(gap + kItemListAt, list);
    return count;
}

template <class Layout>
bool TypedMap<Layout>::add(ResType type, Id new_id, std::string_view new_name, Handle handle,
                           uint8_t attributes_)
{
    index();
    int32_t item = find_type(type);
    const uint32_t growth = Layout::kEntrySize + (item < 0 ? kItemSize : 0);
    const uint64_t names = bytes.size() - name_list(); // where a name would begin
    if (uint64_t(name_list()) + growth > kMostBytes || (!new_name.empty() && names >= kNoWord) ||
        bytes.size() + growth + new_name.size() + 1 > INT32_MAX)
        return false;
    if (item < 0) {
        item = add_type(type);
        index_.types.try_emplace(type, item);
    }
    const ResPlace place = { item, entry_count(item) };
    const uint32_t at = entry_at(place);
    insert_bytes(at, Layout::kEntrySize);
    move_lists(at, Layout::kEntrySize, item);
    put_word(item_at(item) + kItemCountAt, static_cast<uint32_t>(place.entry));
    put_word(at, static_cast<uint32_t>(new_id));
    set_entry_attributes(place, attributes_);
    set_name_offset(at, new_name);
    index_.ids.try_emplace(id_key(item, new_id), place.entry);
    set_handle(place, handle);
    set_attributes(attributes() | kMapChanged);
    return true;
}

// Appends the name to the list and points the entry at it; an empty name is none.
template <class Layout>
void TypedMap<Layout>::set_name_offset(uint32_t entry, std::string_view new_name)
{
    const uint32_t offset = static_cast<uint32_t>(bytes.size()) - name_list();
    put_word(entry + kEntryNameAt, new_name.empty() ? kNoWord : offset);
    if (new_name.empty())
        return;
    bytes.push_back(static_cast<uint8_t>(new_name.size()));
    bytes.insert(bytes.end(), new_name.begin(), new_name.end());
    set_length();
}

template <class Layout>
bool TypedMap<Layout>::set_info(ResPlace place, Id new_id, std::string_view new_name)
{
    const uint32_t entry = entry_at(place);
    const uint32_t old = get_word(entry + kEntryNameAt);
    const bool fits = old != kNoWord && name(place).size() >= new_name.size();
    if (!new_name.empty() && !fits && bytes.size() - name_list() >= kNoWord)
        return false;
    if (new_name.empty() || !fits) {
        set_name_offset(entry, new_name);
    } else {
        uint8_t* counted = &bytes[name_list() + old];
        *counted = static_cast<uint8_t>(new_name.size());
        memcpy(counted + 1, new_name.data(), new_name.size());
    }
    if (id(place) != new_id) {
        put_word(entry, static_cast<uint32_t>(new_id));
        index_.built = false;
    }
    set_attributes(attributes() | kMapChanged);
    return true;
}

template <class Layout> void TypedMap<Layout>::remove(ResPlace place)
{
    const uint32_t at = entry_at(place);
    const int32_t count = entry_count(place.type);
    const uint32_t behind = Layout::kEntrySize * static_cast<uint32_t>(count - 1 - place.entry);
    memmove(&bytes[at], &bytes[at] + Layout::kEntrySize, behind);
    put_word(item_at(place.type) + kItemCountAt, static_cast<uint32_t>(count - 2));
    set_attributes(attributes() | kMapCompact | kMapChanged);
    index_.built = false;
}

// ---- Compaction ----

// Bytes of the names that entries refer to; entries that share one count it each.
template <class Layout> uint32_t TypedMap<Layout>::names_size() const
{
    uint64_t size = 0;
    for (int32_t type = 0; type < type_count(); type++) {
        for (int32_t entry = 0; entry < entry_count(type); entry++) {
            const ResPlace place = { type, entry };
            if (get_word(entry_at(place) + kEntryNameAt) != kNoWord)
                size += 1 + name(place).size();
        }
    }
    return static_cast<uint32_t>(std::min<uint64_t>(size, kNoWord));
}

template <class Layout> void TypedMap<Layout>::compact()
{
    std::vector<int32_t> items;
    for (int32_t type = 0; type < type_count(); type++) {
        if (entry_count(type) > 0)
            items.push_back(type);
    }
    std::stable_sort(items.begin(), items.end(),
                     [this](int32_t a, int32_t b) { return list_at(a) < list_at(b); });

    // Names that entries share are written for each, which may not fit: the old list then stays.
    const bool gathers = names_size() < kNoWord;
    uint32_t item_place = type_list() + kWord;
    const uint32_t lists = item_place + kItemSize * static_cast<uint32_t>(items.size());
    std::vector<uint8_t> names;
    std::vector<uint8_t> packed(bytes.begin(), bytes.begin() + lists);
    packed.reserve(bytes.size());
    put_word(&packed[type_list()], static_cast<uint32_t>(items.size()) - 1);
    for (const int32_t type : items) {
        put_be32(&packed[item_place], type_at(type));
        put_word(&packed[item_place + kItemCountAt], static_cast<uint32_t>(entry_count(type) - 1));
        put_word(&packed[item_place + kItemListAt],
                 static_cast<uint32_t>(packed.size()) - type_list());
        item_place += kItemSize;
        for (int32_t i = 0; i < entry_count(type); i++) {
            const uint8_t* entry = &bytes[entry_at({ type, i })];
            const size_t copy = packed.size();
            packed.insert(packed.end(), entry, entry + Layout::kEntrySize);
            const uint32_t offset = get_word(entry_at({ type, i }) + kEntryNameAt);
            if (!gathers || offset == kNoWord)
                continue;
            const uint8_t* counted = &bytes[name_list() + offset];
            put_word(&packed[copy + kEntryNameAt], static_cast<uint32_t>(names.size()));
            names.insert(names.end(), counted, counted + 1 + *counted);
        }
    }
    put_word(&packed[Layout::kNameListAt], static_cast<uint32_t>(packed.size()));
    if (!gathers)
        names.assign(bytes.begin() + name_list(), bytes.end());
    packed.insert(packed.end(), names.begin(), names.end());
    bytes = std::move(packed);
    set_length();
    index_.built = false;
}

template <class Layout> std::vector<uint8_t> TypedMap<Layout>::file_bytes() const
{
    std::vector<uint8_t> copy = bytes;
    memset(&copy[16], 0, Layout::kOwnedSize);
    put_be16(&copy[Layout::kAttributesAt], attributes() & ~(kMapCompact | kMapChanged));
    for (int32_t type = 0; type < type_count(); type++) {
        for (int32_t entry = 0; entry < entry_count(type); entry++)
            put_be32(&copy[entry_at({ type, entry }) + Layout::kEntryHandleAt], 0);
    }
    return copy;
}

template class TypedMap<ResourceLayout>;
template class TypedMap<DatabaseLayout>;
