// DIBs in and out, and headers that lie.
#include "canvas.h"

#include <cstring>

namespace {

BITMAPINFO info_of(int width, int height, int bits)
{
    BITMAPINFO info = {};
    info.bmiHeader.biWidth = width;
    info.bmiHeader.biHeight = height;
    info.bmiHeader.biBitCount = uint16_t(bits);
    return info;
}

} // namespace

TEST(Dib, what_is_set_comes_back)
{
    Random random(5);
    for (int depth : { 1, 4, 8, 16, 24, 32 }) {
        for (int height : { 9, -9 }) {
            Canvas canvas(21, 9, depth);
            BITMAPINFO info = info_of(21, height, depth);
            std::vector<uint8_t> bits(canvas.size), back(canvas.size);
            GetDIBits(canvas.dc, canvas.bitmap, 0, 9, nullptr, &info, DIB_RGB_COLORS);
            ASSERT_EQ(info.bmiHeader.biSizeImage, canvas.size);
            const size_t stride = canvas.size / 9, used = size_t(21 * depth);
            for (size_t i = 0; i < bits.size(); i++) {
                const size_t bit = i % stride * 8;
                bits[i] = bit + 8 <= used ? uint8_t(random.next()) : 0;
                if (depth == 32 && i % 4 == 3)
                    bits[i] = 0;
                if (depth == 16 && i % 2 == 1)
                    bits[i] &= 0x7F;
            }
            EXPECT_EQ(SetDIBits(canvas.dc, canvas.bitmap, 0, 9, bits.data(), &info, DIB_RGB_COLORS),
                      9);
            EXPECT_EQ(GetDIBits(canvas.dc, canvas.bitmap, 0, 9, back.data(), &info, DIB_RGB_COLORS),
                      9);
            EXPECT_EQ(bits, back) << depth << " bits, height " << height;
        }
    }
}

TEST(Dib, scan_lines_are_counted_from_the_bottom)
{
    Canvas canvas(1, 4);
    for (int y = 0; y < 4; y++)
        SetPixel(canvas.dc, 0, y, RGB(0, 0, uint32_t(y)));
    BITMAPINFO info = info_of(1, 4, 32);
    uint32_t lines[4] = {};
    EXPECT_EQ(GetDIBits(canvas.dc, canvas.bitmap, 1, 2, lines, &info, DIB_RGB_COLORS), 2);
    EXPECT_EQ(lines[0], 2u);
    EXPECT_EQ(lines[1], 1u);
    EXPECT_EQ(GetDIBits(canvas.dc, canvas.bitmap, 4, 2, lines, &info, DIB_RGB_COLORS), 0);
    const uint32_t replacement[2] = { 77, 88 };
    EXPECT_EQ(SetDIBits(canvas.dc, canvas.bitmap, 2, 2, replacement, &info, DIB_RGB_COLORS), 2);
    EXPECT_EQ(canvas.at(0, 1), 77u);
    EXPECT_EQ(canvas.at(0, 0), 88u);
    EXPECT_EQ(canvas.at(0, 2), 2u);
}

TEST(Dib, asking_without_a_depth_tells_the_bitmaps_form)
{
    Canvas canvas(12, 5, 24);
    BITMAPINFO info = info_of(0, 0, 0);
    EXPECT_NE(GetDIBits(canvas.dc, canvas.bitmap, 0, 0, nullptr, &info, DIB_RGB_COLORS), 0);
    EXPECT_EQ(info.bmiHeader.biWidth, 12);
    EXPECT_EQ(info.bmiHeader.biHeight, 5);
    EXPECT_EQ(info.bmiHeader.biBitCount, 24);
    EXPECT_EQ(info.bmiHeader.biSizeImage, 180u);
}

TEST(Dib, a_header_alone_is_an_answer_for_any_count_of_lines)
{
    Canvas canvas(2, 2);
    BITMAPINFO info = info_of(2, 2, 4);
    EXPECT_NE(GetDIBits(canvas.dc, canvas.bitmap, 0, 0, nullptr, &info, DIB_RGB_COLORS), 0);
    EXPECT_EQ(info.bmiColors[15].rgbRed, 255);
    EXPECT_EQ(info.bmiHeader.biSizeImage, 8u);
}

