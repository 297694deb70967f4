// Any bytes as a packed DIB: refused, or drawn, made a brush of and set into a bitmap without a
// read behind their end.
#include "platform/gdi.h"

#include <cstdint>
#include <cstring>
#include <memory>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    size_t offset = 0;
    // A block of its own, so that a read past the end is seen.

    const std::unique_ptr<uint8_t[]> exact(new uint8_t[size ? size : 1]);
    if (size > 0)
        memcpy(exact.get(), data, size);
    if (!CheckPackedDib(exact.get(), size, &offset))
        return 0;
    const BITMAPINFO* info = reinterpret_cast<const BITMAPINFO*>(exact.get());
    const uint8_t* bits = exact.get() + offset;
    const HDC dc = CreateCompatibleDC(nullptr);
    const int depths[] = { 1, 8, 24, 32 };
    for (const int depth : depths) {
        const HBITMAP bitmap = CreateBitmap(40, 30, 1, uint32_t(depth), nullptr);
        const HGDIOBJ old = SelectObject(dc, bitmap);
        StretchDIBits(dc, 2, 2, 30, 20, 0, 0, 20, 10, bits, info, DIB_RGB_COLORS, SRCCOPY);
        StretchDIBits(dc, 0, 0, 16, 16, -3, 5, 16, 16, bits, info, DIB_RGB_COLORS, SRCAND);
        SetDIBitsToDevice(dc, 0, 0, 40, 30, 0, 0, 0, 1u << 30, bits, info, DIB_RGB_COLORS);
        SelectObject(dc, old);
        SetDIBits(dc, bitmap, 0, 1u << 30, bits, info, DIB_RGB_COLORS);
        DeleteObject(bitmap);
    }
    if (info->bmiHeader.biSize >= sizeof(BITMAPINFOHEADER)
        && info->bmiHeader.biWidth * int64_t(info->bmiHeader.biHeight) < 1 << 20) {
        const HBRUSH brush = CreateDIBPatternBrushPt(exact.get(), DIB_RGB_COLORS);
        DeleteObject(brush);
    }
    DeleteDC(dc);
    return 0;
}
