// Bitmaps: making them, their bits and their colour tables.
#include "platform/gdi/bitmap.h"

#include "platform/gdi/dc.h"
#include "platform/gdi/dib.h"

#include <algorithm>
#include <cstdlib>

static DibMemory dib_memory = { malloc, free };

void SetDibMemory(const DibMemory& memory)
{
    dib_memory = memory;
}

GdiDisplay& gdi_display()
{
    static GdiDisplay the_display;
    return the_display;
}

BitmapObject::~BitmapObject()
{
    if (dib)
        dib_memory.free(bits);
    else
        free(bits);
}

static size_t stride_for(int64_t width, int bits, int unit)
{
    const uint64_t row_bits = uint64_t(width) * uint64_t(bits);
    if (width <= 0 || row_bits > kLargestBitmap * 8)
        return 0;
    return size_t((row_bits + uint64_t(unit) - 1) / uint64_t(unit)) * size_t(unit / 8);
}

size_t dib_stride(int64_t width, int bits)
{
    return stride_for(width, bits, 32);
}

size_t ddb_stride(int64_t width, int bits)
{
    return stride_for(width, bits, 16);
}

std::shared_ptr<BitmapObject> make_bitmap(int width, int height, PixelFormat format, bool dib,
                                          bool bottom_up)
{
    const int bits = pixel_format_bits(format);
    const size_t stride = dib ? dib_stride(width, bits) : ddb_stride(width, bits);
    if (stride == 0 || height <= 0 || size_t(height) > kLargestBitmap / stride)
        return nullptr;
    auto bitmap = std::make_shared<BitmapObject>();
    bitmap->size = stride * size_t(height);
    bitmap->dib = dib;
    bitmap->bits = static_cast<uint8_t*>(dib ? dib_memory.allocate(bitmap->size)
                                             : malloc(bitmap->size));
    if (!bitmap->bits)
        return nullptr;
    memset(bitmap->bits, 0, bitmap->size);
    GdiSurface& s = bitmap->surface;
    s.width = width;
    s.height = height;
    s.format = format;
    s.bits = bits;
    s.stride = bottom_up ? -ptrdiff_t(stride) : ptrdiff_t(stride);
    s.top = bottom_up ? bitmap->bits + stride * size_t(height - 1) : bitmap->bits;
    return bitmap;
}

HGDIOBJ make_stock_bitmap()
{
    return add_gdi_object(make_bitmap(1, 1, PixelFormat::mono, false, false));
}

static PixelFormat format_for_depth(uint32_t bits)
{
    if (bits <= 1)
        return PixelFormat::mono;
    if (bits <= 4)
        return PixelFormat::indexed4;
    if (bits <= 8)
        return PixelFormat::indexed8;
    if (bits <= 16)
        return PixelFormat::rgb555;
    return bits <= 24 ? PixelFormat::bgr24 : PixelFormat::bgrx32;
}

static HBITMAP create_device_bitmap(int width, int height, PixelFormat format, const void* data)
{
    auto bitmap = make_bitmap(width, height, format, false, false);
    if (!bitmap)
        return nullptr;
    if (format == PixelFormat::indexed8)
        bitmap->surface.table = gdi_display().table ? gdi_display().table : default_color_table(8);
    else if (format == PixelFormat::indexed4)
        bitmap->surface.table = default_color_table(4);
    if (data)
        memcpy(bitmap->bits, data, bitmap->size);
    return add<GdiType::bitmap>(bitmap);
}

HBITMAP CreateBitmap(int width, int height, uint32_t planes, uint32_t bits, const void* data)
{
    if (width == 0 || height == 0)
        return stock_gdi_bitmap();
    if (width < 0 || height < 0 || planes == 0 || bits == 0 || planes > 32 || bits > 32
        || planes * bits > 32)
        return nullptr;
    return create_device_bitmap(width, height, format_for_depth(planes * bits), data);
}