TEST(Dib, calls_need_the_context_that_they_use)
{
    Canvas canvas(2, 1);
    canvas.clear(RGB(1, 2, 3));
    const HDC dead = CreateCompatibleDC(nullptr);
    DeleteDC(dead);
    BITMAPINFO info = info_of(2, 1, 32);
    uint32_t pixels[2] = { 0x112233, 0x445566 };
    for (const HDC dc : { dead, HDC() }) {
        EXPECT_EQ(GetDIBits(dc, canvas.bitmap, 0, 1, pixels, &info, DIB_RGB_COLORS), 0);
        EXPECT_EQ(StretchDIBits(dc, 0, 0, 2, 1, 0, 0, 2, 1, pixels, &info, DIB_RGB_COLORS,
                                SRCCOPY),
                  0);
    }
    EXPECT_FALSE(CreateDIBitmap(dead, &info.bmiHeader, 0, nullptr, nullptr, DIB_RGB_COLORS));
    EXPECT_EQ(pixels[0], 0x112233u);

    // Palette indices mean something in a context only; colours don't need one.
    BITMAPINFO indexed = info_of(2, 1, 8);
    const uint8_t bytes[4] = { 0, 1, 0, 0 };
    EXPECT_EQ(SetDIBits(nullptr, canvas.bitmap, 0, 1, bytes, &indexed, DIB_PAL_COLORS), 0);
    EXPECT_EQ(canvas.at(0, 0), 0x010203u);
    EXPECT_EQ(SetDIBits(nullptr, canvas.bitmap, 0, 1, pixels, &info, DIB_RGB_COLORS), 1);
    EXPECT_EQ(canvas.at(1, 0), 0x445566u);
}

TEST(Dib, eight_bits_come_with_the_default_colours)
{
    Canvas canvas(2, 1);
    SetPixel(canvas.dc, 0, 0, RGB(255, 0, 0));
    BITMAPINFO info = info_of(2, 1, 8);
    info.bmiHeader.biClrUsed = 3;
    uint8_t bits[4];
    GetDIBits(canvas.dc, canvas.bitmap, 0, 1, bits, &info, DIB_RGB_COLORS);
    EXPECT_EQ(info.bmiHeader.biClrUsed, 0u);
    EXPECT_EQ(info.bmiColors[10].rgbRed, 0x40);
    EXPECT_EQ(info.bmiColors[10].rgbGreen, 0x20);
    EXPECT_EQ(info.bmiColors[249].rgbRed, 0xFF);
    EXPECT_EQ(bits[0], 249);
    EXPECT_EQ(bits[1], 255);
}

TEST(Dib, palette_indices_stand_for_colours_of_the_contexts_palette)
{
    Canvas canvas(2, 1);
    const PALETTEENTRY entries[] = { { 1, 2, 3, 0 }, { 9, 8, 7, 0 } };
    const HPALETTE palette = CreatePalette(entries, 2);
    SelectPalette(canvas.dc, palette, false);
    BITMAPINFO info = info_of(2, 1, 8);
    info.bmiHeader.biClrUsed = 2;
    const uint16_t indices[2] = { 1, 0 };
    memcpy(info.bmiColors, indices, sizeof indices);
    const uint8_t bits[4] = { 0, 1, 0, 0 };
    EXPECT_EQ(
        StretchDIBits(canvas.dc, 0, 0, 2, 1, 0, 0, 2, 1, bits, &info, DIB_PAL_COLORS, SRCCOPY), 1);
    EXPECT_EQ(canvas.at(0, 0), 0x090807u);
    EXPECT_EQ(canvas.at(1, 0), 0x010203u);
    DeleteObject(palette);
}

TEST(Dib, run_lengths_are_unpacked_and_broken_ones_end_early)
{
    Canvas canvas(4, 2);
    BITMAPINFO info = info_of(4, 2, 8);
    info.bmiHeader.biCompression = BI_RLE8;
    info.bmiHeader.biClrUsed = 3;
    info.bmiColors[1] = { 0, 0, 255, 0 };
    info.bmiColors[2] = { 255, 255, 255, 0 };
    const uint8_t runs[] = { 4, 1, 0, 0, 0, 3, 1, 2, 1, 0, 0, 1 };
    info.bmiHeader.biSizeImage = sizeof runs;
    EXPECT_EQ(
        StretchDIBits(canvas.dc, 0, 0, 4, 2, 0, 0, 4, 2, runs, &info, DIB_RGB_COLORS, SRCCOPY), 2);
    EXPECT_EQ(canvas.art(), "o.o#\noooo\n");
    info.bmiHeader.biSizeImage = 5;  // the run of its own pixels is cut off
    EXPECT_EQ(
        StretchDIBits(canvas.dc, 0, 0, 4, 2, 0, 0, 4, 2, runs, &info, DIB_RGB_COLORS, SRCCOPY), 2);
    EXPECT_EQ(canvas.art(), "####\noooo\n");
}

