// Copies between depths, stretched, mirrored and overlapping.
#include "canvas.h"

#include <cstring>

namespace {

const std::vector<uint32_t> kSixteen = { 0x000000, 0x800000, 0x008000, 0x808000, 0x000080, 0x800080,
                                         0x008080, 0x808080, 0xC0C0C0, 0xFF0000, 0x00FF00, 0xFFFF00,
                                         0x0000FF, 0xFF00FF, 0x00FFFF, 0xFFFFFF };

std::vector<uint32_t> table_of(int depth)
{
    if (depth == 1)
        return { 0x000000, 0xFFFFFF };
    return depth <= 8 ? kSixteen : std::vector<uint32_t>();
}

// Colours that every depth from 4 bits on has exactly.
void paint_blocks(Canvas& canvas)
{
    Random random(7);
    for (int i = 0; i < 60; i++) {
        static const uint32_t exact[] = { 0x000000, 0xFF0000, 0x00FF00, 0x0000FF, 0xFFFFFF };
        const uint32_t c = exact[random.below(5)];
        const HBRUSH brush = CreateSolidBrush(RGB(c >> 16, c >> 8, c));
        const int x = random.below(canvas.width), y = random.below(canvas.height);
        FillRect(canvas.dc, { x, y, x + 1 + random.below(9), y + 1 + random.below(7) }, brush);
        DeleteObject(brush);
    }
}

} // namespace

TEST(Blit, copies_between_all_depths_keep_the_colours)
{
    for (int from : { 4, 8, 16, 24, 32 }) {
        for (int to : { 4, 8, 16, 24, 32 }) {
            for (int flip : { 1, -1 }) {
                Canvas source(37, 23 * flip, from, table_of(from));
                Canvas target(37, -23 * flip, to, table_of(to));
                paint_blocks(source);
                BitBlt(target.dc, 0, 0, 37, 23, source.dc, 0, 0, SRCCOPY);
                ASSERT_EQ(target.colors(), source.colors()) << from << " to " << to;
            }
        }
    }
}

TEST(Blit, every_alignment_of_small_pixels_is_copied)
{
    for (int depth : { 1, 4 }) {
        Canvas source(40, 2, depth, table_of(depth));
        Random random(3);
        for (size_t i = 0; i < source.size; i++)
            source.bits[i] = uint8_t(random.next());
        const auto all = source.colors();
        for (int sx = 0; sx < 10; sx++) {
            for (int dx = 0; dx < 10; dx++) {
                Canvas target(40, 2, depth, table_of(depth));
                BitBlt(target.dc, dx, 0, 21, 2, source.dc, sx, 0, SRCCOPY);
                const auto got = target.colors();
                for (int x = 0; x < 40; x++) {
                    const bool copied = x >= dx && x < dx + 21;
                    ASSERT_EQ(got[size_t(x)], copied ? all[size_t(x - dx + sx)] : 0xFFFFFFu)
                        << depth << " bits, from " << sx << " to " << dx << " at " << x;
                }
            }
        }
    }
}

TEST(Blit, overlapping_copies_act_as_if_the_source_lay_aside)
{
    for (int depth : { 1, 8, 24, 32 }) {
        for (int dx = -3; dx <= 3; dx++) {
            for (int dy = -2; dy <= 2; dy++) {
                for (bool cut : { false, true }) {
                    Canvas canvas(40, 30, depth, table_of(depth)),
                        aside(40, 30, depth, table_of(depth));
                    paint_blocks(canvas);
                    paint_blocks(aside);
                    Canvas expected(40, 30, depth, table_of(depth));
                    paint_blocks(expected);
                    const HRGN clip = CreateRectRgn(0, 0, 40, 30),
                               hole = CreateRectRgn(12, 9, 17, 20);
                    if (cut)
                        CombineRgn(clip, clip, hole, RGN_DIFF);
                    SelectClipRgn(canvas.dc, clip);
                    SelectClipRgn(expected.dc, clip);
                    BitBlt(canvas.dc, 5 + dx, 5 + dy, 25, 18, canvas.dc, 5, 5, SRCINVERT);
                    BitBlt(expected.dc, 5 + dx, 5 + dy, 25, 18, aside.dc, 5, 5, SRCINVERT);
                    ASSERT_EQ(canvas.colors(), expected.colors())
                        << depth << " by " << dx << "," << dy;
                    DeleteObject(clip);
                    DeleteObject(hole);
                }
            }
        }
    }
}

