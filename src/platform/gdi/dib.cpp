// DIB headers come from files and other programs: every field is checked before it is used.
#include "platform/gdi/dib.h"

#include "platform/gdi/color.h"

#include <algorithm>

static constexpr size_t kCoreHeader = 12, kInfoHeader = 40, kMasks = 12;
static constexpr int64_t kLargestSide = 1 << 24;

static uint32_t word_at(const uint8_t* p, size_t offset)
{
    uint32_t v;
    memcpy(&v, p + offset, 4);
    return v;
}

static uint32_t half_at(const uint8_t* p, size_t offset)
{
    uint16_t v;
    memcpy(&v, p + offset, 2);
    return v;
}

size_t DibLayout::table_bytes(uint32_t usage) const
{
    return size_t(colors) * (usage == DIB_PAL_COLORS ? 2 : core ? 3 : 4);
}

bool DibLayout::plain_format(PixelFormat* format) const
{
    const auto are = [this](uint32_t r, uint32_t g, uint32_t b) {
        return masks[0] == r && masks[1] == g && masks[2] == b;
    };
    switch (bits) {
    case 1: *format = PixelFormat::indexed1; return true;
    case 4: *format = PixelFormat::indexed4; return true;
    case 8: *format = PixelFormat::indexed8; return true;
    case 16:
        *format = are(0xF800, 0x7E0, 0x1F) ? PixelFormat::rgb565 : PixelFormat::rgb555;
        return *format == PixelFormat::rgb565 || are(0x7C00, 0x3E0, 0x1F);
    case 24: *format = PixelFormat::bgr24; return true;
    default: *format = PixelFormat::bgrx32; return are(0xFF0000, 0xFF00, 0xFF);
    }
}

static bool compression_fits(const DibLayout& dib)
{
    switch (dib.compression) {
    case BI_RGB: return true;
    case BI_RLE8: return dib.bits == 8 && !dib.top_down;
    case BI_RLE4: return dib.bits == 4 && !dib.top_down;
    case BI_BITFIELDS: return dib.bits == 16 || dib.bits == 32;
    default: return false;
    }
}

static void default_masks(DibLayout* dib)
{
    if (dib->bits == 16)
        dib->masks[0] = 0x7C00, dib->masks[1] = 0x3E0, dib->masks[2] = 0x1F;
    else
        dib->masks[0] = 0xFF0000, dib->masks[1] = 0xFF00, dib->masks[2] = 0xFF;
}

bool read_dib_header(const void* info, uint32_t usage, DibLayout* dib, size_t available)
{
    if (!info || usage > DIB_PAL_COLORS || available < kCoreHeader)
        return false;
    const uint8_t* p = static_cast<const uint8_t*>(info);
    const uint32_t size = word_at(p, 0);
    *dib = DibLayout();
    dib->core = size == kCoreHeader;
    int64_t width, height;
    uint32_t used = 0, planes;
    if (dib->core) {
        width = half_at(p, 4);
        height = half_at(p, 6);
        planes = half_at(p, 8);
        dib->bits = int(half_at(p, 10));
    } else {
        if (size < kInfoHeader || size > 1024 || available < size)
            return false;
        width = int32_t(word_at(p, 4));
        height = int32_t(word_at(p, 8));
        planes = half_at(p, 12);
        dib->bits = int(half_at(p, 14));
        dib->compression = word_at(p, 16);
        dib->rle_size = word_at(p, 20);
        used = word_at(p, 32);
    }
    dib->top_down = height < 0;
    height = std::abs(height);
    const int bits = dib->bits;
    const bool depth_ok = bits == 1 || bits == 4 || bits == 8 || bits == 16 || bits == 24
                          || bits == 32;
    if (!depth_ok || planes != 1 || width <= 0 || height == 0 || width > kLargestSide
        || height > kLargestSide || !compression_fits(*dib))
        return false;
    dib->width = int(width);
    dib->height = int(height);
    dib->header_size = size;
    default_masks(dib);
    if (dib->compression == BI_BITFIELDS) {
        const size_t need = kInfoHeader + kMasks;
        if (available < need)
            return false;
        for (size_t i = 0; i < 3; i++)
            dib->masks[i] = word_at(p, kInfoHeader + 4 * i);
        dib->header_size = std::max<size_t>(size, need);
    }
    // Direct formats may carry a table of colours that a display would like; it is passed over.
    const uint32_t most = bits <= 8 ? 1u << bits : 256;
    if (used > most)
        return false;
    dib->colors = used != 0 || bits > 8 ? used : most;
    dib->stride = dib_stride(width, bits);
    if (dib->stride == 0 || size_t(height) > kLargestBitmap / dib->stride)
        return false;
    dib->image_size = dib->stride * size_t(height);
    return true;
}

