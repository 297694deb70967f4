// Drawing with regions and rectangles.
#include "platform/gdi/record.h"
#include "platform/gdi/rop.h"

// A region in logical coordinates on the surface.
static GdiRegion on_surface(const DeviceContext& dc, const GdiRegion& region)
{
    if (dc.identity()) {
        GdiRegion moved = region;
        const POINT zero = dc.to_surface(0, 0);
        moved.translate(zero.x, zero.y);
        return moved;
    }
    int count;
    const Box* boxes = region.boxes(&count);
    std::vector<Box> out;
    for (int i = 0; i < count; i++) {
        const POINT a = dc.to_surface(boxes[i].x1, boxes[i].y1);
        const POINT b = dc.to_surface(boxes[i].x2, boxes[i].y2);
        const Box box = sorted_box(a.x, a.y, b.x, b.y);
        if (!box_empty(box))
            out.push_back(box);
    }
    return GdiRegion(out);
}

static bool draw_boxes(const DeviceContext& dc, const Box* boxes, size_t count,
                       const BrushObject& brush, uint8_t rop)
{
    if (dc.device)
        record_boxes(dc, boxes, count, brush, rop);
    else
        fill_boxes(dc, boxes, count, rop_uses_pattern(rop) ? resolve_brush(dc, brush) : GdiPaint(),
                   rop);
    return true;
}

static bool draw_region(const DeviceContext& dc, const GdiRegion& region, const BrushObject& brush,
                        uint8_t rop)
{
    int count;
    const Box* boxes = region.boxes(&count);
    return draw_boxes(dc, boxes, size_t(count), brush, rop);
}

bool FillRgn(HDC handle, HRGN region, HBRUSH brush_handle)
{
    const DeviceContext* dc = peek<DeviceContext>(handle);
    const RegionObject* object = peek<RegionObject>(region);
    const BrushObject* brush = peek<BrushObject>(brush_handle);
    return dc && object && brush
           && draw_region(*dc, on_surface(*dc, object->region), *brush, current_rop(*dc));
}

bool PaintRgn(HDC handle, HRGN region)
{
    const DeviceContext* dc = peek<DeviceContext>(handle);
    return dc && FillRgn(handle, region, HBRUSH(dc->state.brush.handle));
}

bool FrameRgn(HDC handle, HRGN region, HBRUSH brush_handle, int width, int height)
{
    const DeviceContext* dc = peek<DeviceContext>(handle);
    const RegionObject* object = peek<RegionObject>(region);
    const BrushObject* brush = peek<BrushObject>(brush_handle);
    if (!dc || !object || !brush || width <= 0 || height <= 0)
        return false;
    const int w = std::min(width, kCoordinateLimit / 8), h = std::min(height, kCoordinateLimit / 8);
    return draw_region(*dc, on_surface(*dc, region_frame(object->region, w, h)), *brush,
                       current_rop(*dc));
}

bool InvertRgn(HDC handle, HRGN region)
{
    const DeviceContext* dc = peek<DeviceContext>(handle);
    const RegionObject* object = peek<RegionObject>(region);
    return dc && object
           && draw_region(*dc, on_surface(*dc, object->region), *dc->state.brush.object,
                          rop_byte(DSTINVERT));
}

static bool logical_box(const DeviceContext& dc, const RECT& r, Box* box)
{
    const POINT a = dc.to_surface(r.left, r.top), b = dc.to_surface(r.right, r.bottom);
    *box = sorted_box(a.x, a.y, b.x, b.y);
    return r.left < r.right && r.top < r.bottom;
}

bool FillRect(HDC handle, const RECT& rect, HBRUSH brush_handle)
{
    const DeviceContext* dc = peek<DeviceContext>(handle);
    const BrushObject* brush = peek<BrushObject>(brush_handle);
    Box box;
    if (!dc || !brush)
        return false;
    return !logical_box(*dc, rect, &box) || draw_boxes(*dc, &box, 1, *brush, rop_byte(PATCOPY));
}

bool InvertRect(HDC handle, const RECT& rect)
{
    const DeviceContext* dc = peek<DeviceContext>(handle);
    Box box;
    if (!dc)
        return false;
    return !logical_box(*dc, rect, &box)
           || draw_boxes(*dc, &box, 1, *dc->state.brush.object, rop_byte(DSTINVERT));
}

// One logical unit wide, inside the rectangle, whatever the pen and the drawing mode.
bool FrameRect(HDC handle, const RECT& rect, HBRUSH brush_handle)
{
    const DeviceContext* dc = peek<DeviceContext>(handle);
    const BrushObject* brush = peek<BrushObject>(brush_handle);
    Box outer, inner;
    if (!dc || !brush || !logical_box(*dc, rect, &outer))
        return false;
    GdiRegion frame(outer);
    if (logical_box(*dc, { rect.left + 1, rect.top + 1, rect.right - 1, rect.bottom - 1 }, &inner))
        frame.subtract(GdiRegion(inner));
    return draw_region(*dc, frame, *brush, rop_byte(PATCOPY));
}
