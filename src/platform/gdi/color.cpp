// How colours become pixels. The rules differ by depth and by use, and are those of the system that
// is stood for; they were found from its pixels, not from a principle.
#include "platform/gdi/color.h"

#include <algorithm>

static bool is_palette_index(COLORREF c)
{
    return c >> 24 == 0x01;
}

static bool is_dib_index(COLORREF c)
{
    return c >> 16 == 0x10FF;
}

uint32_t color_value(const DeviceContext& dc, COLORREF c)
{
    if (is_palette_index(c))
        return dc.state.palette.object->color(c & 0xFFFF);
    if (is_dib_index(c)) {
        const bool indexed = dc.bitmap && dc.surface().indexed() && dc.surface().table;
        return indexed ? dc.surface().table->color(c & 0xFFFF) : 0;
    }
    return color_of_colorref(c);
}

static uint32_t brightness_bit(uint32_t color)
{
    const int r = color >> 16 & 255, g = color >> 8 & 255, b = color & 255;
    const int black = r * r + g * g + b * b;
    const int white = (255 - r) * (255 - r) + (255 - g) * (255 - g) + (255 - b) * (255 - b);
    return white < black;
}

static uint32_t dib_index_pixel(const GdiSurface& surface, uint32_t index)
{
    switch (surface.bits) {
    case 1: return index == 1;
    case 4: return index < 16 ? index : 0;
    case 8: return index & 255;
    default: return 0;
    }
}

// On a bitmap of one bit without a table, pens and brushes know two colours only: the background's,
// and all others, which take the other side. The text colour tells which side that is.
static uint32_t mono_pixel(const DeviceContext& dc, COLORREF c, uint32_t color)
{
    const COLORREF bk = dc.state.bk_color;
    const uint32_t bk_value = color_value(dc, bk);
    const bool bk_white = is_palette_index(bk) ? brightness_bit(bk_value) : bk_value == 0xFFFFFF;
    const bool is_bk = c == bk || color == bk_value;
    if (color_value(dc, dc.state.text_color) == 0 || bk_white)
        return color == 0xFFFFFF || is_bk;
    return !(color == 0 || is_bk);
}

// A table of two: an exact entry, or else the background's nearest and its opposite.
static uint32_t two_color_pixel(const DeviceContext& dc, const GdiColorTable& table, uint32_t color)
{
    const int exact = table.find(color);
    if (exact >= 0)
        return uint32_t(exact);
    const uint32_t bk = color_value(dc, dc.state.bk_color);
    const uint32_t bk_pixel = table.nearest(bk);
    return color == bk ? bk_pixel : bk_pixel ^ 1;
}

uint32_t pixel_of(const DeviceContext& dc, COLORREF c, ColorUse use)
{
    const GdiSurface& surface = dc.surface();
    if (is_dib_index(c))
        return dib_index_pixel(surface, c & 0xFFFF);
    const uint32_t color = color_value(dc, c);
    switch (surface.format) {
    case PixelFormat::mono:
        return use == ColorUse::plot ? brightness_bit(color) : mono_pixel(dc, c, color);
    case PixelFormat::indexed1: return two_color_pixel(dc, *surface.table, color);
    case PixelFormat::indexed4:
    case PixelFormat::indexed8: return surface.table->nearest(color);
    default: return direct_pixel(surface.format, color);
    }
}

uint32_t color_of_pixel(const GdiSurface& surface, uint32_t pixel)
{
    if (surface.format == PixelFormat::mono)
        return pixel ? 0xFFFFFF : 0;
    return surface.indexed() ? surface.table->color(pixel) : direct_color(surface.format, pixel);
}

static bool same_colors(const GdiSurface& a, const GdiSurface& b)
{
    if (a.format != b.format)
        return false;
    return !a.indexed() || a.table == b.table || a.table->colors() == b.table->colors();
}

void PixelConverter::set_table(int bits)
{
    kind_ = Kind::table;
    table_.resize(size_t(1) << bits);
}

static uint32_t nearest_pixel(const GdiSurface& surface, uint32_t color)
{
    return surface.indexed() ? surface.table->nearest(color) : direct_pixel(surface.format, color);
}

// Ones where the source has this pixel.
void PixelConverter::to_mono(const GdiSurface& source, uint32_t pixel)
{
    if (!source.indexed()) {
        kind_ = Kind::match;
        key_ = pixel;
        return;
    }
    set_table(source.bits);
    for (uint32_t i = 0; i < table_.size(); i++)
        table_[i] = i == pixel;
}

