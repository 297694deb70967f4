// Filling: a pen or brush resolved to pixels of one surface, and boxes filled with it.
#pragma once

#include "platform/gdi/color.h"

struct GdiPaint {
    enum class Kind { none, solid, tile };
    Kind kind = Kind::none;
    uint32_t pixel = 0;             // solid
    std::vector<uint32_t> tile;     // pixels of the surface, row by row
    std::vector<uint8_t> mask;      // not empty: 0 leaves a tile's pixel untouched
    int width = 0, height = 0;
    POINT origin;                   // where a tile's left top stands on the surface
};

GdiPaint resolve_brush(const DeviceContext& dc, const BrushObject& brush);
GdiPaint resolve_pen(const DeviceContext& dc, const PenObject& pen);
GdiPaint solid_paint(uint32_t pixel);

// The packed rows of a paint over columns x1 to x2 of one surface, each made once.
class PatternRows {
public:
    PatternRows(const GdiPaint& paint, int bits, int x1, int x2);
    // A row whose bit positions are those of the surface's rows; it holds x1..x2 only, so the
    // pointer is shifted back to where column 0 would be.
    const uint8_t* row(int y);

private:
    const GdiPaint& paint_;
    const int bits_, x1_, x2_;
    size_t skip_ = 0;  // whole bytes of the surface's row left out
    std::vector<std::vector<uint8_t>> rows_;
};

// Fills boxes (surface coordinates), clipped by the context, with a ternary operation that doesn't
// use a source.
void fill_boxes(const DeviceContext& dc, const Box* boxes, size_t count, const GdiPaint& paint,
                uint8_t rop);
void fill_box(const DeviceContext& dc, const Box& box, const GdiPaint& paint, uint8_t rop);
void fill_region(const DeviceContext& dc, const GdiRegion& region, const GdiPaint& paint,
                 uint8_t rop);

// The ternary operation of the context's ROP2.
uint8_t current_rop(const DeviceContext& dc);