TEST(Blit, one_negative_size_mirrors)
{
    Canvas source(3, 2), target(3, 2);
    for (int i = 0; i < 6; i++)
        SetPixel(source.dc, i % 3, i / 3, RGB(uint32_t(i + 1), 0, 0));
    StretchBlt(target.dc, 2, 0, -3, 2, source.dc, 0, 0, 3, 2, SRCCOPY);
    EXPECT_EQ(target.colors(), (std::vector<uint32_t>{ 0x30000, 0x20000, 0x10000, 0x60000, 0x50000,
                                                       0x40000 }));
    StretchBlt(target.dc, 0, 1, 3, -2, source.dc, 0, 0, 3, 2, SRCCOPY);
    EXPECT_EQ(target.colors(), (std::vector<uint32_t>{ 0x40000, 0x50000, 0x60000, 0x10000, 0x20000,
                                                       0x30000 }));
}

TEST(Blit, stretching_repeats_pixels_evenly)
{
    Canvas source(2, 2, 8, kSixteen), target(6, 4, 8, kSixteen);
    for (int i = 0; i < 4; i++)
        SetPixel(source.dc, i % 2, i / 2, i % 3 ? RGB(255, 0, 0) : 0);
    StretchBlt(target.dc, 0, 0, 6, 4, source.dc, 0, 0, 2, 2, SRCCOPY);
    EXPECT_EQ(target.art(), "###ooo\n"
                            "###ooo\n"
                            "ooo###\n"
                            "ooo###\n");
}

TEST(Blit, shrinking_merges_by_the_stretch_mode)
{
    Canvas source(4, 1), target(2, 1);
    const uint32_t values[] = { 0xF0, 0x3C, 0xFF, 0x81 };
    for (int i = 0; i < 4; i++)
        SetPixel(source.dc, i, 0, RGB(values[i], 0, 0));
    const struct {
        int mode;
        uint32_t first, second;
    } rows[] = { { BLACKONWHITE, 0x300000, 0x810000 },
                 { WHITEONBLACK, 0xFC0000, 0xFF0000 },
                 { COLORONCOLOR, 0xF00000, 0xFF0000 } };
    for (const auto& row : rows) {
        SetStretchBltMode(target.dc, row.mode);
        StretchBlt(target.dc, 0, 0, 2, 1, source.dc, 0, 0, 4, 1, SRCCOPY);
        EXPECT_EQ(target.at(0, 0), row.first) << row.mode;
        EXPECT_EQ(target.at(1, 0), row.second) << row.mode;
    }
}

TEST(Blit, a_mono_bitmap_takes_the_contexts_colours_and_gives_the_background)
{
    Canvas color(8, 1);
    const HBITMAP mono = CreateBitmap(8, 1, 1, 1, "\x5A\x00");
    const HDC dc = CreateCompatibleDC(nullptr);
    SelectObject(dc, mono);
    SetTextColor(color.dc, RGB(255, 0, 0));
    SetBkColor(color.dc, RGB(0, 0, 255));
    BitBlt(color.dc, 0, 0, 8, 1, dc, 0, 0, SRCCOPY);
    EXPECT_EQ(color.at(0, 0), 0xFF0000u);
    EXPECT_EQ(color.at(1, 0), 0x0000FFu);
    // Back: ones where the source has its own background colour.
    SetBkColor(color.dc, RGB(255, 0, 0));
    BitBlt(dc, 0, 0, 8, 1, color.dc, 0, 0, SRCCOPY);
    uint8_t bits[2] = {};
    GetBitmapBits(mono, 2, bits);
    EXPECT_EQ(bits[0], 0xA5);
    DeleteDC(dc);
    DeleteObject(mono);
}

