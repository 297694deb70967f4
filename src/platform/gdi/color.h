// Colours to pixels and conversion of rows between formats.
#pragma once

#include "platform/gdi/dc.h"

// 0xRRGGBB of any COLORREF form, palette indices looked up in the context's palette. DIBINDEX is
// the entry of the surface's table.
uint32_t color_value(const DeviceContext& dc, COLORREF color);

enum class ColorUse { draw, plot };  // pens, brushes and text; SetPixel and GetNearestColor

uint32_t pixel_of(const DeviceContext& dc, COLORREF color, ColorUse use);

// The colour of a pixel of the surface.
uint32_t color_of_pixel(const GdiSurface& surface, uint32_t pixel);

// Pixel numbers of one surface to those of another.
class PixelConverter {
public:
    // From a bitmap that is selected in `source` to the surface of `target`.
    PixelConverter(const DeviceContext& source, const DeviceContext& target);
    // From a DIB or a pattern.
    PixelConverter(const GdiSurface& source, const DeviceContext& target);
    // Between bitmaps without contexts. One bit is black and white.
    PixelConverter(const GdiSurface& source, const GdiSurface& target);

    bool identity() const { return kind_ == Kind::identity; }
    void run(const uint32_t* in, uint32_t* out, int n) const;
    // n pixels of a packed row of the source format from pixel x on, converted.
    void run_row(const uint8_t* row, int x, uint32_t* out, int n) const;

private:
    enum class Kind { identity, table, direct, cells, nearest, match };
    void to_mono(const GdiSurface& source, uint32_t pixel);
    void to_colors(const GdiSurface& source, const GdiSurface& target);
    void set_table(int bits);

    Kind kind_ = Kind::identity;
    PixelFormat from_, to_;
    uint32_t key_ = 0;                  // match: the pixel that becomes 1
    std::vector<uint32_t> table_;
    std::shared_ptr<GdiColorTable> target_table_;
};
