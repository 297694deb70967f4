// Whatever is drawn, the clip decides which of its pixels appear, and never where they lie.
#include "canvas.h"

#include <functional>

namespace {

struct Drawing {
    const char* name;
    std::function<void(Canvas&)> draw;
};

void text_in(Canvas& canvas, int mode)
{
    SetBkMode(canvas.dc, mode);
    SetBkColor(canvas.dc, RGB(255, 200, 200));
    TextOutA(canvas.dc, 5, 8, "Clipped", 7);
}

const std::vector<Drawing>& drawings()
{
    static const std::vector<Drawing> all = {
        { "line", [](Canvas& c) { MoveToEx(c.dc, -7, 3, nullptr); LineTo(c.dc, 70, 41); } },
        { "steep line", [](Canvas& c) { MoveToEx(c.dc, 30, 90, nullptr); LineTo(c.dc, 11, -20); } },
        { "dashed", [](Canvas& c) {
             c.pen(PS_DASHDOT, 1, RGB(0, 0, 200));
             MoveToEx(c.dc, 60, 45, nullptr);
             LineTo(c.dc, -9, 2);
         } },
        { "wide", [](Canvas& c) {
             c.pen(PS_SOLID, 9, RGB(200, 0, 0));
             MoveToEx(c.dc, 3, 40, nullptr);
             LineTo(c.dc, 55, 12);
         } },
        { "rectangle", [](Canvas& c) { c.brush(RGB(0, 99, 0)); Rectangle(c.dc, 4, 5, 50, 33); } },
        { "ellipse", [](Canvas& c) { c.brush(RGB(0, 99, 0)); Ellipse(c.dc, -4, 5, 61, 43); } },
        { "pie", [](Canvas& c) { Pie(c.dc, 2, 2, 60, 40, 60, 9, 0, 12); } },
        { "polygon", [](Canvas& c) {
             const POINT star[] = { { 32, 1 }, { 50, 45 }, { 3, 17 }, { 60, 17 }, { 12, 45 } };
             c.brush(RGB(9, 9, 250));
             Polygon(c.dc, star, 5);
         } },
        { "hatch", [](Canvas& c) {
             SetBkMode(c.dc, TRANSPARENT);
             c.use(CreateHatchBrush(HS_DIAGCROSS, RGB(250, 0, 0)));
             PatBlt(c.dc, 1, 1, 60, 44, PATCOPY);
         } },
        { "soft text", [](Canvas& c) { text_in(c, TRANSPARENT); } },
        { "text on a ground", [](Canvas& c) { text_in(c, OPAQUE); } },
        { "scaled copy of itself", [](Canvas& c) {
             Ellipse(c.dc, 0, 0, 20, 20);
             SetStretchBltMode(c.dc, COLORONCOLOR);
             StretchBlt(c.dc, 40, 2, -33, 41, c.dc, 1, 1, 22, 19, SRCINVERT);
         } },
        { "inverted region", [](Canvas& c) {
             const HRGN r = CreateRoundRectRgn(3, 3, 50, 40, 20, 12);
             InvertRgn(c.dc, r);
             DeleteObject(r);
         } },
    };
    return all;
}

constexpr int kWidth = 64, kHeight = 48;

void draw_in(Canvas& canvas, const Drawing& drawing, HRGN clip)
{
    for (int i = 0; i < 12; i++)
        SetPixel(canvas.dc, i * 5, i * 3, RGB(uint32_t(i * 20), 0, 99));
    SelectClipRgn(canvas.dc, clip);
    drawing.draw(canvas);
}

} // namespace

TEST(Clip, a_region_shows_just_its_pixels_of_the_whole_drawing)
{
    for (int depth : { 1, 4, 8, 16, 24, 32 }) {
        for (const Drawing& drawing : drawings()) {
            if (std::string(drawing.name) == "scaled copy of itself")
                continue;  // what it copies is clipped too
            Random random{ uint32_t(depth) };
            const HRGN clip = CreateRectRgn(0, 0, 0, 0);
            for (int i = 0; i < 14; i++) {
                const int x = random.below(kWidth), y = random.below(kHeight);
                const HRGN part = CreateRectRgn(x, y, x + random.below(20), y + random.below(12));
                CombineRgn(clip, clip, part, RGN_XOR);
                DeleteObject(part);
            }
            Canvas blank(kWidth, kHeight, depth), whole(kWidth, kHeight, depth),
                clipped(kWidth, kHeight, depth);
            draw_in(blank, { "nothing", [](Canvas&) { } }, nullptr);
            draw_in(whole, drawing, nullptr);
            draw_in(clipped, drawing, clip);
            const auto b = blank.colors(), w = whole.colors(), c = clipped.colors();
            for (int y = 0; y < kHeight; y++) {
                for (int x = 0; x < kWidth; x++) {
                    const size_t at = size_t(y * kWidth + x);
                    const uint32_t expected = PtInRegion(clip, x, y) ? w[at] : b[at];
                    ASSERT_EQ(c[at], expected)
                        << drawing.name << " depth " << depth << " at " << x << "," << y;
                }
            }
            DeleteObject(clip);
        }
    }
}

TEST(Clip, a_region_of_one_rectangle_clips_as_the_rectangle_does)
{
    for (const Drawing& drawing : drawings()) {
        Canvas a(kWidth, kHeight), b(kWidth, kHeight);
        const HRGN rect = CreateRectRgn(9, 7, 41, 35);
        draw_in(a, drawing, rect);
        IntersectClipRect(b.dc, 9, 7, 41, 35);
        for (int i = 0; i < 12; i++) {
            const HDC all = CreateSurfaceDC(b.bitmap, { 0, 0, kWidth, kHeight }, nullptr);
            SetPixel(all, i * 5, i * 3, RGB(uint32_t(i * 20), 0, 99));
            DeleteDC(all);
        }
        drawing.draw(b);
        EXPECT_EQ(a.colors(), b.colors()) << drawing.name;
        DeleteObject(rect);
    }
}

TEST(Clip, regions_are_kept_in_device_coordinates)
{
    Canvas canvas(20, 20);
    SetWindowOrgEx(canvas.dc, -5, -5, nullptr);
    const HRGN region = CreateRectRgn(2, 2, 8, 8);
    EXPECT_EQ(SelectClipRgn(canvas.dc, region), SIMPLEREGION);
    EXPECT_EQ(IntersectClipRect(canvas.dc, 0, 0, 10, 10), SIMPLEREGION);
    RECT box;
    GetClipBox(canvas.dc, &box);
    EXPECT_EQ(box, (RECT{ 0, 0, 3, 3 }));
    EXPECT_EQ(GetClipRgn(canvas.dc, region), 1);
    GetRgnBox(region, &box);
    EXPECT_EQ(box, (RECT{ 5, 5, 8, 8 }));
    EXPECT_EQ(ExcludeClipRect(canvas.dc, 0, 0, 1, 1), COMPLEXREGION);
    EXPECT_FALSE(PtVisible(canvas.dc, 0, 0));
    EXPECT_TRUE(PtVisible(canvas.dc, 1, 0));
    SetRectRgn(region, 0, 0, 0, 0);
    EXPECT_EQ(SelectClipRgn(canvas.dc, region), NULLREGION);
    EXPECT_FALSE(RectVisible(canvas.dc, { 0, 0, 20, 20 }));
    EXPECT_EQ(SelectClipRgn(canvas.dc, nullptr), SIMPLEREGION);
    EXPECT_EQ(GetClipRgn(canvas.dc, region), 0);
    DeleteObject(region);
}
