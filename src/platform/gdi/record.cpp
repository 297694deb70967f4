// Printer contexts: resolving what a device gets, and the recording device.
#include "platform/gdi/record.h"

#include "platform/gdi/stroke.h"

#include <cstdio>

static constexpr int kLargestPage = 1 << 20;

HDC CreateDeviceDC(GdiDevice* device)
{
    if (!device)
        return nullptr;
    auto dc = new_gdi_context();
    dc->device = device;
    dc->visible = GdiRegion(Box{ 0, 0, kLargestPage, kLargestPage });
    return add<GdiType::dc>(dc);
}

static std::vector<RECT> rects_of(const Box* boxes, size_t count)
{
    std::vector<RECT> out;
    for (size_t i = 0; i < count; i++)
        out.push_back({ boxes[i].x1, boxes[i].y1, boxes[i].x2, boxes[i].y2 });
    return out;
}

void record_clip(const DeviceContext& dc)
{
    int count;
    const Box* boxes = dc.clip().boxes(&count);
    dc.device->Clip(rects_of(boxes, size_t(count)));
}

// Patterns are resolved as for a 32-bit surface.
DeviceBrush device_brush(const DeviceContext& dc, const BrushObject& brush)
{
    DeviceBrush out;
    out.none = brush.style == BS_NULL;
    if (brush.style == BS_SOLID) {
        out.color = color_value(dc, brush.color);
    } else if (!out.none) {
        DeviceContext colors;
        colors.bitmap = make_bitmap(1, 1, PixelFormat::bgrx32, false, false);
        colors.state = dc.state;
        const GdiPaint paint = resolve_brush(colors, brush);
        out.width = paint.width;
        out.height = paint.height;
        out.pixels = paint.tile;
        out.origin = dc.state.brush_org;
    }
    return out;
}

static DevicePen device_pen(const DeviceContext& dc)
{
    const PenObject& pen = *dc.state.pen.object;
    DevicePen out;
    out.none = pen.style == PS_NULL;
    out.style = pen.style;
    out.end_cap = pen.end_cap;
    out.join = pen.join;
    out.width = pen_width(dc, pen);
    out.color = color_value(dc, pen.brush.color);
    return out;
}

void record_boxes(const DeviceContext& dc, const Box* boxes, size_t count, const BrushObject& brush,
                  uint8_t rop)
{
    record_clip(dc);
    dc.device->Fill(rects_of(boxes, count), device_brush(dc, brush), rop);
}

void record_image(const DeviceContext& dc, const GdiSurface& source, const BlitAxis& x,
                  const BlitAxis& y, uint32_t rop)
{
    DeviceContext colors;
    colors.bitmap = make_bitmap(1, 1, PixelFormat::bgrx32, false, false);
    colors.state = dc.state;
    const PixelConverter converter(source, colors);
    Box box = { clamp_coordinate(x.source), clamp_coordinate(y.source),
                clamp_coordinate(x.source + x.source_size),
                clamp_coordinate(y.source + y.source_size) };
    box = intersect(box, source.box());
    if (box_empty(box))
        return;
    DeviceImage image;
    image.width = box.x2 - box.x1;
    image.height = box.y2 - box.y1;
    image.mirror_x = x.mirror;
    image.mirror_y = y.mirror;
    // The target of what the source really holds.
    const auto place = [](const BlitAxis& a, int64_t v) {
        return int(a.target + (v - a.source) * a.target_size / a.source_size);
    };
    image.target = { place(x, box.x1), place(y, box.y1), place(x, box.x2), place(y, box.y2) };
    image.pixels.resize(size_t(image.width) * size_t(image.height));
    for (int row = 0; row < image.height; row++)
        converter.run_row(source.row(box.y1 + row), box.x1,
                          &image.pixels[size_t(row) * size_t(image.width)], image.width);
    record_clip(dc);
    dc.device->Image(image, rop);
}

void record_path(const DeviceContext& dc, const GdiPath& path, bool filled)
{
    DeviceFigures figures{ path.points, path.types, dc.state.poly_fill };
    DeviceBrush brush;
    brush.none = true;
    if (filled)
        brush = device_brush(dc, *dc.state.brush.object);
    record_clip(dc);
    dc.device->Draw(figures, device_pen(dc), brush, dc.state.rop2);
}

static GdiDevice* device_of(HDC handle)
{
    const DeviceContext* dc = peek<DeviceContext>(handle);
    return dc ? dc->device : nullptr;
}

int StartDocA(HDC dc, const char* name)
{
    GdiDevice* device = device_of(dc);
    return device && device->StartDocument(name ? name : "") ? 1 : GDI_ERROR;
}

