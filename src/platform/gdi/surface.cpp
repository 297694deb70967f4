#include "platform/gdi/surface.h"

#include <algorithm>

static constexpr uint16_t kUnknownCell = 0xFFFF;

void GdiColorTable::set(size_t index, uint32_t color)
{
    if (index < colors_.size()) {
        colors_[index] = color;
        cells_.clear();
    }
}

int GdiColorTable::find(uint32_t color) const
{
    const auto at = std::find(colors_.begin(), colors_.end(), color);
    return at == colors_.end() ? -1 : int(at - colors_.begin());
}

uint32_t GdiColorTable::nearest(uint32_t color) const
{
    uint32_t best = 0;
    int least = 1 << 30;
    const int r = color >> 16 & 255, g = color >> 8 & 255, b = color & 255;
    for (size_t i = 0; i < colors_.size(); i++) {
        const int dr = int(colors_[i] >> 16 & 255) - r, dg = int(colors_[i] >> 8 & 255) - g,
                  db = int(colors_[i] & 255) - b;
        const int distance = dr * dr + dg * dg + db * db;
        if (distance < least) {
            least = distance;
            best = uint32_t(i);
        }
    }
    return best;
}

uint32_t GdiColorTable::nearest_to_cell(uint32_t color) const
{
    if (cells_.empty())
        cells_.assign(1 << 15, kUnknownCell);
    uint16_t& cell = cells_[(color >> 9 & 0x7C00) | (color >> 6 & 0x3E0) | (color >> 3 & 0x1F)];
    if (cell == kUnknownCell)
        cell = uint16_t(nearest((color & 0xF8F8F8) | 0x040404));
    return cell;
}

int pixel_format_bits(PixelFormat format)
{
    switch (format) {
    case PixelFormat::mono:
    case PixelFormat::indexed1: return 1;
    case PixelFormat::indexed4: return 4;
    case PixelFormat::indexed8: return 8;
    case PixelFormat::rgb555:
    case PixelFormat::rgb565: return 16;
    case PixelFormat::bgr24: return 24;
    case PixelFormat::bgrx32: break;
    }
    return 32;
}

uint32_t pixel_mask(int bits)
{
    return bits == 32 ? 0xFFFFFFFF : (1u << bits) - 1;
}

static uint32_t widen5(uint32_t v)
{
    return v << 3 | v >> 2;
}

uint32_t direct_color(PixelFormat format, uint32_t p)
{
    if (format == PixelFormat::rgb555)
        return widen5(p >> 10 & 31) << 16 | widen5(p >> 5 & 31) << 8 | widen5(p & 31);
    if (format == PixelFormat::rgb565) {
        const uint32_t green = p >> 5 & 63;
        return widen5(p >> 11 & 31) << 16 | (green << 2 | green >> 4) << 8 | widen5(p & 31);
    }
    return p & 0xFFFFFF;
}

uint32_t direct_pixel(PixelFormat format, uint32_t c)
{
    if (format == PixelFormat::rgb555)
        return (c >> 9 & 0x7C00) | (c >> 6 & 0x3E0) | (c >> 3 & 0x1F);
    if (format == PixelFormat::rgb565)
        return (c >> 8 & 0xF800) | (c >> 5 & 0x7E0) | (c >> 3 & 0x1F);
    return c & 0xFFFFFF;
}

uint32_t get_pixel(const GdiSurface& surface, int x, int y)
{
    uint32_t pixel;
    unpack_row(surface.row(y), surface.bits, x, 1, &pixel);
    return pixel;
}

void put_pixel(const GdiSurface& surface, int x, int y, uint32_t pixel)
{
    pack_row(&pixel, surface.bits, x, 1, surface.row(y));
}

void unpack_row(const uint8_t* row, int bits, int x, int n, uint32_t* out)
{
    switch (bits) {
    case 1:
        for (int i = 0; i < n; i++, x++)
            out[i] = row[x >> 3] >> (7 - (x & 7)) & 1;
        break;
    case 4:
        for (int i = 0; i < n; i++, x++)
            out[i] = x & 1 ? row[x >> 1] & 15 : row[x >> 1] >> 4;
        break;
    case 8:
        for (int i = 0; i < n; i++)
            out[i] = row[x + i];
        break;
    case 16:
        for (int i = 0; i < n; i++) {
            uint16_t v;
            memcpy(&v, row + 2 * (x + i), 2);
            out[i] = v;
        }
        break;
    case 24: {
        const uint8_t* p = row + 3 * ptrdiff_t(x);
        for (int i = 0; i < n; i++, p += 3)
            out[i] = p[0] | p[1] << 8 | uint32_t(p[2]) << 16;
        break;
    }
    default: memcpy(out, row + 4 * ptrdiff_t(x), size_t(n) * 4); break;
    }
}

