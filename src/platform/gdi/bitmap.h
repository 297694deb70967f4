// Bitmap objects: device bitmaps and DIB sections.
#pragma once

#include "platform/gdi/objects.h"
#include "platform/gdi/surface.h"

struct BitmapObject : GdiObject {
    static constexpr GdiType kType = GdiType::bitmap;
    BitmapObject() : GdiObject(kType) { }
    ~BitmapObject() override;
    BitmapObject(const BitmapObject&) = delete;
    BitmapObject& operator=(const BitmapObject&) = delete;

    GdiSurface surface;
    uint8_t* bits = nullptr;  // the lowest address of the pixels
    size_t size = 0;
    bool dib = false;         // a DIB section: its bits come from the DIB memory
    HDC selected_into;
};

// The largest pixel memory of one bitmap.
constexpr size_t kLargestBitmap = size_t(1) << 30;

// The bytes of a row, padded to 32 bits (DIB) or 16 bits (device bitmap); 0 when too large.
size_t dib_stride(int64_t width, int bits);
size_t ddb_stride(int64_t width, int bits);

// Zeroed pixels, or null when the size is refused.
std::shared_ptr<BitmapObject> make_bitmap(int width, int height, PixelFormat format, bool dib,
                                          bool bottom_up);

HGDIOBJ make_stock_bitmap();  // 1 by 1, one bit
HBITMAP stock_gdi_bitmap();

// The display's form.
struct GdiDisplay {
    int width = 1024, height = 768;
    PixelFormat format = PixelFormat::bgrx32;
    std::shared_ptr<GdiColorTable> table;  // of an 8-bit display; shared by all its bitmaps
};
GdiDisplay& gdi_display();
