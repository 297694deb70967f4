// Logical palettes.
#pragma once

#include "platform/gdi/objects.h"

#include <vector>

struct PaletteObject : GdiObject {
    static constexpr GdiType kType = GdiType::palette;
    PaletteObject() : GdiObject(kType) { }

    std::vector<PALETTEENTRY> entries;

    // The colour of an entry, 0xRRGGBB; an index beyond the palette is entry 0. Entries with
    // PC_EXPLICIT are places in the display's own table.
    uint32_t color(uint32_t index) const;
};

HGDIOBJ make_default_palette();