std::shared_ptr<GdiColorTable> dib_table(const DibLayout& dib, const BITMAPINFO* info,
                                         uint32_t usage, const DeviceContext* dc)
{
    const uint8_t* p = reinterpret_cast<const uint8_t*>(info) + dib.header_size;
    std::vector<uint32_t> colors(dib.colors);
    for (uint32_t i = 0; i < dib.colors; i++) {
        if (usage == DIB_PAL_COLORS)
            colors[i] = dc ? dc->state.palette.object->color(half_at(p, 2 * i)) : 0;
        else if (dib.core)
            colors[i] = p[3 * i] | p[3 * i + 1] << 8 | uint32_t(p[3 * i + 2]) << 16;
        else
            colors[i] = word_at(p, 4 * i) & 0xFFFFFF;
    }
    return std::make_shared<GdiColorTable>(std::move(colors));
}

// A channel cut out by its mask and brought to 8 bits.
static uint32_t channel(uint32_t pixel, uint32_t mask)
{
    if (mask == 0)
        return 0;
    const int shift = __builtin_ctz(mask);
    const uint64_t most = mask >> shift;
    return uint32_t(uint64_t((pixel & mask) >> shift) * 255 / most);
}

static std::shared_ptr<BitmapObject> unpack_masks(const DibLayout& dib, const uint8_t* bits)
{
    auto out = make_bitmap(dib.width, dib.height, PixelFormat::bgrx32, false, !dib.top_down);
    if (!out)
        return nullptr;
    std::vector<uint32_t> row(size_t(dib.width));
    for (int y = 0; y < dib.height; y++) {
        unpack_row(bits + dib.stride * size_t(y), dib.bits, 0, dib.width, row.data());
        for (uint32_t& v : row)
            v = channel(v, dib.masks[0]) << 16 | channel(v, dib.masks[1]) << 8
                | channel(v, dib.masks[2]);
        memcpy(out->bits + size_t(std::abs(out->surface.stride)) * size_t(y), row.data(),
               row.size() * 4);
    }
    return out;
}

// Run lengths: count and value; a count of 0 brings an escape: 0 end of line, 1 end of bitmap,
// 2 a move by two bytes, n pixels of their own padded to 16 bits. Rows go upwards.
static std::shared_ptr<BitmapObject> unpack_rle(const DibLayout& dib, const uint8_t* p)
{
    const bool four = dib.compression == BI_RLE4;
    auto out = make_bitmap(dib.width, dib.height,
                           four ? PixelFormat::indexed4 : PixelFormat::indexed8, true, true);
    if (!out)
        return nullptr;
    const uint8_t* end = p + dib.rle_size;
    int x = 0, y = dib.height - 1;
    const auto put = [&](uint32_t value) {
        if (x < dib.width && y >= 0)
            put_pixel(out->surface, x, y, value);
        x++;
    };
    const auto nibble = [&](uint8_t byte, int i) {
        return four ? uint32_t(i & 1 ? byte & 15 : byte >> 4) : byte;
    };
    while (end - p >= 2 && y >= 0) {
        const int count = p[0], value = p[1];
        p += 2;
        if (count > 0) {
            for (int i = 0; i < count; i++)
                put(nibble(uint8_t(value), i));
        } else if (value == 0) {
            x = 0;
            y--;
        } else if (value == 1) {
            break;
        } else if (value == 2) {
            if (end - p < 2)
                break;
            x = std::min(x + p[0], dib.width);
            y -= p[1];
            p += 2;
        } else {
            const int bytes = four ? (value + 1) / 2 : value;
            if (end - p < bytes)
                break;
            for (int i = 0; i < value; i++)
                put(nibble(p[four ? i / 2 : i], i));
            p += std::min<ptrdiff_t>(end - p, (bytes + 1) & ~1);
        }
    }
    return out;
}

bool dib_surface(const DibLayout& dib, const BITMAPINFO* info, uint32_t usage,
                 const DeviceContext* dc, const void* bits, std::shared_ptr<BitmapObject>* holder,
                 GdiSurface* surface)
{
    if (!bits)
        return false;
    const uint8_t* data = static_cast<const uint8_t*>(bits);
    PixelFormat format;
    if (dib.rle() || !dib.plain_format(&format)) {
        *holder = dib.rle() ? unpack_rle(dib, data) : unpack_masks(dib, data);
        if (!*holder)
            return false;
        *surface = (*holder)->surface;
    } else {
        surface->width = dib.width;
        surface->height = dib.height;
        surface->format = format;
        surface->bits = dib.bits;
        surface->stride = dib.top_down ? ptrdiff_t(dib.stride) : -ptrdiff_t(dib.stride);
        // The pixels of a source are only ever read.
        uint8_t* first = const_cast<uint8_t*>(data);
        surface->top = dib.top_down ? first : first + dib.stride * size_t(dib.height - 1);
    }
    if (surface->indexed())
        surface->table = dib_table(dib, info, usage, dc);
    return true;
}

bool CheckPackedDib(const void* data, size_t size, size_t* bits_offset)
{
    DibLayout dib;
    if (!read_dib_header(data, DIB_RGB_COLORS, &dib, size))
        return false;
    const size_t offset = dib.bits_offset(DIB_RGB_COLORS);
    const size_t need = dib.rle() ? dib.rle_size : dib.image_size;
    if (offset > size || need > size - offset)
        return false;
    if (bits_offset)
        *bits_offset = offset;
    return true;
}