int EndDoc(HDC dc)
{
    GdiDevice* device = device_of(dc);
    return device && device->EndDocument() ? 1 : GDI_ERROR;
}

int StartPage(HDC dc)
{
    GdiDevice* device = device_of(dc);
    return device && device->StartPage() ? 1 : GDI_ERROR;
}

int EndPage(HDC dc)
{
    GdiDevice* device = device_of(dc);
    return device && device->EndPage() ? 1 : GDI_ERROR;
}

int AbortDoc(HDC dc)
{
    GdiDevice* device = device_of(dc);
    return device && device->AbortDocument() ? 1 : GDI_ERROR;
}

// ---- the recording device

int RecordingDevice::Caps(int index) const
{
    switch (index) {
    case TECHNOLOGY: return DT_RASPRINTER;
    case HORZRES:
    case PHYSICALWIDTH: return width_;
    case VERTRES:
    case PHYSICALHEIGHT: return height_;
    case HORZSIZE: return width_ * 254 / (dots_per_inch_ * 10);
    case VERTSIZE: return height_ * 254 / (dots_per_inch_ * 10);
    case LOGPIXELSX:
    case LOGPIXELSY: return dots_per_inch_;
    case BITSPIXEL: return 24;
    case PLANES: return 1;
    case NUMCOLORS: return -1;
    default: return 0;
    }
}

static std::string text_of(const RECT& r)
{
    char line[64];
    snprintf(line, sizeof line, "%d,%d,%d,%d", r.left, r.top, r.right, r.bottom);
    return line;
}

static std::string hex(uint32_t value, int digits)
{
    char line[16];
    snprintf(line, sizeof line, "%0*x", digits, value);
    return line;
}

static std::string text_of(const DeviceBrush& brush)
{
    if (brush.none)
        return "none";
    if (brush.width == 0)
        return hex(brush.color, 6);
    return "tile " + std::to_string(brush.width) + "x" + std::to_string(brush.height);
}

bool RecordingDevice::StartDocument(const char* name)
{
    calls.push_back(std::string("start-doc ") + name);
    return true;
}

bool RecordingDevice::EndDocument()
{
    calls.push_back("end-doc");
    return true;
}

bool RecordingDevice::AbortDocument()
{
    calls.push_back("abort-doc");
    return true;
}

bool RecordingDevice::StartPage()
{
    calls.push_back("start-page");
    return true;
}

bool RecordingDevice::EndPage()
{
    calls.push_back("end-page");
    return true;
}

void RecordingDevice::Clip(const std::vector<RECT>& boxes)
{
    clip = boxes;
}

void RecordingDevice::Fill(const std::vector<RECT>& boxes, const DeviceBrush& brush, uint8_t rop)
{
    for (const RECT& box : boxes)
        calls.push_back("fill " + text_of(box) + " " + text_of(brush) + " rop " + hex(rop, 2));
}

void RecordingDevice::Draw(const DeviceFigures& figures, const DevicePen& pen,
                           const DeviceBrush& brush, int rop2)
{
    std::string line = "draw";
    for (size_t i = 0; i < figures.points.size(); i++) {
        const uint8_t type = figures.types[i];
        const int kind = type & ~PT_CLOSEFIGURE;
        line += kind == PT_MOVETO ? " M" : kind == PT_LINETO ? " L" : " B";
        line += std::to_string(figures.points[i].x) + "," + std::to_string(figures.points[i].y);
        if (type & PT_CLOSEFIGURE)
            line += " Z";
    }
    line += pen.none ? " pen none" : " pen " + hex(pen.color, 6) + " " + std::to_string(pen.width);
    calls.push_back(line + " brush " + text_of(brush) + " rop2 " + std::to_string(rop2));
}

void RecordingDevice::Image(const DeviceImage& image, uint32_t rop)
{
    calls.push_back("image " + text_of(image.target) + " of " + std::to_string(image.width) + "x"
                    + std::to_string(image.height) + (image.mirror_x ? " mirror-x" : "")
                    + (image.mirror_y ? " mirror-y" : "") + " rop " + hex(rop, 6));
}

void RecordingDevice::Text(const DeviceText& text)
{
    calls.push_back("text " + std::to_string(text.baseline.x) + ","
                    + std::to_string(text.baseline.y) + " \"" + text.bytes + "\" "
                    + hex(text.color, 6) + " " + text.font.lfFaceName + " "
                    + std::to_string(text.font.lfHeight)
                    + (text.opaque ? " on " + hex(text.background, 6) : ""));
}
