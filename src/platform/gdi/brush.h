// Pens and brushes as they were made; what they mean on a surface is resolved when drawing.
#pragma once

#include "platform/gdi/bitmap.h"

struct BrushObject : GdiObject {
    static constexpr GdiType kType = GdiType::brush;
    BrushObject() : GdiObject(kType) { }

    uint32_t style = BS_SOLID;  // BS_SOLID, BS_NULL, BS_HATCHED or BS_PATTERN
    COLORREF color = 0;
    uint32_t hatch = 0;
    std::shared_ptr<BitmapObject> pattern;  // a copy of our own
    bool palette_colors = false;            // the pattern's table holds palette indices
};

struct PenObject : GdiObject {
    static constexpr GdiType kType = GdiType::pen;
    PenObject() : GdiObject(kType) { }

    uint32_t style = PS_SOLID;
    uint32_t end_cap = PS_ENDCAP_ROUND, join = PS_JOIN_ROUND;
    int width = 1;  // logical units; 0 is one pixel
    bool geometric = false;  // of ExtCreatePen
    bool extended = false;
    BrushObject brush;
    std::vector<uint32_t> lengths;  // of PS_USERSTYLE
};