void pack_row(const uint32_t* pixels, int bits, int x, int n, uint8_t* row)
{
    switch (bits) {
    case 1: {
        int i = 0;
        for (; i < n && (x & 7) != 0; i++, x++)
            row[x >> 3] = uint8_t((row[x >> 3] & ~(0x80 >> (x & 7)))
                                  | (pixels[i] & 1) << (7 - (x & 7)));
        for (; i + 8 <= n; i += 8, x += 8) {
            uint32_t v = 0;
            for (int k = 0; k < 8; k++)
                v = v << 1 | (pixels[i + k] & 1);
            row[x >> 3] = uint8_t(v);
        }
        for (; i < n; i++, x++)
            row[x >> 3] = uint8_t((row[x >> 3] & ~(0x80 >> (x & 7)))
                                  | (pixels[i] & 1) << (7 - (x & 7)));
        break;
    }
    case 4:
        for (int i = 0; i < n; i++, x++) {
            uint8_t& byte = row[x >> 1];
            byte = uint8_t(x & 1 ? (byte & 0xF0) | (pixels[i] & 15)
                                 : (byte & 0x0F) | (pixels[i] & 15) << 4);
        }
        break;
    case 8:
        for (int i = 0; i < n; i++)
            row[x + i] = uint8_t(pixels[i]);
        break;
    case 16:
        for (int i = 0; i < n; i++) {
            const uint16_t v = uint16_t(pixels[i]);
            memcpy(row + 2 * (x + i), &v, 2);
        }
        break;
    case 24: {
        uint8_t* p = row + 3 * ptrdiff_t(x);
        for (int i = 0; i < n; i++, p += 3) {
            p[0] = uint8_t(pixels[i]);
            p[1] = uint8_t(pixels[i] >> 8);
            p[2] = uint8_t(pixels[i] >> 16);
        }
        break;
    }
    default: memcpy(row + 4 * ptrdiff_t(x), pixels, size_t(n) * 4); break;
    }
}

// One-bit rows are moved a byte at a time once the target stands at a byte's start.
static void move_bits(uint8_t* to, int to_x, const uint8_t* from, int from_x, int n)
{
    const auto one = [&] {
        const int bit = from[from_x >> 3] >> (7 - (from_x & 7)) & 1;
        to[to_x >> 3] = uint8_t((to[to_x >> 3] & ~(0x80 >> (to_x & 7))) | bit << (7 - (to_x & 7)));
        to_x++, from_x++, n--;
    };
    while (n > 0 && (to_x & 7) != 0)
        one();
    uint8_t* out = to + (to_x >> 3);
    const uint8_t* in = from + (from_x >> 3);
    const int shift = from_x & 7, bytes = n >> 3;
    for (int i = 0; i < bytes; i++)
        out[i] = shift ? uint8_t(in[i] << shift | in[i + 1] >> (8 - shift)) : in[i];
    to_x += bytes * 8, from_x += bytes * 8, n -= bytes * 8;
    while (n > 0)
        one();
}

void move_pixels(uint8_t* to, int to_x, const uint8_t* from, int from_x, int bits, int n)
{
    if (bits >= 8) {
        const ptrdiff_t size = bits / 8;
        memcpy(to + to_x * size, from + from_x * size, size_t(n * size));
    } else if (bits == 1) {
        move_bits(to, to_x, from, from_x, n);
    } else if (((to_x ^ from_x) & 1) == 0 && (to_x & 1) == 0 && (n & 1) == 0) {
        memcpy(to + to_x / 2, from + from_x / 2, size_t(n / 2));
    } else {
        uint32_t pixels[256];
        for (int i = 0; i < n; i += 256) {
            const int part = std::min(256, n - i);
            unpack_row(from, 4, from_x + i, part, pixels);
            pack_row(pixels, 4, to_x + i, part, to);
        }
    }
}

const uint32_t* gdi_system_colors()
{
    static const uint32_t colors[20] = {
        0x000000, 0x800000, 0x008000, 0x808000, 0x000080, 0x800080, 0x008080,
        0xC0C0C0, 0xC0DCC0, 0xA6CAF0, 0xFFFBF0, 0xA0A0A4, 0x808080, 0xFF0000,
        0x00FF00, 0xFFFF00, 0x0000FF, 0xFF00FF, 0x00FFFF, 0xFFFFFF
    };
    return colors;
}

std::shared_ptr<GdiColorTable> default_color_table(int bits)
{
    static const uint32_t vga[16] = {
        0x000000, 0x800000, 0x008000, 0x808000, 0x000080, 0x800080, 0x008080, 0x808080,
        0xC0C0C0, 0xFF0000, 0x00FF00, 0xFFFF00, 0x0000FF, 0xFF00FF, 0x00FFFF, 0xFFFFFF
    };
    if (bits == 1)
        return std::make_shared<GdiColorTable>(std::vector<uint32_t>{ 0x000000, 0xFFFFFF });
    if (bits == 4)
        return std::make_shared<GdiColorTable>(std::vector<uint32_t>(vga, vga + 16));
    // The system colours at both ends; between them 3 bits of red, 3 of green, 2 of blue.
    std::vector<uint32_t> colors(256);
    for (uint32_t i = 0; i < 256; i++)
        colors[i] = (i & 7) << 21 | (i >> 3 & 7) << 13 | (i >> 6) << 6;
    std::copy(gdi_system_colors(), gdi_system_colors() + 10, colors.begin());
    std::copy(gdi_system_colors() + 10, gdi_system_colors() + 20, colors.end() - 10);
    return std::make_shared<GdiColorTable>(std::move(colors));
}
