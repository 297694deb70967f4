// Lines and shapes: small ones as text, larger ones as golden pictures.
#include "canvas.h"

TEST(Shape, a_rectangle_draws_its_edge_inside_its_box)
{
    Canvas canvas(9, 6);
    canvas.brush(RGB(200, 0, 0));
    Rectangle(canvas.dc, 8, 5, 1, 1);
    EXPECT_EQ(canvas.art(), ".........\n"
                            ".#######.\n"
                            ".#ooooo#.\n"
                            ".#ooooo#.\n"
                            ".#######.\n"
                            ".........\n");
    canvas.clear(RGB(255, 255, 255));
    SelectObject(canvas.dc, GetStockObject(NULL_PEN));
    Rectangle(canvas.dc, 1, 1, 8, 5);
    EXPECT_EQ(canvas.art(), ".........\n"
                            ".oooooo..\n"
                            ".oooooo..\n"
                            ".oooooo..\n"
                            ".........\n"
                            ".........\n");
}

TEST(Shape, an_inside_frame_keeps_in_the_box_and_a_solid_pen_is_centred)
{
    Canvas canvas(13, 9);
    canvas.pen(PS_INSIDEFRAME, 2, 0);
    Rectangle(canvas.dc, 2, 2, 11, 7);
    EXPECT_EQ(canvas.art(), ".............\n"
                            ".............\n"
                            "..#########..\n"
                            "..#########..\n"
                            "..##.....##..\n"
                            "..#########..\n"
                            "..#########..\n"
                            ".............\n"
                            ".............\n");
    canvas.clear(RGB(255, 255, 255));
    canvas.pen(PS_SOLID, 3, 0);
    Rectangle(canvas.dc, 2, 2, 11, 7);
    EXPECT_EQ(canvas.art(), ".............\n"
                            ".###########.\n"
                            ".###########.\n"
                            ".###########.\n"
                            ".###.....###.\n"
                            ".###########.\n"
                            ".###########.\n"
                            ".###########.\n"
                            ".............\n");
}

TEST(Shape, ellipses)
{
    Canvas canvas(12, 9);
    canvas.brush(RGB(200, 0, 0));
    Ellipse(canvas.dc, 1, 1, 11, 8);
    EXPECT_EQ(canvas.art(), "............\n"
                            "...######...\n"
                            "..#oooooo#..\n"
                            ".#oooooooo#.\n"
                            ".#oooooooo#.\n"
                            ".#oooooooo#.\n"
                            "..#oooooo#..\n"
                            "...######...\n"
                            "............\n");
}

TEST(Shape, outlines_have_no_gaps_and_touch_their_box)
{
    for (int w = 2; w < 30; w++) {
        for (int h = 2; h < 30; h++) {
            Canvas canvas(32, 32);
            Ellipse(canvas.dc, 1, 1, 1 + w, 1 + h);
            const auto pixels = canvas.colors();
            const auto black = [&](int x, int y) { return pixels[size_t(y * 32 + x)] == 0; };
            int count = 0;
            bool left = false, top = false, right = false, bottom = false;
            for (int y = 1; y < 31; y++) {
                for (int x = 1; x < 31; x++) {
                    if (!black(x, y))
                        continue;
                    count++;
                    left |= x == 1, top |= y == 1, right |= x == w, bottom |= y == h;
                    ASSERT_TRUE(x <= w && y <= h);
                    int neighbours = 0;
                    for (int dy = -1; dy <= 1; dy++)
                        for (int dx = -1; dx <= 1; dx++)
                            neighbours += (dx || dy) && black(x + dx, y + dy);
                    ASSERT_GE(neighbours, w > 3 && h > 3 ? 2 : 1) << w << "x" << h;
                }
            }
            ASSERT_TRUE(left && top && right && bottom) << w << "x" << h;
            ASSERT_LE(count, 2 * (w + h));
        }
    }
}

