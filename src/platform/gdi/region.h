// Regions on pixman's region algebra, and the spans that shapes are made of.
#pragma once

#include "platform/gdi/objects.h"

#include <pixman.h>

#include <vector>

using Box = pixman_box32_t;  // x1, y1, x2, y2; half open like a RECT

// Coordinates are kept within this, so that sums and offsets of them stay in 32 bits.
constexpr int kCoordinateLimit = 1 << 27;

inline int clamp_coordinate(int64_t v)
{
    return int(v < -kCoordinateLimit  ? -kCoordinateLimit
               : v > kCoordinateLimit ? kCoordinateLimit
                                      : v);
}

inline bool box_empty(const Box& b)
{
    return b.x1 >= b.x2 || b.y1 >= b.y2;
}

inline Box intersect(const Box& a, const Box& b)
{
    return { a.x1 > b.x1 ? a.x1 : b.x1, a.y1 > b.y1 ? a.y1 : b.y1, a.x2 < b.x2 ? a.x2 : b.x2,
             a.y2 < b.y2 ? a.y2 : b.y2 };
}

// Corners sorted and held within the coordinate limit.
Box sorted_box(int64_t left, int64_t top, int64_t right, int64_t bottom);

class GdiRegion {
public:
    GdiRegion() { pixman_region32_init(&r_); }
    explicit GdiRegion(const Box& box);
    explicit GdiRegion(const std::vector<Box>& boxes);
    GdiRegion(const GdiRegion& other) : GdiRegion() { pixman_region32_copy(&r_, other.raw()); }
    GdiRegion(GdiRegion&& other) noexcept : r_(other.r_) { pixman_region32_init(&other.r_); }
    GdiRegion& operator=(GdiRegion other) noexcept
    {
        std::swap(r_, other.r_);
        return *this;
    }
    ~GdiRegion() { pixman_region32_fini(&r_); }

    const Box* boxes(int* count) const { return pixman_region32_rectangles(raw(), count); }
    Box extents() const { return *pixman_region32_extents(raw()); }
    bool empty() const { return !pixman_region32_not_empty(raw()); }
    bool contains(int x, int y) const;
    bool meets(const Box& box) const;
    bool equal(const GdiRegion& other) const
    {
        return (empty() && other.empty()) || pixman_region32_equal(raw(), other.raw());
    }
    void translate(int dx, int dy) { pixman_region32_translate(&r_, dx, dy); }
    void intersect(const GdiRegion& o) { pixman_region32_intersect(&r_, &r_, o.raw()); }
    void intersect(const Box& box);
    void unite(const GdiRegion& o) { pixman_region32_union(&r_, &r_, o.raw()); }
    void subtract(const GdiRegion& o) { pixman_region32_subtract(&r_, &r_, o.raw()); }
    int type() const;  // NULLREGION, SIMPLEREGION or COMPLEXREGION

private:
    pixman_region32_t* raw() const { return const_cast<pixman_region32_t*>(&r_); }
    pixman_region32_t r_;
};

// a op b by an RGN_ mode; false for an unknown mode.
bool combine(GdiRegion* result, const GdiRegion& a, const GdiRegion& b, int mode);

// The band of width dx and height dy inside the region's edge.
GdiRegion region_frame(const GdiRegion& region, int dx, int dy);

// Calls f with each part of `box` that lies in the region, top to bottom.
template <class F> void for_each_clipped(const GdiRegion& clip, const Box& box, F f)
{
    int count;
    const Box* boxes = clip.boxes(&count);
    const Box* end = boxes + count;
    if (count > 8) {
        // Boxes are in bands sorted by y, so the first that can matter is found by halving.
        const Box* low = boxes;
        for (int n = count; n > 0;) {
            const int half = n / 2;
            if (low[half].y2 <= box.y1) {
                low += half + 1;
                n -= half + 1;
            } else {
                n = half;
            }
        }
        boxes = low;
    }
    for (; boxes < end && boxes->y1 < box.y2; boxes++) {
        const Box part = intersect(*boxes, box);
        if (!box_empty(part))
            f(part);
    }
}

struct RegionObject : GdiObject {
    static constexpr GdiType kType = GdiType::region;
    RegionObject() : GdiObject(kType) { }
    GdiRegion region;
};
