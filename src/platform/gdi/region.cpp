// Region objects and the algebra on them.
#include "platform/gdi/region.h"

#include "platform/gdi/scan.h"

#include <algorithm>

Box sorted_box(int64_t left, int64_t top, int64_t right, int64_t bottom)
{
    return { clamp_coordinate(std::min(left, right)), clamp_coordinate(std::min(top, bottom)),
             clamp_coordinate(std::max(left, right)), clamp_coordinate(std::max(top, bottom)) };
}

GdiRegion::GdiRegion(const Box& box)
{
    if (box_empty(box))
        pixman_region32_init(&r_);
    else
        pixman_region32_init_rect(&r_, box.x1, box.y1, unsigned(box.x2 - box.x1),
                                  unsigned(box.y2 - box.y1));
}

GdiRegion::GdiRegion(const std::vector<Box>& boxes)
{
    if (!pixman_region32_init_rects(&r_, boxes.data(), int(boxes.size())))
        pixman_region32_init(&r_);
}

bool GdiRegion::contains(int x, int y) const
{
    return pixman_region32_contains_point(raw(), x, y, nullptr);
}

bool GdiRegion::meets(const Box& box) const
{
    if (box_empty(box))
        return false;
    Box copy = box;
    return pixman_region32_contains_rectangle(raw(), &copy) != PIXMAN_REGION_OUT;
}

void GdiRegion::intersect(const Box& box)
{
    if (box_empty(box))
        pixman_region32_clear(&r_);
    else
        pixman_region32_intersect_rect(&r_, &r_, box.x1, box.y1, unsigned(box.x2 - box.x1),
                                       unsigned(box.y2 - box.y1));
}

int GdiRegion::type() const
{
    if (empty())
        return NULLREGION;
    return pixman_region32_n_rects(raw()) == 1 ? SIMPLEREGION : COMPLEXREGION;
}

bool combine(GdiRegion* result, const GdiRegion& a, const GdiRegion& b, int mode)
{
    GdiRegion out = a;
    switch (mode) {
    case RGN_AND: out.intersect(b); break;
    case RGN_OR: out.unite(b); break;
    case RGN_XOR: {
        GdiRegion both = a;
        both.intersect(b);
        out.unite(b);
        out.subtract(both);
        break;
    }
    case RGN_DIFF: out.subtract(b); break;
    case RGN_COPY: break;
    default: return false;
    }
    *result = std::move(out);
    return true;
}

// Shrunk by d to both sides along one axis: what is left of the region when the complement within
// its box is grown by d. Growing a box list is exact, since each box grows on its own.
static GdiRegion shrink(const GdiRegion& region, int dx, int dy)
{
    Box outer = region.extents();
    outer = { outer.x1 - dx - 1, outer.y1 - dy - 1, outer.x2 + dx + 1, outer.y2 + dy + 1 };
    GdiRegion outside(outer);
    outside.subtract(region);
    int count;
    const Box* boxes = outside.boxes(&count);
    std::vector<Box> grown(boxes, boxes + count);
    for (Box& b : grown)
        b = { b.x1 - dx, b.y1 - dy, b.x2 + dx, b.y2 + dy };
    GdiRegion inside = region;
    inside.subtract(GdiRegion(grown));
    return inside;
}

GdiRegion region_frame(const GdiRegion& region, int dx, int dy)
{
    GdiRegion frame = region;
    frame.subtract(shrink(region, dx, dy));
    return frame;
}

static HRGN add_region(GdiRegion&& region)
{
    auto object = std::make_shared<RegionObject>();
    object->region = std::move(region);
    return add<GdiType::region>(object);
}

HRGN CreateRectRgn(int left, int top, int right, int bottom)
{
    return add_region(GdiRegion(sorted_box(left, top, right, bottom)));
}

HRGN CreateRectRgnIndirect(const RECT& rect)
{
    return CreateRectRgn(rect.left, rect.top, rect.right, rect.bottom);
}

HRGN CreateEllipticRgn(int left, int top, int right, int bottom)
{
    return CreateRoundRectRgn(left, top, right, bottom, kCoordinateLimit, kCoordinateLimit);
}

HRGN CreateEllipticRgnIndirect(const RECT& rect)
{
    return CreateEllipticRgn(rect.left, rect.top, rect.right, rect.bottom);
}

