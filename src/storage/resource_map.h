// The map of a resource file.
#pragma once

#include "storage/typed_map.h"

constexpr uint32_t kNoDataOffset = 0xffffff;

class ResourceMap : public TypedMap<ResourceLayout> {
public:
    // Of the length word, from the start of the data area; kNoDataOffset: not written yet. The
    // upper byte of its word in the entry holds the attributes.
    uint32_t data_offset(ResPlace place) const
    {
        return get_be32(&bytes[entry_at(place) + ResourceLayout::kEntryAttributesAt]) & 0xffffff;
    }

    void set_data_offset(ResPlace place, uint32_t offset)
    {
        put_be32(&bytes[entry_at(place) + ResourceLayout::kEntryAttributesAt],
                 uint32_t(entry_attributes(place)) << 24 | offset);
    }

    // A changed resource without data in the file.
    bool add_resource(ResType type, int16_t id, std::string_view name, Handle handle)
    {
        if (!add(type, id, name, handle, kResChanged))
            return false;
        const int32_t item = find_type(type);
        set_data_offset({ item, entry_count(item) - 1 }, kNoDataOffset);
        return true;
    }
};
