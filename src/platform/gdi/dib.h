// Device-independent bitmaps: their headers, checked, and their pixels as a surface.
#pragma once

#include "platform/gdi/bitmap.h"

struct DeviceContext;

struct DibLayout {
    int width = 0, height = 0;  // both positive
    bool top_down = false;
    int bits = 0;
    uint32_t compression = BI_RGB;
    uint32_t masks[3] = {};     // red, green, blue; of 16 and 32 bits
    uint32_t colors = 0;        // entries of the colour table
    size_t header_size = 0;     // bytes before the table, masks included
    bool core = false;          // the old header of 12 bytes: sizes of 16 bits, colours of 3 bytes
    size_t stride = 0, image_size = 0;
    uint32_t rle_size = 0;      // biSizeImage, of compressed pixels

    bool rle() const { return compression == BI_RLE8 || compression == BI_RLE4; }
    bool plain_format(PixelFormat* format) const;  // false when the masks are of no such format
    size_t table_bytes(uint32_t usage) const;
    // Where the pixels of a packed DIB begin.
    size_t bits_offset(uint32_t usage) const { return header_size + table_bytes(usage); }
};

// False for a null or damaged header, or one longer than what is available.
bool read_dib_header(const void* info, uint32_t usage, DibLayout* dib,
                     size_t available = ~size_t(0));

// The colour table; for DIB_PAL_COLORS the entries name colours of the context's palette.
std::shared_ptr<GdiColorTable> dib_table(const DibLayout& dib, const BITMAPINFO* info,
                                         uint32_t usage, const DeviceContext* dc);

// The pixels as a surface. RLE and unusual masks are unpacked into memory that `holder` keeps. Null
// bits and damaged RLE data give false.
bool dib_surface(const DibLayout& dib, const BITMAPINFO* info, uint32_t usage,
                 const DeviceContext* dc, const void* bits, std::shared_ptr<BitmapObject>* holder,
                 GdiSurface* surface);
