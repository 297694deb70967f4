// Measuring and drawing text.
#include "platform/gdi/font.h"
#include "platform/gdi/paint.h"
#include "platform/gdi/record.h"
#include "platform/gdi/rop.h"

#include <algorithm>
#include <cmath>
#include <cstring>

static bool font_smoothing = true;

void SetFontSmoothing(bool on)
{
    font_smoothing = on;
}

static double axis_scale(int viewport, int window)
{
    return std::abs(double(viewport) / window);
}

static double scale_x(const DeviceContext& dc)
{
    return axis_scale(dc.state.viewport_ext.cx, dc.state.window_ext.cx);
}

static double scale_y(const DeviceContext& dc)
{
    return axis_scale(dc.state.viewport_ext.cy, dc.state.window_ext.cy);
}

static std::shared_ptr<RealizedFont> current_font(const DeviceContext& dc)
{
    return realize_font(dc.state.font.object->description, scale_x(dc), scale_y(dc));
}

static int to_units(int pixels, double scale)
{
    return scale == 1 ? pixels : int(std::lround(pixels / scale));
}

bool GetTextMetricsA(HDC handle, TEXTMETRICA* metrics)
{
    const DeviceContext* dc = peek<DeviceContext>(handle);
    if (!dc || !metrics)
        return false;
    *metrics = current_font(*dc)->metrics;
    for (int* v : { &metrics->tmHeight, &metrics->tmAscent, &metrics->tmDescent,
                    &metrics->tmInternalLeading, &metrics->tmExternalLeading })
        *v = to_units(*v, scale_y(*dc));
    for (int* v : { &metrics->tmAveCharWidth, &metrics->tmMaxCharWidth, &metrics->tmOverhang })
        *v = to_units(*v, scale_x(*dc));
    return true;
}

bool GetCharWidthA(HDC handle, uint32_t first, uint32_t last, int* widths)
{
    const DeviceContext* dc = peek<DeviceContext>(handle);
    if (!dc || !widths || first > last || last > 255)
        return false;
    const auto font = current_font(*dc);
    for (uint32_t c = first; c <= last; c++)
        widths[c - first] = to_units(font->advance(uint8_t(c)), scale_x(*dc));
    return true;
}

bool GetTextExtentPointA(HDC handle, const char* text, int count, SIZE* size)
{
    const DeviceContext* dc = peek<DeviceContext>(handle);
    if (!dc || !size || count < 0 || (count > 0 && !text))
        return false;
    const auto font = current_font(*dc);
    const int width = font->text_width(text, count) + (count > 0 ? font->metrics.tmOverhang : 0);
    size->cx = to_units(width, scale_x(*dc));
    size->cy = to_units(font->metrics.tmHeight, scale_y(*dc));
    return true;
}

int GetTextFaceA(HDC handle, int capacity, char* name)
{
    const DeviceContext* dc = peek<DeviceContext>(handle);
    if (!dc)
        return 0;
    const std::string face = current_font(*dc)->face;
    if (!name)
        return int(face.size()) + 1;
    if (capacity <= 0)
        return 0;
    const size_t n = std::min(face.size(), size_t(capacity) - 1);
    memcpy(name, face.data(), n);
    name[n] = 0;
    return int(n) + 1;
}

static uint32_t blend(uint32_t to, uint32_t color, uint32_t alpha)
{
    const auto channel = [&](int shift) {
        const uint32_t a = to >> shift & 255, b = color >> shift & 255;
        return ((a * (255 - alpha) + b * alpha + 127) / 255) << shift;
    };
    return channel(0) | channel(8) | channel(16);
}

static void draw_soft(const GdiSurface& s, const Box& part, const GdiGlyph& glyph, int x, int y,
                      uint32_t color)
{
    for (int row = part.y1; row < part.y2; row++) {
        const uint8_t* cover = &glyph.coverage[size_t(row - y) * size_t(glyph.width)];
        uint8_t* line = s.row(row);
        for (int column = part.x1; column < part.x2; column++) {
            const uint32_t alpha = cover[column - x];
            if (alpha == 0)
                continue;
            uint32_t pixel = color;
            if (alpha < 255) {
                unpack_row(line, s.bits, column, 1, &pixel);
                pixel = blend(pixel, color, alpha);
            }
            pack_row(&pixel, s.bits, column, 1, line);
        }
    }
}

