#include "platform/gdi/paint.h"

#include "platform/gdi/rop.h"

#include <algorithm>

GdiPaint solid_paint(uint32_t pixel)
{
    GdiPaint paint;
    paint.kind = GdiPaint::Kind::solid;
    paint.pixel = pixel;
    return paint;
}

// Rows of the six hatches from the brush origin, the left pixel in the high bit.
static const uint8_t hatch_rows[6][8] = {
    { 0x00, 0x00, 0x00, 0xFF, 0x00, 0x00, 0x00, 0x00 },
    { 0x08, 0x08, 0x08, 0x08, 0x08, 0x08, 0x08, 0x08 },
    { 0x80, 0x40, 0x20, 0x10, 0x08, 0x04, 0x02, 0x01 },
    { 0x01, 0x02, 0x04, 0x08, 0x10, 0x20, 0x40, 0x80 },
    { 0x08, 0x08, 0x08, 0xFF, 0x08, 0x08, 0x08, 0x08 },
    { 0x81, 0x42, 0x24, 0x18, 0x18, 0x24, 0x42, 0x81 },
};

static GdiPaint hatch_paint(const DeviceContext& dc, const BrushObject& brush)
{
    const uint32_t fore = pixel_of(dc, brush.color, ColorUse::draw);
    const uint32_t back = pixel_of(dc, dc.state.bk_color, ColorUse::draw);
    GdiPaint paint;
    paint.kind = GdiPaint::Kind::tile;
    paint.width = paint.height = 8;
    for (int i = 0; i < 64; i++) {
        const bool on = hatch_rows[brush.hatch][i >> 3] >> (7 - (i & 7)) & 1;
        paint.tile.push_back(on ? fore : back);
        if (dc.state.bk_mode == TRANSPARENT)
            paint.mask.push_back(on);
    }
    return paint;
}

static GdiPaint pattern_paint(const DeviceContext& dc, const BrushObject& brush)
{
    GdiSurface pattern = brush.pattern->surface;
    if (brush.palette_colors) {
        std::vector<uint32_t> colors;
        for (uint32_t index : pattern.table->colors())
            colors.push_back(dc.state.palette.object->color(index));
        pattern.table = std::make_shared<GdiColorTable>(std::move(colors));
    }
    const PixelConverter converter(pattern, dc);
    GdiPaint paint;
    paint.kind = GdiPaint::Kind::tile;
    paint.width = pattern.width;
    paint.height = pattern.height;
    paint.tile.resize(size_t(pattern.width) * size_t(pattern.height));
    for (int y = 0; y < pattern.height; y++)
        converter.run_row(pattern.row(y), 0, &paint.tile[size_t(y) * size_t(pattern.width)],
                          pattern.width);
    return paint;
}

// The order in which the pixels of an 8 by 8 cell turn white as a colour gets brighter.
static const uint8_t dither_order[8][8] = {
    { 0, 32, 8, 40, 2, 34, 10, 42 },   { 48, 16, 56, 24, 50, 18, 58, 26 },
    { 12, 44, 4, 36, 14, 46, 6, 38 },  { 60, 28, 52, 20, 62, 30, 54, 22 },
    { 3, 35, 11, 43, 1, 33, 9, 41 },   { 51, 19, 59, 27, 49, 17, 57, 25 },
    { 15, 47, 7, 39, 13, 45, 5, 37 },  { 63, 31, 55, 23, 61, 29, 53, 21 },
};

// A bitmap of one bit without a table shows a solid brush as a mix of black and white.
static GdiPaint dithered_paint(uint32_t color)
{
    const uint32_t brightness = (color >> 16 & 255) * 30 + (color >> 8 & 255) * 59
                                + (color & 255) * 11;
    const uint32_t white = (brightness * 64 + 12750) / 25500;  // of 64 pixels
    if (white == 0 || white == 64)
        return solid_paint(white != 0);
    GdiPaint paint;
    paint.kind = GdiPaint::Kind::tile;
    paint.width = paint.height = 8;
    for (const auto& row : dither_order)
        for (const uint8_t order : row)
            paint.tile.push_back(order < white);
    return paint;
}

GdiPaint resolve_brush(const DeviceContext& dc, const BrushObject& brush)
{
    GdiPaint paint;
    switch (brush.style) {
    case BS_SOLID:
        if (dc.surface().format != PixelFormat::mono)
            return solid_paint(pixel_of(dc, brush.color, ColorUse::draw));
        paint = dithered_paint(color_value(dc, brush.color));
        break;
    case BS_HATCHED: paint = hatch_paint(dc, brush); break;
    case BS_PATTERN: paint = pattern_paint(dc, brush); break;
    default: return paint;
    }
    paint.origin = { dc.state.brush_org.x + dc.origin.x, dc.state.brush_org.y + dc.origin.y };
    return paint;
}

GdiPaint resolve_pen(const DeviceContext& dc, const PenObject& pen)
{
    if (pen.style == PS_NULL)
        return {};
    // Plain pens are never mixed.
    if (!pen.extended && pen.brush.style == BS_SOLID)
        return solid_paint(pixel_of(dc, pen.brush.color, ColorUse::draw));
    return resolve_brush(dc, pen.brush);
}

