// The map of a resource file, kept in memory as its bytes stand in the file, big-endian. It is
// checked once, when it is read; from then on every offset in it is good. An index beside it finds
// types, ids and Handles without walking the lists, which keep their order.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "storage/handles.h"

using ResType = uint32_t; // four characters, the first in the high byte

constexpr ResType res_type(const char (&text)[5])
{
    ResType type = 0;
    for (int i = 0; i < 4; i++)
        type = type << 8 | static_cast<uint8_t>(text[i]);
    return type;
}

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

constexpr uint32_t kEmptyMapSize = 30;
constexpr uint32_t kNoDataOffset = 0xffffff;

// An entry: number entry of the list of type item number type, both from 0.
struct ResPlace {
    int type = -1;
    int entry = -1;
    bool found() const { return entry >= 0; }
};

struct ResourceMap {
    std::vector<uint8_t> bytes;

    // Whether lists and names lie inside the map and apart from each other.
    bool is_sound() const;

    // ---- The header ----
    uint32_t map_offset() const;
    uint32_t data_length() const;
    void set_extent(uint32_t map_offset, uint32_t data_length);
    uint16_t attributes() const;
    void set_attributes(uint16_t attributes);

    // ---- Types: emptied ones keep their item until the map is compacted ----
    int type_count() const;
    ResType type_at(int type) const;
    int entry_count(int type) const;     // 0 for an emptied type
    int find_type(ResType wanted) const; // the first that is not empty, -1 for none

    // ---- Entries ----
    int16_t id(ResPlace place) const;
    std::string_view name(ResPlace place) const; // empty for none
    uint8_t entry_attributes(ResPlace place) const;
    uint32_t data_offset(ResPlace place) const; // kNoDataOffset: not written yet
    Handle handle(ResPlace place) const;        // 0 for none, or for one that died
    void set_entry_attributes(ResPlace place, uint8_t attributes);
    void set_data_offset(ResPlace place, uint32_t offset);
    void set_handle(ResPlace place, Handle handle);
    void clear_handles(); // what a file holds in their place means nothing

    // The first match in list order; a wanted type of 0 means all types.
    ResPlace find_id(ResType wanted, int16_t id) const;
    ResPlace find_name(ResType wanted, std::string_view name) const;
    ResPlace find_handle(Handle handle) const;
    bool holds_handle(ResType wanted, Handle handle) const;

    // ---- Changes. False when the map's 16-bit fields leave no room; nothing changed then ----
    bool add(ResType type, int16_t id, std::string_view name, Handle handle);
    bool set_info(ResPlace place, int16_t id, std::string_view name);
    void remove(ResPlace place);

    // Puts types in the order of their lists, closes the holes, drops emptied types and names that
    // no entry refers to.
    void compact();

    // For writing: the bytes with the fields cleared that have a meaning in memory only.
    std::vector<uint8_t> file_bytes() const;

    // Forgets what was indexed; the next look-up indexes anew.
    void forget_index() const { index_.built = false; }

private:
    struct Owner {
        uint16_t generation;
        bool shared; // other entries hold the Handle as well, behind this one
        ResPlace place;
    };
    struct Index {
        bool built = false;
        std::unordered_map<ResType, int> types;
        std::unordered_map<uint64_t, int> ids; // by type item and id
        std::unordered_map<Handle, Owner> handles;
    };

    uint32_t type_list() const;
    uint32_t name_list() const;
    uint32_t item_at(int type) const;
    uint32_t list_at(int type) const;
    uint32_t entry_at(ResPlace place) const;
    void set_type_count(int count);
    void forget_dead(Handle handle);
    void insert_bytes(uint32_t at, uint32_t count);
    int add_type(ResType type);
    void set_name_offset(uint32_t entry, std::string_view name);
    bool lists_are_apart() const;
    void build_index() const;
    const Index& index() const;

    mutable Index index_;
};

std::vector<uint8_t> empty_resource_map();
