// PatBlt, BitBlt, StretchBlt, ScrollDC and single pixels.
#include "platform/gdi/blit.h"
#include "platform/gdi/rop.h"
#include "platform/gdi/record.h"

static Box target_box(const DeviceContext& dc, int x, int y, int width, int height)
{
    const POINT a = dc.to_surface(x, y);
    const POINT b = dc.to_surface(int64_t(x) + width, int64_t(y) + height);
    return sorted_box(a.x, a.y, b.x, b.y);
}

static bool fill_with_brush(DeviceContext& dc, int x, int y, int width, int height, uint8_t rop)
{
    const Box box = target_box(dc, x, y, width, height);
    if (dc.device) {
        record_boxes(dc, &box, 1, *dc.state.brush.object, rop);
        return true;
    }
    const GdiPaint paint =
        rop_uses_pattern(rop) ? resolve_brush(dc, *dc.state.brush.object) : GdiPaint();
    fill_box(dc, box, paint, rop);
    return true;
}

bool PatBlt(HDC handle, int x, int y, int width, int height, uint32_t rop)
{
    DeviceContext* dc = peek<DeviceContext>(handle);
    if (!dc || rop_uses_source(rop_byte(rop)))
        return false;
    return fill_with_brush(*dc, x, y, width, height, rop_byte(rop));
}

bool BitBlt(HDC target, int x, int y, int width, int height, HDC source, int sx, int sy,
            uint32_t rop)
{
    return StretchBlt(target, x, y, width, height, source, sx, sy, width, height, rop);
}

bool StretchBlt(HDC target, int x, int y, int width, int height, HDC source, int sx, int sy,
                int swidth, int sheight, uint32_t rop)
{
    DeviceContext* dc = peek<DeviceContext>(target);
    if (!dc)
        return false;
    if (!rop_uses_source(rop_byte(rop)))
        return fill_with_brush(*dc, x, y, width, height, rop_byte(rop));
    const DeviceContext* from = drawable(source);
    if (!from)
        return false;
    const POINT t1 = dc->to_surface(x, y);
    const POINT t2 = dc->to_surface(int64_t(x) + width, int64_t(y) + height);
    const POINT s1 = from->to_surface(sx, sy);
    const POINT s2 = from->to_surface(int64_t(sx) + swidth, int64_t(sy) + sheight);
    const BlitAxis ax = blit_axis(t1.x, t2.x - t1.x, s1.x, s2.x - s1.x);
    const BlitAxis ay = blit_axis(t1.y, t2.y - t1.y, s1.y, s2.y - s1.y);
    if (dc->device) {
        record_image(*dc, from->surface(), ax, ay, rop);
        return true;
    }
    run_blit({ *dc, from->surface(), PixelConverter(*from, *dc), ax, ay, rop_byte(rop) });
    return true;
}

COLORREF SetPixel(HDC handle, int x, int y, COLORREF color)
{
    DeviceContext* dc = peek<DeviceContext>(handle);
    if (!dc)
        return CLR_INVALID;
    const POINT p = dc->to_surface(x, y);
    if (dc->device) {
        const Box dot = { p.x, p.y, p.x + 1, p.y + 1 };
        BrushObject brush;
        brush.color = color;
        record_boxes(*dc, &dot, 1, brush, rop_byte(PATCOPY));
        return colorref_of(color_value(*dc, color));
    }
    if (!dc->clip().contains(p.x, p.y))
        return CLR_INVALID;
    const uint32_t pixel = pixel_of(*dc, color, ColorUse::plot);
    put_pixel(dc->surface(), p.x, p.y, pixel);
    return colorref_of(color_of_pixel(dc->surface(), pixel));
}

COLORREF GetPixel(HDC handle, int x, int y)
{
    const DeviceContext* dc = drawable(handle);
    if (!dc)
        return CLR_INVALID;
    const POINT p = dc->to_surface(x, y);
    if (!dc->clip().contains(p.x, p.y))
        return CLR_INVALID;
    return colorref_of(color_of_pixel(dc->surface(), get_pixel(dc->surface(), p.x, p.y)));
}

// Moves what lies in both rectangles; what it leaves uncovered is the update region.
bool ScrollDC(HDC handle, int dx, int dy, const RECT* scroll, const RECT* clip, HRGN update,
              RECT* update_box)
{
    DeviceContext* dc = drawable(handle);
    RegionObject* uncovered = peek<RegionObject>(update);
    if (!dc || (update && !uncovered))
        return false;
    const auto surface_box = [&](const RECT& r) {
        const POINT a = dc->to_surface(r.left, r.top), b = dc->to_surface(r.right, r.bottom);
        return sorted_box(a.x, a.y, b.x, b.y);
    };
    GdiRegion area = dc->clip();
    if (clip)
        area.intersect(surface_box(*clip));
    const Box whole = area.extents();
    GdiRegion from(scroll ? intersect(surface_box(*scroll), whole) : whole);
    from.intersect(area);
    const POINT zero = dc->to_surface(0, 0), moved = dc->to_surface(dx, dy);
    const int mx = moved.x - zero.x, my = moved.y - zero.y;
    GdiRegion to = from;
    to.translate(mx, my);
    to.intersect(area);

    // The move is one copy, clipped to where it arrives.
    const Box b = from.extents();
    const std::optional<GdiRegion> kept = dc->state.clip;
    GdiRegion arrival = to;
    arrival.translate(-dc->origin.x, -dc->origin.y);
    dc->state.clip = arrival;
    dc->clip_changed();
    const BlitAxis ax = blit_axis(b.x1 + mx, b.x2 - b.x1, b.x1, b.x2 - b.x1);
    const BlitAxis ay = blit_axis(b.y1 + my, b.y2 - b.y1, b.y1, b.y2 - b.y1);
    run_blit({ *dc, dc->surface(), PixelConverter(*dc, *dc), ax, ay, rop_byte(SRCCOPY) });
    dc->state.clip = kept;
    dc->clip_changed();

    GdiRegion left = from;
    left.subtract(to);
    left.translate(-dc->origin.x, -dc->origin.y);
    const Box l = left.extents();
    if (update_box) {
        const POINT a = dc->to_logical(l.x1, l.y1), c = dc->to_logical(l.x2, l.y2);
        *update_box = left.empty() ? RECT() : RECT{ a.x, a.y, c.x, c.y };
    }
    if (uncovered)
        uncovered->region = std::move(left);
    return true;
}
