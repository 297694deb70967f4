// The map at the end of a resource file or a database, kept in memory as its bytes stand in the
// file, big-endian: types, for each a list of entries, and names. It is checked once, when it is
// read; from then on every offset in it is good. An index beside it finds types, ids and Handles
// without walking the lists, which keep their order. A layout tells where the fields are and how
// wide.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "storage/bytes.h"
#include "storage/handles.h"

using ResType = uint32_t; // four characters, the first in the high byte

constexpr ResType res_type(const char (&text)[5])
{
    ResType type = 0;
    for (int i = 0; i < 4; i++)
        type = type << 8 | static_cast<uint8_t>(text[i]);
    return type;
}

// Of an entry, in both formats.
enum ResAttribute : uint8_t {
    kResPurgeable = 0x20,
    kResProtected = 0x08,
    kResPreload = 0x04,
    kResChanged = 0x02,
};

enum MapAttribute : uint16_t {
    kMapReadOnly = 0x80,
    kMapCompact = 0x40,
    kMapChanged = 0x20,
};

// An entry: number entry of the list of type item number type, both from 0.
struct ResPlace {
    int32_t type = -1;
    int32_t entry = -1;
    bool found() const { return entry >= 0; }
};

// Map of a resource file: numbers of 16 bits.
struct ResourceLayout {
    static constexpr uint32_t kWord = 2; // bytes of an id, a count, an offset
    static constexpr uint32_t kAttributesAt = 22;
    static constexpr uint32_t kTypeListAt = 24;
    static constexpr uint32_t kNameListAt = 26;
    static constexpr uint32_t kHeaderSize = 28;
    static constexpr uint32_t kOwnedSize = 6; // bytes from 16 on that mean something in memory only
    static constexpr uint32_t kEntrySize = 12;
    static constexpr uint32_t kEntryAttributesAt = 4;
    static constexpr uint32_t kEntryHandleAt = 8;
    using Id = int16_t;
};

// Map of a database: numbers of 32 bits, but for the map's attributes.
struct DatabaseLayout {
    static constexpr uint32_t kWord = 4;
    static constexpr uint32_t kAttributesAt = 24;
    static constexpr uint32_t kTypeListAt = 26;
    static constexpr uint32_t kNameListAt = 30;
    static constexpr uint32_t kHeaderSize = 34;
    static constexpr uint32_t kOwnedSize = 8;
    static constexpr uint32_t kEntrySize = 26;
    static constexpr uint32_t kEntryAttributesAt = 8;
    static constexpr uint32_t kEntryHandleAt = 22;
    using Id = int32_t;
};

template <class Layout> class TypedMap {
public:
    using Id = typename Layout::Id;
    static constexpr uint32_t kEmptySize = Layout::kHeaderSize + Layout::kWord;

    std::vector<uint8_t> bytes;

    // A map without types, for a file whose data area is empty.
    static std::vector<uint8_t> empty_bytes();

    // Whether lists and names lie inside the map and apart from each other.
    bool is_sound() const;

    // ---- The header ----
    uint32_t map_offset() const { return get_be32(&bytes[4]); }
    uint32_t data_length() const { return get_be32(&bytes[8]); }
    void set_extent(uint32_t map_offset, uint32_t data_length);
    uint16_t attributes() const { return get_be16(&bytes[Layout::kAttributesAt]); }
    void set_attributes(uint16_t attributes);

    // ---- Types: emptied ones keep their item until the map is compacted ----
    int32_t type_count() const;
    ResType type_at(int32_t type) const { return get_be32(&bytes[item_at(type)]); }
    int32_t entry_count(int32_t type) const; // 0 for an emptied type
    int32_t find_type(ResType wanted) const; // the first that is not empty, -1 for none

    // ---- Entries ----
    Id id(ResPlace place) const { return static_cast<Id>(get_word(entry_at(place))); }
    std::string_view name(ResPlace place) const; // empty for none
    uint8_t entry_attributes(ResPlace place) const;
    Handle handle(ResPlace place) const; // 0 for none, or for one that died
    void set_entry_attributes(ResPlace place, uint8_t attributes);
    void set_handle(ResPlace place, Handle handle);
    void clear_handles(); // what a file holds in their place means nothing

    // The first match in list order; a wanted type of 0 means all types.
    ResPlace find_id(ResType wanted, Id id) const;
    ResPlace find_name(ResType wanted, std::string_view name) const;
    ResPlace find_handle(Handle handle) const;
    bool holds_handle(ResType wanted, Handle handle) const;

    // ---- Changes. False when the map's fields leave no room; nothing changed then ----
    bool add(ResType type, Id id, std::string_view name, Handle handle, uint8_t attributes);
    bool set_info(ResPlace place, Id id, std::string_view name);
    void remove(ResPlace place);

    // Puts types in the order of their lists, closes the holes, drops emptied types and names that
    // no entry refers to.
    void compact();

    // For writing: the bytes with the fields cleared that have a meaning in memory only.
    std::vector<uint8_t> file_bytes() const;

    // Forgets what was indexed; the next look-up indexes anew.
    void forget_index() const { index_.built = false; }

protected:
    uint32_t entry_at(ResPlace place) const
    {
        return list_at(place.type) + Layout::kEntrySize * static_cast<uint32_t>(place.entry);
    }

private:
    static constexpr uint32_t kWord = Layout::kWord;
    static constexpr uint32_t kItemSize = 4 + 2 * kWord;
    static constexpr uint32_t kItemCountAt = 4;
    static constexpr uint32_t kItemListAt = 4 + kWord;
    static constexpr uint32_t kEntryNameAt = kWord;
    static constexpr uint32_t kNoWord =
        kWord == 2 ? 0xffff : 0xffffffff; // no name; a count of none
    static constexpr uint32_t kMostBytes =
        kWord == 2 ? 0xffff : 0x7fffffff; // that an offset reaches

    struct Owner {
        uint16_t generation;
        bool shared; // other entries hold the Handle as well, behind this one
        ResPlace place;
    };
    struct Index {
        bool built = false;
        std::unordered_map<ResType, int32_t> types;
        std::unordered_map<uint64_t, int32_t> ids; // by type item and id
        std::unordered_map<Handle, Owner> handles;
    };

    uint32_t get_word(uint32_t at) const
    {
        return kWord == 2 ? get_be16(&bytes[at]) : get_be32(&bytes[at]);
    }
    void put_word(uint32_t at, uint32_t word) { put_word(&bytes[at], word); }
    static void put_word(uint8_t* at, uint32_t word)
    {
        if (kWord == 2)
            put_be16(at, static_cast<uint16_t>(word));
        else
            put_be32(at, word);
    }

    uint32_t type_list() const { return get_word(Layout::kTypeListAt); }
    uint32_t name_list() const { return get_word(Layout::kNameListAt); }
    uint32_t item_at(int32_t type) const
    {
        return type_list() + kWord + kItemSize * static_cast<uint32_t>(type);
    }
    uint32_t list_at(int32_t type) const
    {
        return type_list() + get_word(item_at(type) + kItemListAt);
    }
    static uint64_t id_key(int32_t type, Id id);
    void insert_bytes(uint32_t at, uint32_t count);
    void move_lists(uint32_t from, uint32_t count, int32_t except);
    int32_t add_type(ResType type);
    void set_name_offset(uint32_t entry, std::string_view name);
    void set_length();
    bool items_fit() const;
    bool lists_are_apart() const;
    bool names_are_inside() const;
    uint32_t names_size() const;
    void build_index() const;
    void forget_dead(Handle handle);
    const Index& index() const;

    mutable Index index_;
};
