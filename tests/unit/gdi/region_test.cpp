// Regions against a bitmap as model.
#include "canvas.h"

#include <functional>

namespace {

constexpr int kSide = 40;
using Model = std::vector<bool>;

Model model_of(HRGN region)
{
    Model m(kSide * kSide);
    for (int y = 0; y < kSide; y++)
        for (int x = 0; x < kSide; x++)
            m[size_t(y * kSide + x)] = PtInRegion(region, x, y);
    return m;
}

struct Shape {
    HRGN region;
    Model model;
};

Shape random_shape(Random& random)
{
    Shape shape{ CreateRectRgn(0, 0, 0, 0), Model(kSide * kSide) };
    for (int n = random.between(1, 6); n > 0; n--) {
        const int l = random.below(kSide), t = random.below(kSide);
        const int r = random.between(l, kSide), b = random.between(t, kSide);
        const HRGN rect = CreateRectRgn(r, b, l, t);  // swapped corners are sorted
        CombineRgn(shape.region, shape.region, rect, RGN_OR);
        DeleteObject(rect);
        for (int y = t; y < b; y++)
            for (int x = l; x < r; x++)
                shape.model[size_t(y * kSide + x)] = true;
    }
    return shape;
}

} // namespace

TEST(Region, combining_agrees_with_bits)
{
    const std::function<bool(bool, bool)> formulas[] = {
        [](bool a, bool b) { return a && b; }, [](bool a, bool b) { return a || b; },
        [](bool a, bool b) { return a != b; }, [](bool a, bool b) { return a && !b; },
        [](bool a, bool) { return a; }
    };
    for (uint32_t seed = 1; seed <= 60; seed++) {
        Random random(seed);
        const Shape a = random_shape(random), b = random_shape(random);
        for (int mode = RGN_AND; mode <= RGN_COPY; mode++) {
            const HRGN result = CreateRectRgn(0, 0, 0, 0);
            const int type = CombineRgn(result, a.region, b.region, mode);
            Model expected(kSide * kSide);
            int left = kSide, top = kSide, right = 0, bottom = 0;
            for (int i = 0; i < kSide * kSide; i++) {
                const bool in = formulas[mode - 1](a.model[size_t(i)], b.model[size_t(i)]);
                expected[size_t(i)] = in;
                if (in) {
                    left = std::min(left, i % kSide), right = std::max(right, i % kSide + 1);
                    top = std::min(top, i / kSide), bottom = std::max(bottom, i / kSide + 1);
                }
            }
            ASSERT_EQ(model_of(result), expected) << "seed " << seed << " mode " << mode;
            RECT box;
            ASSERT_EQ(GetRgnBox(result, &box), type);
            if (right == 0)
                left = top = bottom = 0;
            EXPECT_EQ(type == NULLREGION, right == 0);
            EXPECT_EQ(box, (RECT{ left, top, right, bottom })) << "seed " << seed;
            DeleteObject(result);
        }
        DeleteObject(a.region);
        DeleteObject(b.region);
    }
}

TEST(Region, one_region_may_be_result_and_operand)
{
    const HRGN a = CreateRectRgn(0, 0, 10, 10), b = CreateRectRgn(5, 0, 15, 10);
    EXPECT_EQ(CombineRgn(a, a, b, RGN_XOR), COMPLEXREGION);
    EXPECT_EQ(CombineRgn(a, b, a, RGN_AND), SIMPLEREGION);
    RECT box;
    GetRgnBox(a, &box);
    EXPECT_EQ(box, (RECT{ 10, 0, 15, 10 }));
    DeleteObject(a);
    DeleteObject(b);
}

TEST(Region, empty_regions_are_equal_wherever_they_were)
{
    const HRGN a = CreateRectRgn(5, 5, 5, 9), b = CreateRectRgn(0, 0, 0, 0);
    EXPECT_TRUE(EqualRgn(a, b));
    SetRectRgn(a, 1, 1, 4, 4);
    EXPECT_FALSE(EqualRgn(a, b));
    EXPECT_EQ(CombineRgn(a, a, a, RGN_DIFF), NULLREGION);
    EXPECT_TRUE(EqualRgn(a, b));
    DeleteObject(a);
    DeleteObject(b);
}

TEST(Region, offsets_beyond_the_coordinates_are_refused)
{
    const HRGN a = CreateRectRgn(0, 0, 10, 10);
    EXPECT_EQ(OffsetRgn(a, INT32_MAX, 0), RGN_ERROR);
    EXPECT_EQ(OffsetRgn(a, 100, -50), SIMPLEREGION);
    EXPECT_TRUE(PtInRegion(a, 100, -50));
    EXPECT_FALSE(PtInRegion(a, 110, -50));
    DeleteObject(a);
}