TEST(Shape, a_line_leaves_out_its_end_and_rounds_halves_down)
{
    Canvas canvas(9, 5);
    MoveToEx(canvas.dc, 0, 0, nullptr);
    LineTo(canvas.dc, 8, 4);
    EXPECT_EQ(canvas.art(), "##.......\n"
                            "..##.....\n"
                            "....##...\n"
                            "......##.\n"
                            ".........\n");
    canvas.clear(RGB(255, 255, 255));
    MoveToEx(canvas.dc, 8, 4, nullptr);
    LineTo(canvas.dc, 0, 0);
    EXPECT_EQ(canvas.art(), ".#.......\n"
                            "..##.....\n"
                            "....##...\n"
                            "......##.\n"
                            "........#\n");
    POINT at;
    GetCurrentPositionEx(canvas.dc, &at);
    EXPECT_EQ(at, POINT());
}

TEST(Shape, dashes_follow_their_lengths)
{
    const struct {
        int style;
        const char* row;
    } rows[] = {
        { PS_DASH, "##################......##################......" },
        { PS_DOT, "###...###...###...###...###...###...###...###..." },
        { PS_DASHDOT, "#########......###......#########......###......" },
        { PS_DASHDOTDOT, "#########...###...###...#########...###...###..." },
    };
    for (const auto& row : rows) {
        Canvas canvas(48, 1);
        SetBkMode(canvas.dc, TRANSPARENT);
        canvas.pen(row.style, 1, 0);
        MoveToEx(canvas.dc, 0, 0, nullptr);
        LineTo(canvas.dc, 48, 0);
        EXPECT_EQ(canvas.art(), std::string(row.row) + "\n");
        // Opaque gaps show the background colour; a wide pen has no gaps.
        SetBkMode(canvas.dc, OPAQUE);
        SetBkColor(canvas.dc, RGB(0, 200, 0));
        MoveToEx(canvas.dc, 0, 0, nullptr);
        LineTo(canvas.dc, 48, 0);
        EXPECT_EQ(canvas.at(23, 0), 0x00C800u);
    }
}

TEST(Shape, huge_lines_are_clipped_not_walked)
{
    Canvas canvas(8, 8);
    MoveToEx(canvas.dc, -100000000, -100000000, nullptr);
    LineTo(canvas.dc, 100000000, 100000000);
    for (int i = 0; i < 8; i++)
        EXPECT_EQ(canvas.at(i, i), 0u);
    EXPECT_EQ(canvas.at(1, 0), 0xFFFFFFu);
    MoveToEx(canvas.dc, INT32_MIN, 5, nullptr);
    LineTo(canvas.dc, INT32_MAX, 5);
    EXPECT_EQ(canvas.at(7, 5), 0u);
    Ellipse(canvas.dc, INT32_MIN, INT32_MIN, INT32_MAX, INT32_MAX);
    Rectangle(canvas.dc, INT32_MIN, INT32_MIN, INT32_MAX, INT32_MAX);
}

TEST(Shape, polygons_fill_by_either_rule)
{
    const POINT star[] = { { 10, 0 }, { 16, 18 }, { 0, 7 }, { 20, 7 }, { 4, 18 } };
    for (int mode : { ALTERNATE, WINDING }) {
        Canvas canvas(21, 19);
        SelectObject(canvas.dc, GetStockObject(NULL_PEN));
        canvas.brush(0);
        SetPolyFillMode(canvas.dc, mode);
        Polygon(canvas.dc, star, 5);
        EXPECT_EQ(canvas.at(10, 10), mode == WINDING ? 0u : 0xFFFFFFu);
        EXPECT_EQ(canvas.at(10, 3), 0u);
    }
}