TEST(Dib, impossible_headers_are_refused)
{
    Canvas canvas(4, 4);
    uint32_t bits[64] = {};
    const auto refused = [&](const BITMAPINFO& info) {
        void* memory;
        return StretchDIBits(canvas.dc, 0, 0, 4, 4, 0, 0, 4, 4, bits, &info, DIB_RGB_COLORS,
                             SRCCOPY) == 0 &&
               !CreateDIBSection(canvas.dc, &info, DIB_RGB_COLORS, &memory) &&
               !CheckPackedDib(&info, sizeof info, nullptr);
    };
    for (int depth : { 0, 2, 3, 15, 33, 64 })
        EXPECT_TRUE(refused(info_of(4, 4, depth))) << depth;
    EXPECT_TRUE(refused(info_of(0, 4, 32)));
    EXPECT_TRUE(refused(info_of(-4, 4, 32)));
    EXPECT_TRUE(refused(info_of(4, 0, 32)));
    EXPECT_TRUE(refused(info_of(4, INT32_MIN, 32)));
    EXPECT_TRUE(refused(info_of(INT32_MAX, INT32_MAX, 32)));
    BITMAPINFO info = info_of(4, 4, 8);
    info.bmiHeader.biClrUsed = 257;
    EXPECT_TRUE(refused(info));
    info = info_of(4, 4, 24);
    info.bmiHeader.biCompression = BI_BITFIELDS;
    EXPECT_TRUE(refused(info));
    info = info_of(4, 4, 32);
    info.bmiHeader.biPlanes = 3;
    EXPECT_TRUE(refused(info));
    info = info_of(4, 4, 32);
    info.bmiHeader.biSize = 39;
    EXPECT_TRUE(refused(info));
    EXPECT_EQ(
        StretchDIBits(canvas.dc, 0, 0, 4, 4, 0, 0, 4, 4, nullptr, &info, DIB_RGB_COLORS, SRCCOPY),
        0);
}

TEST(Dib, a_packed_dib_must_hold_its_pixels)
{
    std::vector<uint8_t> packed(40 + 8 + 4 * 3);
    BITMAPINFO info = info_of(5, 3, 1);
    memcpy(packed.data(), &info, 40);
    size_t offset = 0;
    EXPECT_TRUE(CheckPackedDib(packed.data(), packed.size(), &offset));
    EXPECT_EQ(offset, 48u);
    for (size_t size = 0; size < packed.size(); size++)
        EXPECT_FALSE(CheckPackedDib(packed.data(), size, nullptr)) << size;
}

TEST(Dib, huge_and_empty_bitmaps)
{
    EXPECT_EQ(CreateBitmap(INT32_MAX, INT32_MAX, 1, 32, nullptr), HBITMAP());
    EXPECT_EQ(CreateBitmap(-1, 4, 1, 1, nullptr), HBITMAP());
    EXPECT_EQ(CreateBitmap(4, 4, 1, 33, nullptr), HBITMAP());
    BITMAP about;
    const HBITMAP stock = CreateBitmap(0, 7, 1, 32, nullptr);
    EXPECT_TRUE(GetBitmapInfo(stock, &about));
    EXPECT_EQ(about.bmWidth, 1);
    EXPECT_EQ(about.bmBitsPixel, 1);
    const int depths[][2] = { { 3, 4 }, { 5, 8 }, { 12, 16 }, { 18, 24 }, { 25, 32 } };
    for (const auto& row : depths) {
        const HBITMAP bitmap = CreateBitmap(3, 2, 1, uint32_t(row[0]), nullptr);
        GetBitmapInfo(bitmap, &about);
        EXPECT_EQ(about.bmBitsPixel, row[1]);
        EXPECT_EQ(about.bmWidthBytes, (3 * row[1] + 15) / 16 * 2);
        DeleteObject(bitmap);
    }
}