static int wrap(int64_t v, int size)
{
    const int64_t r = v % size;
    return int(r < 0 ? r + size : r);
}

PatternRows::PatternRows(const GdiPaint& paint, int bits, int x1, int x2)
    : paint_(paint), bits_(bits), x1_(x1), x2_(x2), skip_(size_t(x1) * size_t(bits) / 8),
      rows_(size_t(paint.kind == GdiPaint::Kind::solid ? 1 : paint.height))
{
}

const uint8_t* PatternRows::row(int y)
{
    const bool solid = paint_.kind == GdiPaint::Kind::solid;
    const int tile_y = solid ? 0 : wrap(int64_t(y) - paint_.origin.y, paint_.height);
    std::vector<uint8_t>& packed = rows_[size_t(tile_y)];
    if (packed.empty()) {
        const int n = x2_ - x1_;
        std::vector<uint32_t> pixels(size_t(n), paint_.pixel);
        if (!solid) {
            const uint32_t* line = &paint_.tile[size_t(tile_y) * size_t(paint_.width)];
            int tile_x = wrap(int64_t(x1_) - paint_.origin.x, paint_.width);
            for (int i = 0; i < n; i++) {
                pixels[size_t(i)] = line[tile_x];
                tile_x = tile_x + 1 == paint_.width ? 0 : tile_x + 1;
            }
        }
        const size_t first = size_t(x1_) * size_t(bits_) - skip_ * 8;  // bits into our own row
        packed.assign((first + size_t(n) * size_t(bits_) + 7) / 8, 0);
        pack_row(pixels.data(), bits_, bits_ < 8 ? int(first / size_t(bits_)) : 0, n,
                 packed.data());
    }
    return packed.data() - skip_;
}

static void fill_tile(const GdiSurface& s, const Box& b, const GdiPaint& paint, uint8_t rop)
{
    PatternRows rows(paint, s.bits, b.x1, b.x2);
    const size_t first = size_t(b.x1) * size_t(s.bits), bits = size_t(b.x2 - b.x1) * size_t(s.bits);
    for (int y = b.y1; y < b.y2; y++)
        rop_row(rop, s.row(y), nullptr, rows.row(y), first, bits);
}

// Only the pixels that the mask names, run by run.
static void fill_masked(const GdiSurface& s, const Box& b, const GdiPaint& paint, uint8_t rop)
{
    for (int y = b.y1; y < b.y2; y++) {
        const size_t line = size_t(wrap(int64_t(y) - paint.origin.y, paint.height))
                            * size_t(paint.width);
        for (int x = b.x1; x < b.x2; x++) {
            const size_t at = line + size_t(wrap(int64_t(x) - paint.origin.x, paint.width));
            if (paint.mask[at])
                solid_row(s.row(y), s.bits, x, 1, pixel_op(rop, paint.tile[at]));
        }
    }
}

static void fill_solid(const GdiSurface& s, const Box& b, const PixelOp& op)
{
    // Full rows that follow each other in memory are one long row.
    const size_t row_bits = size_t(s.width) * size_t(s.bits);
    if (b.x1 == 0 && b.x2 == s.width && size_t(std::abs(s.stride)) * 8 == row_bits
        && b.y2 > b.y1) {
        uint8_t* first = s.stride > 0 ? s.row(b.y1) : s.row(b.y2 - 1);
        solid_row(first, s.bits, 0, size_t(s.width) * size_t(b.y2 - b.y1), op);
        return;
    }
    for (int y = b.y1; y < b.y2; y++)
        solid_row(s.row(y), s.bits, b.x1, size_t(b.x2 - b.x1), op);
}

void fill_boxes(const DeviceContext& dc, const Box* boxes, size_t count, const GdiPaint& paint,
                uint8_t rop)
{
    const GdiSurface& s = dc.surface();
    const GdiRegion& clip = dc.clip();
    const bool plain = paint.kind == GdiPaint::Kind::solid || !rop_uses_pattern(rop);
    if (!plain && paint.kind == GdiPaint::Kind::none)
        return;
    const PixelOp op = pixel_op(rop, paint.pixel);
    for (size_t i = 0; i < count; i++) {
        for_each_clipped(clip, boxes[i], [&](const Box& part) {
            if (plain)
                fill_solid(s, part, op);
            else if (paint.mask.empty())
                fill_tile(s, part, paint, rop);
            else
                fill_masked(s, part, paint, rop);
        });
    }
}

void fill_box(const DeviceContext& dc, const Box& box, const GdiPaint& paint, uint8_t rop)
{
    fill_boxes(dc, &box, 1, paint, rop);
}

void fill_region(const DeviceContext& dc, const GdiRegion& region, const GdiPaint& paint,
                 uint8_t rop)
{
    int count;
    const Box* boxes = region.boxes(&count);
    fill_boxes(dc, boxes, size_t(count), paint, rop);
}

uint8_t current_rop(const DeviceContext& dc)
{
    return rop_of_rop2(dc.state.rop2);
}
