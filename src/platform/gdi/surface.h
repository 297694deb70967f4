// Pixel memory: formats, colour tables, and rows of pixels as numbers or packed.
//
// Inside the layer a colour is 0xRRGGBB, the same as a 32-bit pixel; a pixel number is what stands
// in memory, right aligned.
#pragma once

#include "platform/gdi.h"
#include "platform/gdi/region.h"

#include <cstring>
#include <memory>
#include <vector>

enum class PixelFormat : uint8_t {
    mono,  // one bit; its colours are those of the context, 1 is white or the background
    indexed1, indexed4, indexed8, rgb555, rgb565, bgr24, bgrx32
};

inline uint32_t color_of_colorref(COLORREF c)  // of a plain RGB COLORREF
{
    return (c & 255) << 16 | (c & 0xFF00) | (c >> 16 & 255);
}

inline COLORREF colorref_of(uint32_t color)
{
    return color_of_colorref(color);
}

// Least squared distance wins, then the lowest index.
class GdiColorTable {
public:
    explicit GdiColorTable(std::vector<uint32_t> colors) : colors_(std::move(colors)) { }

    size_t size() const { return colors_.size(); }
    uint32_t color(uint32_t index) const { return index < colors_.size() ? colors_[index] : 0; }
    const std::vector<uint32_t>& colors() const { return colors_; }
    void set(size_t index, uint32_t color);
    int find(uint32_t color) const;  // exact match, or -1
    uint32_t nearest(uint32_t color) const;
    // Nearest to the middle of the 32-level cells that the channels lie in. Remembered a cell.
    uint32_t nearest_to_cell(uint32_t color) const;

private:
    std::vector<uint32_t> colors_;
    mutable std::vector<uint16_t> cells_;
};

struct GdiSurface {
    uint8_t* top = nullptr;  // the first row as seen
    ptrdiff_t stride = 0;    // to the next row below; negative for bottom-up memory
    int width = 0, height = 0;
    PixelFormat format = PixelFormat::bgrx32;
    int bits = 32;
    std::shared_ptr<GdiColorTable> table;  // of indexed formats

    uint8_t* row(int y) const { return top + stride * y; }
    Box box() const { return { 0, 0, width, height }; }
    bool indexed() const
    {
        return format >= PixelFormat::indexed1 && format <= PixelFormat::indexed8;
    }
};

int pixel_format_bits(PixelFormat format);
uint32_t pixel_mask(int bits);

// A 5-5-5, 5-6-5, 24- or 32-bit pixel as a colour and back; conversion down drops low bits.
uint32_t direct_color(PixelFormat format, uint32_t pixel);
uint32_t direct_pixel(PixelFormat format, uint32_t color);

uint32_t get_pixel(const GdiSurface& surface, int x, int y);
void put_pixel(const GdiSurface& surface, int x, int y, uint32_t pixel);

// n pixels of row y from x on, as numbers.
void unpack_row(const uint8_t* row, int bits, int x, int n, uint32_t* out);

// n pixel numbers into a packed row, from pixel x of that row on; other pixels stay.
void pack_row(const uint32_t* pixels, int bits, int x, int n, uint8_t* row);

// n pixels from one packed row to another at any pixel positions. The rows don't overlap.
void move_pixels(uint8_t* to, int to_x, const uint8_t* from, int from_x, int bits, int n);

// The default colour tables: 256 entries for 8 bits, 16 for 4, black and white for 1; and the 20
// system colours.
std::shared_ptr<GdiColorTable> default_color_table(int bits);
const uint32_t* gdi_system_colors();
