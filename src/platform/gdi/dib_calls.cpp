// StretchDIBits, SetDIBitsToDevice, GetDIBits, SetDIBits and CreateDIBitmap.
#include "platform/gdi/blit.h"
#include "platform/gdi/dib.h"
#include "platform/gdi/rop.h"
#include "platform/gdi/record.h"

#include <algorithm>

int StretchDIBits(HDC handle, int x, int y, int width, int height, int sx, int sy, int swidth,
                  int sheight, const void* bits, const BITMAPINFO* info, uint32_t usage,
                  uint32_t rop)
{
    DeviceContext* dc = peek<DeviceContext>(handle);
    DibLayout dib;
    if (!dc || !read_dib_header(info, usage, &dib))
        return 0;
    const int lines = dib.top_down && rop != SRCCOPY ? -dib.height : dib.height;
    if (!rop_uses_source(rop_byte(rop)))
        return PatBlt(handle, x, y, width, height, rop) ? lines : 0;
    GdiSurface source;
    std::shared_ptr<BitmapObject> holder;
    if (!dib_surface(dib, info, usage, dc, bits, &holder, &source))
        return 0;
    // A mirroring source box has to lie in the image.
    const auto leaves = [](int64_t from, int64_t size, int limit) {
        return size < 0 && (from + size < 0 || from > limit);
    };
    if (leaves(sx, swidth, dib.width) || leaves(sy, sheight, dib.height))
        return 0;
    const POINT t1 = dc->to_surface(x, y);
    const POINT t2 = dc->to_surface(int64_t(x) + width, int64_t(y) + height);
    const int tw = t2.x - t1.x, th = t2.y - t1.y;
    BlitAxis ax = blit_axis(t1.x, tw, sx, swidth), ay = blit_axis(t1.y, th, sy, sheight);
    // Source rows count from the bottom, except that a top-down image is taken from its top when it
    // is copied as it is.
    const bool copied = rop == SRCCOPY && tw == swidth && th == sheight;
    if (!(copied && dib.top_down))
        ay.source = dib.height - (ay.source + ay.source_size);
    if (dc->device)
        record_image(*dc, source, ax, ay, rop);
    else
        run_blit({ *dc, source, PixelConverter(source, *dc), ax, ay, rop_byte(rop) });
    if (!copied || sheight < 0)
        return lines;
    return int(std::max<int64_t>(0, std::min<int64_t>(int64_t(sy) + sheight, dib.height)
                                        - std::max(sy, 0)));
}

// Bits hold the scan lines `first` to `first + lines` of the image only.
static bool band_surface(const DibLayout& dib, uint32_t first, uint32_t lines, GdiSurface* s)
{
    if (first >= uint32_t(dib.height) || lines == 0)
        return false;
    const int count = int(std::min(lines, uint32_t(dib.height) - first));
    // The surface was laid out as if all lines were there, beginning at the bits.
    if (!dib.top_down)
        s->top += s->stride * (dib.height - count);
    s->height = count;
    return true;
}

int SetDIBitsToDevice(HDC handle, int x, int y, uint32_t width, uint32_t height, int sx, int sy,
                      uint32_t first, uint32_t lines, const void* bits, const BITMAPINFO* info,
                      uint32_t usage)
{
    DeviceContext* dc = peek<DeviceContext>(handle);
    DibLayout dib;
    GdiSurface source;
    std::shared_ptr<BitmapObject> holder;
    if (!dc || !read_dib_header(info, usage, &dib) || (dib.rle() && first != 0)
        || width > uint32_t(kCoordinateLimit) || height > uint32_t(kCoordinateLimit)
        || !dib_surface(dib, info, usage, dc, bits, &holder, &source)
        || !band_surface(dib, first, lines, &source))
        return 0;
    const POINT t = dc->to_surface(x, y);
    // Rows of the wanted box, seen from the image's top, then from the band's.
    const int64_t top = dib.top_down ? sy : dib.height - (int64_t(sy) + height);
    const int64_t band = dib.top_down ? first : int64_t(dib.height) - first - source.height;
    const BlitAxis ax = blit_axis(t.x, width, sx, width);
    const BlitAxis ay = blit_axis(t.y, height, top - band, height);
    if (dc->device)
        record_image(*dc, source, ax, ay, SRCCOPY);
    else
        run_blit({ *dc, source, PixelConverter(source, *dc), ax, ay, rop_byte(SRCCOPY) });
    return source.height;
}

// The bitmap's row that a scan line of a DIB stands for.
static int row_of_line(bool top_down, int height, uint32_t line)
{
    return top_down ? int(line) : height - 1 - int(line);
}