HBITMAP CreateCompatibleBitmap(HDC handle, int width, int height)
{
    const DeviceContext* dc = peek<DeviceContext>(handle);
    if (!dc || width < 0 || height < 0)
        return nullptr;
    if (width == 0 || height == 0)
        return stock_gdi_bitmap();
    if (!dc->memory)
        return create_device_bitmap(width, height, gdi_display().format, nullptr);
    const GdiSurface& like = dc->surface();
    if (!dc->bitmap->dib)
        return create_device_bitmap(width, height, like.format, nullptr);
    auto bitmap = make_bitmap(width, height, like.format, true, like.stride < 0);
    if (!bitmap)
        return nullptr;
    bitmap->surface.table = like.table ? std::make_shared<GdiColorTable>(*like.table) : nullptr;
    return add<GdiType::bitmap>(bitmap);
}

HBITMAP CreateDIBSection(HDC handle, const BITMAPINFO* info, uint32_t usage, void** bits)
{
    if (bits)
        *bits = nullptr;
    DibLayout dib;
    if (!read_dib_header(info, usage, &dib) || dib.rle())
        return nullptr;
    const DeviceContext* dc = peek<DeviceContext>(handle);
    if (usage == DIB_PAL_COLORS && !dc)
        return nullptr;
    PixelFormat format;
    if (!dib.plain_format(&format))
        return nullptr;
    auto bitmap = make_bitmap(dib.width, dib.height, format, true, !dib.top_down);
    if (!bitmap)
        return nullptr;
    if (bitmap->surface.indexed())
        bitmap->surface.table = dib_table(dib, info, usage, dc);
    if (bits)
        *bits = bitmap->bits;
    return add<GdiType::bitmap>(bitmap);
}

bool GetBitmapInfo(HBITMAP handle, BITMAP* info)
{
    const BitmapObject* bitmap = peek<BitmapObject>(handle);
    if (!bitmap || !info)
        return false;
    const GdiSurface& s = bitmap->surface;
    *info = BITMAP();
    info->bmWidth = s.width;
    info->bmHeight = s.height;
    info->bmWidthBytes = int(std::abs(s.stride));
    info->bmBitsPixel = uint16_t(s.bits);
    info->bmBits = bitmap->dib ? bitmap->bits : nullptr;
    return true;
}

int GetBitmapBits(HBITMAP handle, int size, void* data)
{
    const BitmapObject* bitmap = peek<BitmapObject>(handle);
    if (!bitmap)
        return 0;
    if (!data)
        return int(bitmap->size);
    const size_t n = std::min(bitmap->size, size_t(std::max(size, 0)));
    memcpy(data, bitmap->bits, n);
    return int(n);
}

int SetBitmapBits(HBITMAP handle, int size, const void* data)
{
    BitmapObject* bitmap = peek<BitmapObject>(handle);
    if (!bitmap || !data || bitmap->stock)
        return 0;
    const size_t n = std::min(bitmap->size, size_t(std::max(size, 0)));
    memcpy(bitmap->bits, data, n);
    return int(n);
}

static GdiColorTable* selected_table(HDC handle)
{
    const DeviceContext* dc = drawable(handle);
    return dc && dc->bitmap->dib ? dc->surface().table.get() : nullptr;
}

int GetDIBColorTable(HDC dc, int first, int count, RGBQUAD* colors)
{
    const GdiColorTable* table = selected_table(dc);
    if (!table || !colors || first < 0)
        return 0;
    int done = 0;
    for (; done < count && size_t(first) + size_t(done) < table->size(); done++) {
        const uint32_t c = table->color(uint32_t(first + done));
        colors[done] = { uint8_t(c), uint8_t(c >> 8), uint8_t(c >> 16), 0 };
    }
    return done;
}

int SetDIBColorTable(HDC dc, int first, int count, const RGBQUAD* colors)
{
    GdiColorTable* table = selected_table(dc);
    if (!table || !colors || first < 0)
        return 0;
    int done = 0;
    for (; done < count && size_t(first) + size_t(done) < table->size(); done++)
        table->set(size_t(first + done), uint32_t(colors[done].rgbRed) << 16
                                             | uint32_t(colors[done].rgbGreen) << 8
                                             | colors[done].rgbBlue);
    return done;
}
