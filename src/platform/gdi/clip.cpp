// The clip region of a context, kept in device coordinates.
#include "platform/gdi/dc.h"

int SelectClipRgn(HDC dc, HRGN region)
{
    return ExtSelectClipRgn(dc, region, RGN_COPY);
}

// What is drawn on now, in device coordinates: the whole surface when no clip is set.
static GdiRegion current_clip(const DeviceContext& dc)
{
    if (dc.state.clip)
        return *dc.state.clip;
    GdiRegion whole = dc.visible;
    whole.translate(-dc.origin.x, -dc.origin.y);
    return whole;
}

static int set_clip(DeviceContext& dc, GdiRegion region)
{
    dc.state.clip = std::move(region);
    dc.clip_changed();
    return dc.state.clip->type();
}

int ExtSelectClipRgn(HDC handle, HRGN region, int mode)
{
    DeviceContext* dc = peek<DeviceContext>(handle);
    const RegionObject* object = peek<RegionObject>(region);
    if (!dc || (region && !object))
        return RGN_ERROR;
    if (!region) {
        if (mode != RGN_COPY)
            return RGN_ERROR;
        dc->state.clip.reset();
        dc->clip_changed();
        return dc->clip().type();
    }
    if (mode == RGN_COPY)
        return set_clip(*dc, object->region);
    GdiRegion result;
    if (!combine(&result, current_clip(*dc), object->region, mode))
        return RGN_ERROR;
    return set_clip(*dc, std::move(result));
}

int GetClipRgn(HDC handle, HRGN region)
{
    const DeviceContext* dc = peek<DeviceContext>(handle);
    RegionObject* object = peek<RegionObject>(region);
    if (!dc || !object)
        return -1;
    if (!dc->state.clip)
        return 0;
    object->region = *dc->state.clip;
    return 1;
}

int GetClipBox(HDC handle, RECT* box)
{
    const DeviceContext* dc = peek<DeviceContext>(handle);
    if (!dc || !box)
        return RGN_ERROR;
    const GdiRegion& clip = dc->clip();
    const Box b = clip.extents();
    const POINT a = dc->to_logical(b.x1 - dc->origin.x, b.y1 - dc->origin.y);
    const POINT c = dc->to_logical(b.x2 - dc->origin.x, b.y2 - dc->origin.y);
    *box = clip.empty() ? RECT() : RECT{ a.x, a.y, c.x, c.y };
    return clip.type();
}

static Box device_box(const DeviceContext& dc, int left, int top, int right, int bottom)
{
    const POINT a = dc.to_device(left, top), b = dc.to_device(right, bottom);
    return sorted_box(a.x, a.y, b.x, b.y);
}

int IntersectClipRect(HDC handle, int left, int top, int right, int bottom)
{
    DeviceContext* dc = peek<DeviceContext>(handle);
    if (!dc)
        return RGN_ERROR;
    GdiRegion clip = current_clip(*dc);
    clip.intersect(device_box(*dc, left, top, right, bottom));
    return set_clip(*dc, std::move(clip));
}

int ExcludeClipRect(HDC handle, int left, int top, int right, int bottom)
{
    DeviceContext* dc = peek<DeviceContext>(handle);
    if (!dc)
        return RGN_ERROR;
    GdiRegion clip = current_clip(*dc);
    clip.subtract(GdiRegion(device_box(*dc, left, top, right, bottom)));
    return set_clip(*dc, std::move(clip));
}

int OffsetClipRgn(HDC handle, int x, int y)
{
    DeviceContext* dc = peek<DeviceContext>(handle);
    if (!dc)
        return RGN_ERROR;
    if (!dc->state.clip)
        return dc->clip().type();
    const POINT zero = dc->to_device(0, 0), moved = dc->to_device(x, y);
    GdiRegion clip = *dc->state.clip;
    clip.translate(moved.x - zero.x, moved.y - zero.y);
    return set_clip(*dc, std::move(clip));
}

bool RectVisible(HDC handle, const RECT& rect)
{
    const DeviceContext* dc = peek<DeviceContext>(handle);
    if (!dc)
        return false;
    Box box = device_box(*dc, rect.left, rect.top, rect.right, rect.bottom);
    box = { box.x1 + dc->origin.x, box.y1 + dc->origin.y, box.x2 + dc->origin.x,
            box.y2 + dc->origin.y };
    return dc->clip().meets(box);
}

bool PtVisible(HDC handle, int x, int y)
{
    const DeviceContext* dc = peek<DeviceContext>(handle);
    if (!dc)
        return false;
    const POINT p = dc->to_surface(x, y);
    return dc->clip().contains(p.x, p.y);
}