void PixelConverter::to_colors(const GdiSurface& source, const GdiSurface& target)
{
    if (target.indexed()) {
        target_table_ = target.table;
        if (!source.indexed()) {
            // A table of two is looked up by the exact colour, larger ones by the colour's cell.
            kind_ = target.bits == 1 ? Kind::nearest : Kind::cells;
            return;
        }
        set_table(source.bits);
        for (uint32_t i = 0; i < table_.size(); i++)
            table_[i] = target.table->nearest(source.table->color(i));
        return;
    }
    if (!source.indexed()) {
        kind_ = Kind::direct;
        return;
    }
    set_table(source.bits);
    for (uint32_t i = 0; i < table_.size(); i++)
        table_[i] = direct_pixel(target.format, source.table->color(i));
}

PixelConverter::PixelConverter(const DeviceContext& source, const DeviceContext& target)
    : from_(source.surface().format), to_(target.surface().format)
{
    if (&source.surface() == &target.surface() || same_colors(source.surface(), target.surface()))
        return;
    if (from_ == PixelFormat::mono) {
        table_ = { pixel_of(target, target.state.text_color, ColorUse::draw),
                   pixel_of(target, target.state.bk_color, ColorUse::draw) };
        kind_ = Kind::table;
    } else if (to_ == PixelFormat::mono) {
        const COLORREF bk = source.state.bk_color;
        to_mono(source.surface(),
                is_dib_index(bk) ? dib_index_pixel(source.surface(), bk & 0xFFFF)
                                 : nearest_pixel(source.surface(), color_value(source, bk)));
    } else {
        to_colors(source.surface(), target.surface());
    }
}

PixelConverter::PixelConverter(const GdiSurface& source, const DeviceContext& target)
    : from_(source.format), to_(target.surface().format)
{
    if (from_ == PixelFormat::mono) {
        if (to_ == PixelFormat::mono)
            return;
        table_ = { pixel_of(target, target.state.text_color, ColorUse::draw),
                   pixel_of(target, target.state.bk_color, ColorUse::draw) };
        kind_ = Kind::table;
    } else if (!same_colors(source, target.surface())) {
        if (to_ == PixelFormat::mono)
            to_mono(source, nearest_pixel(source, 0xFFFFFF));
        else
            to_colors(source, target.surface());
    }
}

PixelConverter::PixelConverter(const GdiSurface& source, const GdiSurface& target)
    : from_(source.format), to_(target.format)
{
    if (same_colors(source, target))
        return;
    GdiSurface from = source, to = target;
    for (GdiSurface* s : { &from, &to }) {
        if (s->format == PixelFormat::mono) {
            s->format = PixelFormat::indexed1;
            s->table = default_color_table(1);
        }
    }
    if (!same_colors(from, to))
        to_colors(from, to);
}

void PixelConverter::run(const uint32_t* in, uint32_t* out, int n) const
{
    switch (kind_) {
    case Kind::identity:
        if (in != out)
            std::copy(in, in + n, out);
        break;
    case Kind::table:
        for (int i = 0; i < n; i++)
            out[i] = table_[in[i]];
        break;
    case Kind::direct:
        for (int i = 0; i < n; i++)
            out[i] = direct_pixel(to_, direct_color(from_, in[i]));
        break;
    case Kind::cells:
        for (int i = 0; i < n; i++)
            out[i] = target_table_->nearest_to_cell(direct_color(from_, in[i]));
        break;
    case Kind::nearest:
        for (int i = 0; i < n; i++)
            out[i] = target_table_->nearest(direct_color(from_, in[i]));
        break;
    case Kind::match: {
        const uint32_t mask = from_ == PixelFormat::bgrx32 ? 0xFFFFFF : 0xFFFFFFFF;
        for (int i = 0; i < n; i++)
            out[i] = (in[i] & mask) == key_;
        break;
    }
    }
}

void PixelConverter::run_row(const uint8_t* row, int x, uint32_t* out, int n) const
{
    if (kind_ == Kind::table && from_ == PixelFormat::indexed8) {
        for (int i = 0; i < n; i++)
            out[i] = table_[row[x + i]];
        return;
    }
    unpack_row(row, pixel_format_bits(from_), x, n, out);
    run(out, out, n);
}
