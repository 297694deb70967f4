// Making pens and brushes.
#include "platform/gdi/brush.h"
#include "platform/gdi/dib.h"
#include "platform/gdi/stroke.h"

#include <cstdlib>

static constexpr uint32_t kMostDashLengths = 16, kLongestDash = 1 << 16;

// Dashes are for thin pens: a wide one of CreatePen is solid. An inside frame of one pixel is too.
static uint32_t plain_style(uint32_t style, int width)
{
    const bool dashed = style >= PS_DASH && style <= PS_DASHDOTDOT;
    const bool plain = (dashed && width > 1) || (style == PS_INSIDEFRAME && width <= 1);
    return plain ? uint32_t(PS_SOLID) : style;
}

HPEN CreatePen(int style, int width, COLORREF color)
{
    if (style < PS_SOLID || style > PS_INSIDEFRAME)
        style = PS_SOLID;
    auto pen = std::make_shared<PenObject>();
    pen->width = clamp_coordinate(std::abs(int64_t(width)));
    pen->style = plain_style(uint32_t(style), pen->width);
    pen->brush.color = color;
    return add<GdiType::pen>(pen);
}

HPEN CreatePenIndirect(const LOGPEN& pen)
{
    return CreatePen(int(pen.lopnStyle & PS_STYLE_MASK), pen.lopnWidth.x, pen.lopnColor);
}

static bool fill_brush(BrushObject* out, const LOGBRUSH& brush);

HPEN ExtCreatePen(uint32_t style, uint32_t width, const LOGBRUSH& brush, uint32_t count,
                  const uint32_t* lengths)
{
    const uint32_t line = style & PS_STYLE_MASK;
    const bool geometric = (style & PS_TYPE_MASK) == PS_GEOMETRIC;
    if (line > PS_ALTERNATE || width > uint32_t(kCoordinateLimit)
        || (!geometric && (width != 1 || line == PS_INSIDEFRAME || brush.lbStyle != BS_SOLID))
        || (geometric && line == PS_ALTERNATE)
        || (line == PS_USERSTYLE) != (count > 0 && lengths) || count > kMostDashLengths)
        return nullptr;
    auto pen = std::make_shared<PenObject>();
    uint32_t total = 0;
    for (uint32_t i = 0; i < count; i++) {
        if (lengths[i] > kLongestDash)
            return nullptr;
        total += lengths[i];
        pen->lengths.push_back(lengths[i]);
    }
    if (count > 0 && total == 0)
        return nullptr;
    pen->style = line;
    pen->end_cap = style & PS_ENDCAP_MASK;
    pen->join = style & PS_JOIN_MASK;
    pen->width = int(width);
    pen->geometric = geometric;
    pen->extended = true;
    if (!fill_brush(&pen->brush, brush))
        return nullptr;
    if (pen->brush.style == BS_NULL)
        pen->style = PS_NULL;
    return add<GdiType::pen>(pen);
}

bool GetPenInfo(HPEN handle, LOGPEN* info)
{
    const PenObject* pen = peek<PenObject>(handle);
    if (!pen || !info)
        return false;
    *info = { pen->style, { pen->width, 0 }, pen->brush.color };
    return true;
}

// Patterns are copied: the bitmap may change or go away.
static std::shared_ptr<BitmapObject> copy_pattern(const GdiSurface& s)
{
    auto copy = make_bitmap(s.width, s.height, s.format, false, false);
    if (!copy)
        return nullptr;
    copy->surface.table = s.table ? std::make_shared<GdiColorTable>(*s.table) : nullptr;
    for (int y = 0; y < s.height; y++)
        move_pixels(copy->surface.row(y), 0, s.row(y), 0, s.bits, s.width);
    return copy;
}

static bool dib_pattern(BrushObject* out, const void* packed, uint32_t usage)
{
    const BITMAPINFO* info = static_cast<const BITMAPINFO*>(packed);
    DibLayout dib;
    if (!read_dib_header(packed, usage, &dib))
        return false;
    const uint8_t* bits = static_cast<const uint8_t*>(packed) + dib.bits_offset(usage);
    GdiSurface surface;
    std::shared_ptr<BitmapObject> holder;
    if (!dib_surface(dib, info, usage, nullptr, bits, &holder, &surface))
        return false;
    out->style = BS_PATTERN;
    if (usage == DIB_PAL_COLORS && surface.indexed()) {
        // The table keeps the indices: which colours they are is known when drawing.
        const uint8_t* p = static_cast<const uint8_t*>(packed) + dib.header_size;
        std::vector<uint32_t> indices(dib.colors);
        for (uint32_t i = 0; i < dib.colors; i++)
            indices[i] = uint32_t(p[2 * i] | p[2 * i + 1] << 8);
        surface.table = std::make_shared<GdiColorTable>(std::move(indices));
        out->palette_colors = true;
    }
    out->pattern = copy_pattern(surface);
    return out->pattern != nullptr;
}

static bool fill_brush(BrushObject* out, const LOGBRUSH& brush)
{
    out->style = brush.lbStyle;
    out->color = brush.lbColor;
    switch (brush.lbStyle) {
    case BS_SOLID:
    case BS_NULL: return true;
    case BS_HATCHED: out->hatch = brush.lbHatch; return brush.lbHatch <= HS_DIAGCROSS;
    case BS_PATTERN: {
        const BitmapObject* bitmap = peek<BitmapObject>(HBITMAP(brush.lbHatch));
        if (bitmap)
            out->pattern = copy_pattern(bitmap->surface);
        return out->pattern != nullptr;
    }
    case BS_DIBPATTERN:
    case BS_DIBPATTERNPT: return dib_pattern(out, brush.lbDib, brush.lbColor);
    default: return false;
    }
}

HBRUSH CreateBrushIndirect(const LOGBRUSH& brush)
{
    auto object = std::make_shared<BrushObject>();
    return fill_brush(object.get(), brush) ? add<GdiType::brush>(object) : HBRUSH();
}

HBRUSH CreateSolidBrush(COLORREF color)
{
    return CreateBrushIndirect({ BS_SOLID, color, 0, nullptr });
}

HBRUSH CreateHatchBrush(int hatch, COLORREF color)
{
    return CreateBrushIndirect({ BS_HATCHED, color, uint32_t(hatch), nullptr });
}

HBRUSH CreatePatternBrush(HBITMAP bitmap)
{
    return CreateBrushIndirect({ BS_PATTERN, 0, bitmap.value, nullptr });
}

HBRUSH CreateDIBPatternBrushPt(const void* packed_dib, uint32_t usage)
{
    return CreateBrushIndirect({ BS_DIBPATTERNPT, usage, 0, packed_dib });
}