int SetDIBits(HDC handle, HBITMAP bitmap_handle, uint32_t first, uint32_t lines, const void* bits,
              const BITMAPINFO* info, uint32_t usage)
{
    const BitmapObject* bitmap = peek<BitmapObject>(bitmap_handle);
    DibLayout dib;
    GdiSurface source;
    std::shared_ptr<BitmapObject> holder;
    const DeviceContext* dc = peek<DeviceContext>(handle);
    if (!bitmap || bitmap->stock || (usage == DIB_PAL_COLORS && !dc)
        || !read_dib_header(info, usage, &dib) || (dib.rle() && first != 0)
        || !dib_surface(dib, info, usage, dc, bits, &holder, &source)
        || !band_surface(dib, first, lines, &source))
        return 0;
    const GdiSurface& target = bitmap->surface;
    const PixelConverter converter(source, target);
    const int n = std::min(dib.width, target.width);
    std::vector<uint32_t> pixels(static_cast<size_t>(n));
    const int band = dib.top_down ? int(first) : dib.height - int(first) - source.height;
    for (int i = 0; i < source.height; i++) {
        const int y = band + i;
        if (y < 0 || y >= target.height)
            continue;
        converter.run_row(source.row(i), 0, pixels.data(), n);
        pack_row(pixels.data(), target.bits, 0, n, target.row(y));
    }
    return source.height;
}

static std::shared_ptr<GdiColorTable> table_for(const GdiSurface& source, int bits)
{
    if (source.indexed() && source.bits == bits) {
        std::vector<uint32_t> colors = source.table->colors();
        colors.resize(size_t(1) << bits);
        return std::make_shared<GdiColorTable>(std::move(colors));
    }
    return default_color_table(bits);
}

static void write_table(const GdiColorTable& table, uint32_t usage, uint8_t* out)
{
    for (uint32_t i = 0; i < table.size(); i++) {
        if (usage == DIB_PAL_COLORS) {
            const uint16_t index = uint16_t(i);
            memcpy(out + 2 * i, &index, 2);
        } else {
            const uint32_t color = table.color(i);
            memcpy(out + 4 * i, &color, 4);
        }
    }
}

static int describe(const GdiSurface& s, BITMAPINFOHEADER* header)
{
    header->biWidth = s.width;
    header->biHeight = s.height;
    header->biPlanes = 1;
    header->biBitCount = uint16_t(s.bits);
    header->biCompression = BI_RGB;
    header->biSizeImage = uint32_t(dib_stride(s.width, s.bits) * size_t(s.height));
    header->biClrUsed = header->biClrImportant = 0;
    return 1;
}

int GetDIBits(HDC dc, HBITMAP bitmap_handle, uint32_t first, uint32_t lines, void* bits,
              BITMAPINFO* info, uint32_t usage)
{
    const BitmapObject* bitmap = peek<BitmapObject>(bitmap_handle);
    if (!peek<DeviceContext>(dc) || !bitmap || !info
        || info->bmiHeader.biSize < sizeof(BITMAPINFOHEADER))
        return 0;
    const GdiSurface& source = bitmap->surface;
    BITMAPINFOHEADER& header = info->bmiHeader;
    if (header.biBitCount == 0)
        return describe(source, &header);
    DibLayout dib;
    header.biClrUsed = header.biClrImportant = 0;
    if (!read_dib_header(info, usage, &dib) || dib.rle())
        return 0;
    GdiSurface target;
    if (!dib.plain_format(&target.format))
        return 0;
    target.bits = dib.bits;
    header.biSizeImage = uint32_t(dib.image_size);
    if (target.indexed()) {
        target.table = table_for(source, dib.bits);
        write_table(*target.table, usage, reinterpret_cast<uint8_t*>(info) + dib.header_size);
    }
    if (first >= uint32_t(source.height))
        return 0;
    const int count = int(std::min(lines, uint32_t(source.height) - first));
    if (!bits)
        return std::max(count, 1);  // the header and the table were asked for
    const PixelConverter converter(source, target);
    const int n = std::min(dib.width, source.width);
    std::vector<uint32_t> pixels(static_cast<size_t>(n));
    for (int i = 0; i < count; i++) {
        uint8_t* out = static_cast<uint8_t*>(bits) + dib.stride * size_t(i);
        memset(out, 0, dib.stride);
        const int y = row_of_line(dib.top_down, source.height, first + uint32_t(i));
        converter.run_row(source.row(y), 0, pixels.data(), n);
        pack_row(pixels.data(), dib.bits, 0, n, out);
    }
    return count;
}

HBITMAP CreateDIBitmap(HDC dc, const BITMAPINFOHEADER* header, uint32_t init, const void* data,
                       const BITMAPINFO* info, uint32_t usage)
{
    if (!header || header->biWidth < 0 || header->biHeight == INT32_MIN
        || (dc && !peek<DeviceContext>(dc)))
        return nullptr;
    const int height = std::abs(header->biHeight);
    const HBITMAP bitmap = dc ? CreateCompatibleBitmap(dc, header->biWidth, height)
                              : CreateBitmap(header->biWidth, height, 1, 1, nullptr);
    if (bitmap && (init & CBM_INIT) && data && info)
        SetDIBits(dc, bitmap, 0, uint32_t(height), data, info, usage);
    return bitmap;
}
