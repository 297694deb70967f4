// The drawing layer's speed, each loop beside what it is compared with. `build/gdi-bench` prints
// the table; --benchmark_filter=NAME picks rows. Bytes a second are those of the target.
#include "platform/gdi.h"

#include <benchmark/benchmark.h>
#include <pixman.h>

#include <cstring>
#include <vector>

namespace {

constexpr int kWidth = 1920, kHeight = 1080;
constexpr int64_t kBytes = int64_t(kWidth) * kHeight * 4;

struct Surface {
    explicit Surface(int bits, int width = kWidth, int height = kHeight)
    {
        BITMAPINFO info = {};
        info.bmiHeader.biWidth = width;
        info.bmiHeader.biHeight = -height;
        info.bmiHeader.biBitCount = uint16_t(bits);
        for (int i = 0; i < 256; i++)
            info.bmiColors[i] = { uint8_t(i), uint8_t(255 - i), uint8_t(i * 7), 0 };
        bitmap = CreateDIBSection(nullptr, &info, DIB_RGB_COLORS, &pixels);
        BITMAP about;
        GetBitmapInfo(bitmap, &about);
        stride = about.bmWidthBytes;
        uint8_t* p = static_cast<uint8_t*>(pixels);
        for (int i = 0; i < stride * height; i++)
            p[i] = uint8_t(i * 31);
        dc = CreateCompatibleDC(nullptr);
        SelectObject(dc, bitmap);
    }
    ~Surface()
    {
        DeleteDC(dc);
        DeleteObject(bitmap);
    }
    HBITMAP bitmap;
    HDC dc;
    void* pixels = nullptr;
    int stride = 0;
};

void done(benchmark::State& state, int64_t bytes)
{
    benchmark::ClobberMemory();
    state.SetBytesProcessed(int64_t(state.iterations()) * bytes);
}

void Memset(benchmark::State& state)
{
    Surface s(32);
    for (auto _ : state)
        memset(s.pixels, 0x5A, kBytes);
    done(state, kBytes);
}

void FillSolid(benchmark::State& state)
{
    Surface s(32);
    const HBRUSH brush = CreateSolidBrush(RGB(10, 200, 99));
    for (auto _ : state)
        FillRect(s.dc, { 0, 0, kWidth, kHeight }, brush);
    DeleteObject(brush);
    done(state, kBytes);
}

void FillPattern(benchmark::State& state)
{
    Surface s(32);
    const uint16_t rows[8] = { 0xAA, 0x55, 0xAA, 0x55, 0xAA, 0x55, 0xAA, 0x55 };
    const HBITMAP tile = CreateBitmap(8, 8, 1, 1, rows);
    const HBRUSH brush = CreatePatternBrush(tile);
    for (auto _ : state)
        FillRect(s.dc, { 0, 0, kWidth, kHeight }, brush);
    DeleteObject(brush);
    DeleteObject(tile);
    done(state, kBytes);
}

// 500 boxes of a region, and the same area in one piece.
void FillClipped(benchmark::State& state)
{
    Surface s(32);
    const bool boxes = state.range(0) != 0;
    const HRGN clip = CreateRectRgn(0, 0, boxes ? 0 : kWidth, boxes ? 0 : kHeight / 4);
    for (int i = 0; boxes && i < 500; i++) {
        const int x = i % 25 * 76, y = i / 25 * 54;
        const HRGN part = CreateRectRgn(x, y, x + 38, y + 27);
        CombineRgn(clip, clip, part, RGN_OR);
        DeleteObject(part);
    }
    SelectClipRgn(s.dc, clip);
    const HBRUSH brush = CreateSolidBrush(RGB(10, 200, 99));
    for (auto _ : state)
        FillRect(s.dc, { 0, 0, kWidth, kHeight }, brush);
    DeleteObject(brush);
    DeleteObject(clip);
    done(state, boxes ? 500 * 38 * 27 * 4 : kBytes / 4);
}

void Memcpy(benchmark::State& state)
{
    Surface a(32), b(32);
    for (auto _ : state)
        memcpy(a.pixels, b.pixels, kBytes);
    done(state, kBytes);
}

void Copy(benchmark::State& state)
{
    Surface a(32), b(32);
    const uint32_t rop = uint32_t(state.range(0));
    for (auto _ : state)
        BitBlt(a.dc, 0, 0, kWidth, kHeight, b.dc, 0, 0, rop);
    done(state, kBytes);
}

void Copy8To32(benchmark::State& state)
{
    Surface a(32), b(8);
    for (auto _ : state)
        BitBlt(a.dc, 0, 0, kWidth, kHeight, b.dc, 0, 0, SRCCOPY);
    done(state, kBytes);
}

void StretchDib(benchmark::State& state)
{
    Surface a(32);
    std::vector<uint32_t> source(640 * 360, 0x336699);
    BITMAPINFO info = {};
    info.bmiHeader.biWidth = 640;
    info.bmiHeader.biHeight = -360;
    info.bmiHeader.biBitCount = 32;
    SetStretchBltMode(a.dc, COLORONCOLOR);
    for (auto _ : state)
        StretchDIBits(a.dc, 0, 0, kWidth, kHeight, 0, 0, 640, 360, source.data(), &info,
                      DIB_RGB_COLORS, SRCCOPY);
    done(state, kBytes);
}

void Pixman8To32(benchmark::State& state)
{
    Surface a(32), b(8);
    static pixman_indexed_t table = {};
    pixman_image_t* target = pixman_image_create_bits(PIXMAN_x8r8g8b8, kWidth, kHeight,
                                                      static_cast<uint32_t*>(a.pixels), a.stride);
    pixman_image_t* source = pixman_image_create_bits(PIXMAN_c8, kWidth, kHeight,
                                                      static_cast<uint32_t*>(b.pixels), b.stride);
    pixman_image_set_indexed(source, &table);
    for (auto _ : state)
        pixman_image_composite32(PIXMAN_OP_SRC, source, nullptr, target, 0, 0, 0, 0, 0, 0, kWidth,
                                 kHeight);
    pixman_image_unref(source);
    pixman_image_unref(target);
    done(state, kBytes);
}

void PixmanStretch(benchmark::State& state)
{
    Surface a(32);
    std::vector<uint32_t> pixels(640 * 360, 0x336699);
    pixman_image_t* target = pixman_image_create_bits(PIXMAN_x8r8g8b8, kWidth, kHeight,
                                                      static_cast<uint32_t*>(a.pixels), a.stride);
    pixman_image_t* source = pixman_image_create_bits(PIXMAN_x8r8g8b8, 640, 360, pixels.data(),
                                                      640 * 4);
    pixman_transform_t scale;
    pixman_transform_init_scale(&scale, pixman_double_to_fixed(1.0 / 3),
                                pixman_double_to_fixed(1.0 / 3));
    pixman_image_set_transform(source, &scale);
    pixman_image_set_filter(source, PIXMAN_FILTER_NEAREST, nullptr, 0);
    for (auto _ : state)
        pixman_image_composite32(PIXMAN_OP_SRC, source, nullptr, target, 0, 0, 0, 0, 0, 0, kWidth,
                                 kHeight);
    pixman_image_unref(source);
    pixman_image_unref(target);
    done(state, kBytes);
}

void Glyphs(benchmark::State& state)
{
    Surface s(32, 800, 40);
    LOGFONTA font;
    font.lfHeight = -12;
    strcpy(font.lfFaceName, "Liberation Sans");
    const HFONT handle = CreateFontIndirectA(font);
    SelectObject(s.dc, handle);
    SetBkMode(s.dc, TRANSPARENT);
    const char text[] = "The quick brown fox jumps over the lazy dog, twice over.";
    for (auto _ : state)
        TextOutA(s.dc, 2, 5, text, int(sizeof text - 1));
    state.SetItemsProcessed(int64_t(state.iterations()) * int64_t(sizeof text - 1));
    SelectObject(s.dc, GetStockObject(SYSTEM_FONT));
    DeleteObject(handle);
}

void Line(benchmark::State& state)
{
    Surface s(32);
    for (auto _ : state) {
        MoveToEx(s.dc, 10, 10, nullptr);
        LineTo(s.dc, 1810, 410);
    }
    state.SetItemsProcessed(int64_t(state.iterations()) * 1800);
}

} // namespace

BENCHMARK(Memset);
BENCHMARK(FillSolid);
BENCHMARK(FillPattern);
BENCHMARK(FillClipped)->Arg(0)->Arg(1);
BENCHMARK(Memcpy);
BENCHMARK(Copy)->Arg(SRCCOPY)->Arg(SRCAND)->Arg(SRCPAINT)->Arg(SRCINVERT);
BENCHMARK(Copy8To32);
BENCHMARK(Pixman8To32);
BENCHMARK(StretchDib);
BENCHMARK(PixmanStretch);
BENCHMARK(Glyphs);
BENCHMARK(Line);
BENCHMARK_MAIN();