TEST(Blit, scrolling_moves_and_tells_what_is_uncovered)
{
    Canvas canvas(10, 6);
    for (int i = 0; i < 10; i++)
        SetPixel(canvas.dc, i, i % 6, 0);
    const HRGN update = CreateRectRgn(0, 0, 0, 0);
    const RECT area = { 1, 1, 9, 5 };
    RECT box;
    EXPECT_TRUE(ScrollDC(canvas.dc, 2, -1, &area, &area, update, &box));
    EXPECT_EQ(canvas.art(), "#.....#...\n"
                            ".#..#.....\n"
                            "..#..#....\n"
                            "......#..#\n"
                            "....#.....\n"
                            ".....#....\n");
    EXPECT_TRUE(PtInRegion(update, 1, 1));
    EXPECT_TRUE(PtInRegion(update, 8, 4));
    EXPECT_FALSE(PtInRegion(update, 3, 2));
    EXPECT_EQ(box, area);
    DeleteObject(update);
}

TEST(Blit, a_solid_brush_on_one_bit_is_a_mix)
{
    const HBITMAP mono = CreateBitmap(16, 16, 1, 1, nullptr);
    const HDC dc = CreateCompatibleDC(nullptr);
    SelectObject(dc, mono);
    const struct {
        COLORREF color;
        int white;  // of 256 pixels
    } rows[] = { { RGB(0, 0, 0), 0 },    { RGB(255, 255, 255), 256 }, { RGB(128, 128, 128), 128 },
                 { RGB(255, 0, 0), 76 }, { RGB(0, 255, 0), 152 },     { RGB(1, 1, 1), 0 } };
    for (const auto& row : rows) {
        const HBRUSH brush = CreateSolidBrush(row.color);
        FillRect(dc, { 0, 0, 16, 16 }, brush);
        DeleteObject(brush);
        int white = 0;
        for (int i = 0; i < 256; i++)
            white += GetPixel(dc, i % 16, i / 16) == RGB(255, 255, 255);
        EXPECT_EQ(white, row.white) << row.color;
    }
    // The brush origin moves the mix; a pen is never mixed.
    SetBrushOrgEx(dc, 1, 0, nullptr);
    const HBRUSH dark = CreateSolidBrush(RGB(4, 4, 4));
    FillRect(dc, { 0, 0, 16, 16 }, dark);
    EXPECT_EQ(GetPixel(dc, 0, 0), RGB(0, 0, 0));
    EXPECT_EQ(GetPixel(dc, 1, 0), RGB(255, 255, 255));
    const HPEN pen = CreatePen(PS_SOLID, 1, RGB(128, 128, 128));
    SelectObject(dc, pen);
    LineTo(dc, 16, 0);
    for (int i = 0; i < 16; i++)
        EXPECT_EQ(GetPixel(dc, i, 0), RGB(0, 0, 0));
    DeleteDC(dc);
    for (const HGDIOBJ object : { HGDIOBJ(mono), HGDIOBJ(dark), HGDIOBJ(pen) })
        DeleteObject(object);
}

TEST(Blit, parts_of_the_source_that_are_not_there_leave_the_target_alone)
{
    Canvas source(4, 4), target(8, 8);
    source.clear(0);
    BitBlt(target.dc, 0, 0, 8, 8, source.dc, -2, 1, SRCCOPY);
    EXPECT_EQ(target.art(), "..####..\n..####..\n..####..\n........\n"
                            "........\n........\n........\n........\n");
    target.clear(RGB(255, 255, 255));
    SetStretchBltMode(target.dc, COLORONCOLOR);
    StretchBlt(target.dc, 0, 0, 8, 8, source.dc, 2, 2, 4, 4, SRCCOPY);
    EXPECT_EQ(target.art(), "####....\n####....\n####....\n####....\n"
                            "........\n........\n........\n........\n");
}