static void draw_gallery(Canvas& c, bool wide)
{
    const int n = wide ? 5 : 1;
    c.brush(RGB(255, 220, 120));
    c.pen(PS_SOLID, n, RGB(0, 0, 160));
    Ellipse(c.dc, 6, 6, 90, 60);
    RoundRect(c.dc, 100, 6, 190, 60, 30, 24);
    Rectangle(c.dc, 200, 6, 290, 60);
    Pie(c.dc, 6, 70, 90, 130, 90, 70, 6, 90);
    Chord(c.dc, 100, 70, 190, 130, 180, 70, 110, 140);
    Arc(c.dc, 200, 70, 290, 130, 245, 70, 200, 100);
    c.pen(PS_INSIDEFRAME, n, RGB(160, 0, 0));
    Ellipse(c.dc, 6, 140, 90, 194);
    RoundRect(c.dc, 100, 140, 190, 194, 30, 24);
    const POINT star[] = { { 245, 138 }, { 272, 194 }, { 202, 158 }, { 288, 158 }, { 218, 194 } };
    SetPolyFillMode(c.dc, ALTERNATE);
    Polygon(c.dc, star, 5);
}

TEST(Shape, gallery_of_thin_shapes)
{
    Canvas canvas(300, 200);
    draw_gallery(canvas, false);
    expect_golden(canvas, "shapes_thin");
}

TEST(Shape, gallery_of_wide_shapes)
{
    Canvas canvas(300, 200);
    draw_gallery(canvas, true);
    expect_golden(canvas, "shapes_wide");
}

TEST(Shape, gallery_of_strokes)
{
    Canvas c(300, 200);
    const uint32_t caps[] = { PS_ENDCAP_ROUND, PS_ENDCAP_SQUARE, PS_ENDCAP_FLAT };
    const uint32_t joins[] = { PS_JOIN_ROUND, PS_JOIN_BEVEL, PS_JOIN_MITER };
    LOGBRUSH brush;
    brush.lbColor = RGB(0, 100, 60);
    for (int i = 0; i < 3; i++) {
        c.use(ExtCreatePen(PS_GEOMETRIC | PS_SOLID | caps[i] | joins[i], 11, brush, 0, nullptr));
        const POINT zig[] = { { 20 + 95 * i, 80 }, { 45 + 95 * i, 15 }, { 60 + 95 * i, 80 },
                              { 90 + 95 * i, 60 } };
        Polyline(c.dc, zig, 4);
        c.use(ExtCreatePen(PS_GEOMETRIC | PS_DASHDOT | caps[i], 5, brush, 0, nullptr));
        MoveToEx(c.dc, 10 + 95 * i, 110, nullptr);
        LineTo(c.dc, 95 + 95 * i, 130);
        c.pen(i == 0 ? PS_DASH : i == 1 ? PS_DOT : PS_DASHDOTDOT, 1, RGB(200, 0, 0));
        Ellipse(c.dc, 10 + 95 * i, 145, 90 + 95 * i, 195);
    }
    expect_golden(c, "strokes");
}

TEST(Shape, paths_gather_instead_of_drawing)
{
    Canvas canvas(20, 20);
    EXPECT_EQ(GetPath(canvas.dc, nullptr, nullptr, 0), -1);
    BeginPath(canvas.dc);
    Rectangle(canvas.dc, 2, 2, 10, 10);
    SetArcDirection(canvas.dc, AD_CLOCKWISE);
    Rectangle(canvas.dc, 2, 2, 10, 10);
    EXPECT_EQ(GetPath(canvas.dc, nullptr, nullptr, 0), -1);
    EndPath(canvas.dc);
    POINT points[8];
    uint8_t types[8];
    ASSERT_EQ(GetPath(canvas.dc, points, types, 8), 8);
    EXPECT_EQ(points[1], (POINT{ 2, 2 }));
    EXPECT_EQ(points[5], (POINT{ 9, 9 }));
    EXPECT_EQ(types[3], PT_LINETO | PT_CLOSEFIGURE);
    EXPECT_EQ(canvas.art().find('#'), std::string::npos);
    LineTo(canvas.dc, 5, 0);
    EXPECT_EQ(canvas.at(0, 0), 0u);
}