HRGN CreateRoundRectRgn(int left, int top, int right, int bottom, int width, int height)
{
    Box box = sorted_box(left, top, right, bottom);
    if (box.y2 - box.y1 > kLargestShape || box.x2 - box.x1 > kLargestShape)
        return nullptr;
    // Rounded regions hold what the shape of that box fills with the null pen: a pixel less to the
    // right and below.
    box.x2--, box.y2--;
    return add_region(GdiRegion(round_rect_spans(box, width, height, box.y1, box.y2)));
}

HRGN CreatePolygonRgn(const POINT* points, int count, int mode)
{
    return CreatePolyPolygonRgn(points, &count, 1, mode);
}

HRGN CreatePolyPolygonRgn(const POINT* points, const int* counts, int polygons, int mode)
{
    if (!points || !counts || polygons <= 0 || (mode != ALTERNATE && mode != WINDING))
        return nullptr;
    PolygonScanner scanner;
    bool in_range = true;
    for (int i = 0; i < polygons; i++) {
        if (counts[i] < 1)  // a point or a line is a polygon without an inside
            return nullptr;
        for (int k = 0; k < counts[i]; k++)
            in_range = in_range && points[k].x == clamp_coordinate(points[k].x)
                       && points[k].y == clamp_coordinate(points[k].y);
        scanner.add_polygon(points, counts[i]);
        points += counts[i];
    }
    if (!in_range)
        return add_region(GdiRegion());  // a corner out of range leaves nothing of it all
    const Box all = { -kCoordinateLimit, -kLargestShape, kCoordinateLimit, kLargestShape };
    return add_region(GdiRegion(scanner.spans(all, mode == WINDING)));
}

bool SetRectRgn(HRGN handle, int left, int top, int right, int bottom)
{
    RegionObject* object = peek<RegionObject>(handle);
    if (!object)
        return false;
    object->region = GdiRegion(sorted_box(left, top, right, bottom));
    return true;
}

int CombineRgn(HRGN result, HRGN a, HRGN b, int mode)
{
    RegionObject* target = peek<RegionObject>(result);
    const RegionObject* first = peek<RegionObject>(a);
    const RegionObject* second = mode == RGN_COPY ? first : peek<RegionObject>(b);
    if (!target || !first || !second
        || !combine(&target->region, first->region, second->region, mode))
        return RGN_ERROR;
    return target->region.type();
}

int OffsetRgn(HRGN handle, int x, int y)
{
    RegionObject* object = peek<RegionObject>(handle);
    if (!object)
        return RGN_ERROR;
    const Box box = object->region.extents();
    const auto fits = [](int64_t v) { return v >= -kCoordinateLimit && v <= kCoordinateLimit; };
    if (!object->region.empty()
        && (!fits(int64_t(box.x1) + x) || !fits(int64_t(box.x2) + x) || !fits(int64_t(box.y1) + y)
            || !fits(int64_t(box.y2) + y)))
        return RGN_ERROR;
    object->region.translate(x, y);
    return object->region.type();
}

int GetRgnBox(HRGN handle, RECT* box)
{
    const RegionObject* object = peek<RegionObject>(handle);
    if (!object || !box)
        return RGN_ERROR;
    const Box b = object->region.extents();
    *box = object->region.empty() ? RECT() : RECT{ b.x1, b.y1, b.x2, b.y2 };
    return object->region.type();
}

bool EqualRgn(HRGN a, HRGN b)
{
    const RegionObject* first = peek<RegionObject>(a);
    const RegionObject* second = peek<RegionObject>(b);
    return first && second && first->region.equal(second->region);
}

bool PtInRegion(HRGN handle, int x, int y)
{
    const RegionObject* object = peek<RegionObject>(handle);
    return object && object->region.contains(x, y);
}

bool RectInRegion(HRGN handle, const RECT& rect)
{
    const RegionObject* object = peek<RegionObject>(handle);
    return object
           && object->region.meets(sorted_box(rect.left, rect.top, rect.right, rect.bottom));
}

int GetRegionRects(HRGN handle, RECT* rects, int capacity)
{
    const RegionObject* object = peek<RegionObject>(handle);
    if (!object)
        return 0;
    int count;
    const Box* boxes = object->region.boxes(&count);
    for (int i = 0; i < count && i < capacity && rects; i++)
        rects[i] = { boxes[i].x1, boxes[i].y1, boxes[i].x2, boxes[i].y2 };
    return count;
}