static void draw_hard(const GdiSurface& s, const Box& part, const GdiGlyph& glyph, int x, int y,
                      uint32_t pixel)
{
    const PixelOp op = { 0, pixel };
    for (int row = part.y1; row < part.y2; row++) {
        const uint8_t* cover = &glyph.coverage[size_t(row - y) * size_t(glyph.width)];
        for (int column = part.x1; column < part.x2;) {
            int end = column;
            while (end < part.x2 && cover[end - x])
                end++;
            if (end > column)
                solid_row(s.row(row), s.bits, column, size_t(end - column), op);
            column = end + 1;
        }
    }
}

static void draw_glyphs(const DeviceContext& dc, RealizedFont& font, const char* text, int count,
                        int x, int y)
{
    const GdiSurface& s = dc.surface();
    const bool soft = font_smoothing && !font.always_hard && s.bits >= 24;
    const uint32_t pixel = pixel_of(dc, dc.state.text_color, ColorUse::draw);
    for (int i = 0; i < count; i++) {
        const uint8_t byte = uint8_t(text[i]);
        const GdiGlyph& glyph = font.glyph(byte, soft);
        const int left = x + glyph.left, top = y - glyph.top;
        for_each_clipped(dc.clip(), { left, top, left + glyph.width, top + glyph.height },
                         [&](const Box& part) {
                             if (soft)
                                 draw_soft(s, part, glyph, left, top, pixel);
                             else
                                 draw_hard(s, part, glyph, left, top, pixel);
                         });
        x += font.advance(byte);
    }
}

static void draw_lines(const DeviceContext& dc, const RealizedFont& font, int x, int y, int width)
{
    const GdiPaint paint = solid_paint(pixel_of(dc, dc.state.text_color, ColorUse::draw));
    const uint8_t copy = rop_byte(PATCOPY);
    if (font.metrics.tmUnderlined) {
        const int top = y + font.underline_top;
        fill_box(dc, { x, top, x + width, top + font.line_thickness }, paint, copy);
    }
    if (font.metrics.tmStruckOut) {
        const int top = y - font.strike_top;
        fill_box(dc, { x, top, x + width, top + font.line_thickness }, paint, copy);
    }
}

static void record_text(const DeviceContext& dc, const RealizedFont& font, const char* text,
                        int count, int x, int y, const Box& cell)
{
    DeviceText out;
    out.baseline = { x, y };
    out.bytes.assign(text, size_t(count));
    for (int i = 0; i < count; i++)
        out.advances.push_back(font.advance(uint8_t(text[i])));
    out.font = dc.state.font.object->description;
    out.font.lfHeight = -font.em;
    memset(out.font.lfFaceName, 0, sizeof out.font.lfFaceName);
    memcpy(out.font.lfFaceName, font.face.data(), std::min<size_t>(font.face.size(), 31));
    out.color = color_value(dc, dc.state.text_color);
    out.opaque = dc.state.bk_mode == OPAQUE;
    out.background = color_value(dc, dc.state.bk_color);
    out.box = { cell.x1, cell.y1, cell.x2, cell.y2 };
    record_clip(dc);
    dc.device->Text(out);
}

bool TextOutA(HDC handle, int x, int y, const char* text, int count)
{
    DeviceContext* dc = peek<DeviceContext>(handle);
    if (!dc || count < 0 || (count > 0 && !text))
        return false;
    const auto font = current_font(*dc);
    const uint32_t align = dc->state.text_align;
    const bool update = align & TA_UPDATECP;
    if (update)
        x = dc->state.position.x, y = dc->state.position.y;
    const POINT p = dc->to_surface(x, y);
    const int width = font->text_width(text, count);
    const uint32_t across = align & TA_CENTER, down = align & TA_BASELINE;
    const int left = across == TA_CENTER ? p.x - width / 2 : across == TA_RIGHT ? p.x - width : p.x;
    const int baseline = down == TA_BASELINE ? p.y
                         : down == TA_BOTTOM ? p.y - font->metrics.tmDescent
                                             : p.y + font->metrics.tmAscent;
    const int top = baseline - font->metrics.tmAscent;
    const Box cell = { left, top, left + width, top + font->metrics.tmHeight };
    if (dc->device) {
        record_text(*dc, *font, text, count, left, baseline, cell);
    } else if (count > 0) {
        if (dc->state.bk_mode == OPAQUE)
            fill_box(*dc, cell, solid_paint(pixel_of(*dc, dc->state.bk_color, ColorUse::draw)),
                     rop_byte(PATCOPY));
        draw_glyphs(*dc, *font, text, count, left, baseline);
        draw_lines(*dc, *font, left, baseline, width);
    }
    if (update && across != TA_CENTER) {
        const int moved = to_units(width, scale_x(*dc));
        dc->state.position.x = clamp_coordinate(int64_t(x) + (across == TA_RIGHT ? -moved : moved));
    }
    return true;
}