// Even-odd and winding of random polygons against the crossing rule at pixel centres. Centres that
// lie on an edge are decided by the left and top edges.
TEST(Region, polygons_agree_with_crossings)
{
    for (uint32_t seed = 1; seed <= 80; seed++) {
        Random random(seed);
        std::vector<POINT> points(size_t(random.between(3, 8)));
        for (POINT& p : points)
            p = { random.below(kSide), random.below(kSide) };
        for (int mode : { ALTERNATE, WINDING }) {
            const HRGN region = CreatePolygonRgn(points.data(), int(points.size()), mode);
            for (int y = 0; y < kSide; y++) {
                for (int x = 0; x < kSide; x++) {
                    int winding = 0, crossings = 0;
                    for (size_t i = 0; i < points.size(); i++) {
                        const POINT a = points[i], b = points[(i + 1) % points.size()];
                        if ((a.y <= y) == (b.y <= y))
                            continue;
                        // The crossing is at or left of x: cross product against the upward edge.
                        const POINT low = a.y < b.y ? a : b, high = a.y < b.y ? b : a;
                        const long side = long(x - low.x) * (high.y - low.y)
                                          - long(y - low.y) * (high.x - low.x);
                        if (side >= 0) {
                            crossings++;
                            winding += a.y < b.y ? 1 : -1;
                        }
                    }
                    const bool in = mode == ALTERNATE ? crossings % 2 != 0 : winding != 0;
                    ASSERT_EQ(PtInRegion(region, x, y), in)
                        << "seed " << seed << " mode " << mode << " at " << x << "," << y;
                }
            }
            DeleteObject(region);
        }
    }
}

TEST(Region, ellipses_fill_their_box_symmetrically)
{
    for (int w = 1; w < 24; w++) {
        for (int h = 1; h < 24; h++) {
            const HRGN region = CreateEllipticRgn(3, 4, 3 + w + 1, 4 + h + 1);
            RECT box;
            GetRgnBox(region, &box);
            ASSERT_EQ(box, (RECT{ 3, 4, 3 + w, 4 + h })) << w << "x" << h;
            for (int y = 4; y < 4 + h; y++)
                for (int x = 3; x < 3 + w; x++) {
                    ASSERT_EQ(PtInRegion(region, x, y), PtInRegion(region, 5 + w - x, y));
                    ASSERT_EQ(PtInRegion(region, x, y), PtInRegion(region, x, 7 + h - y));
                }
            DeleteObject(region);
        }
    }
}

TEST(Region, rounded_regions_match_shapes_with_the_null_pen)
{
    Canvas filled(40, 30), shape(40, 30);
    const HBRUSH black(GetStockObject(BLACK_BRUSH));
    SelectObject(shape.dc, black);
    SelectObject(shape.dc, GetStockObject(NULL_PEN));
    Random random(20);
    for (int i = 0; i < 300; i++) {
        const int left = random.below(20), top = random.below(15);
        const int right = left + random.below(20), bottom = top + random.below(15);
        const int w = random.between(-12, 12), h = random.between(-9, 9);
        const bool round = i % 2 != 0;
        const HRGN region = round ? CreateRoundRectRgn(left, top, right, bottom, w, h)
                                  : CreateEllipticRgn(left, top, right, bottom);
        filled.clear(RGB(255, 255, 255));
        shape.clear(RGB(255, 255, 255));
        FillRgn(filled.dc, region, black);
        if (round)
            RoundRect(shape.dc, left, top, right, bottom, w, h);
        else
            Ellipse(shape.dc, left, top, right, bottom);
        ASSERT_EQ(filled.art(), shape.art())
            << left << " " << top << " " << right << " " << bottom << " " << w << " " << h;
        DeleteObject(region);
    }
}

TEST(Region, polygons_without_an_inside_are_empty_regions)
{
    const POINT points[] = { { 3, 3 }, { 9, 3 }, { 20, 3 }, { 0, INT32_MIN } };
    for (int count = 1; count <= 4; count++) {
        const HRGN region = CreatePolygonRgn(points, count, ALTERNATE);
        RECT box;
        EXPECT_EQ(GetRgnBox(region, &box), NULLREGION) << count;
        DeleteObject(region);
    }
    EXPECT_FALSE(CreatePolygonRgn(points, 0, ALTERNATE));
    EXPECT_FALSE(CreatePolygonRgn(points, 3, 3));
}

TEST(Region, framing_draws_the_inner_edge)
{
    Canvas canvas(9, 7);
    const HRGN a = CreateRectRgn(1, 1, 8, 6), b = CreateRectRgn(4, 0, 8, 3);
    CombineRgn(a, a, b, RGN_DIFF);
    const HBRUSH black = CreateSolidBrush(0);
    EXPECT_TRUE(FrameRgn(canvas.dc, a, black, 1, 1));
    EXPECT_EQ(canvas.art(), ".........\n"
                            ".###.....\n"
                            ".#.#.....\n"
                            ".#.#####.\n"
                            ".#.....#.\n"
                            ".#######.\n"
                            ".........\n");
    DeleteObject(black);
    DeleteObject(a);
    DeleteObject(b);
}

TEST(Region, dead_regions_are_refused)
{
    const HRGN a = CreateRectRgn(0, 0, 5, 5), b = CreateRectRgn(0, 0, 1, 1);
    EXPECT_TRUE(DeleteObject(a));
    RECT box;
    EXPECT_EQ(GetRgnBox(a, &box), RGN_ERROR);
    EXPECT_EQ(CombineRgn(b, a, b, RGN_OR), RGN_ERROR);
    EXPECT_EQ(CombineRgn(b, b, b, 6), RGN_ERROR);
    EXPECT_FALSE(PtInRegion(a, 1, 1));
    EXPECT_FALSE(SetRectRgn(a, 0, 0, 1, 1));
    EXPECT_FALSE(DeleteObject(a));
    EXPECT_EQ(CreatePolygonRgn(nullptr, 3, ALTERNATE), HRGN());
    DeleteObject(b);
}
