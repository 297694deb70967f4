// Rectangles, ellipses, arcs and polygons: the brush inside the outline, the outline with the pen.
//
// A shape's box is half open. With the null pen it is a pixel smaller to the right and below. A
// wide pen is centred on the outline; an inside frame keeps within the box.
#include "platform/gdi/record.h"
#include "platform/gdi/rop.h"
#include "platform/gdi/stroke.h"

#include <algorithm>
#include <cmath>

static bool clockwise(const DeviceContext& dc)
{
    return dc.state.arc_direction == AD_CLOCKWISE;
}

static Box shape_box(const DeviceContext& dc, int left, int top, int right, int bottom)
{
    const POINT a = dc.to_surface(left, top), b = dc.to_surface(right, bottom);
    return sorted_box(a.x, a.y, b.x, b.y);
}

static RECT device_rect(const DeviceContext& dc, const Box& b)
{
    return { b.x1 - dc.origin.x, b.y1 - dc.origin.y, b.x2 - dc.origin.x, b.y2 - dc.origin.y };
}

// Where a shape's outline goes when it isn't drawn here: the open path or the device.
template <class AddOutline>
static bool outlined_elsewhere(DeviceContext& dc, bool filled, AddOutline add_outline)
{
    if (GdiPath* path = open_path(dc)) {
        add_outline(path);
        return true;
    }
    if (dc.device) {
        GdiPath path;
        add_outline(&path);
        record_path(dc, path, filled);
        return true;
    }
    return !dc.bitmap;
}

static void fill_brush(const DeviceContext& dc, const GdiRegion& area)
{
    fill_region(dc, area, resolve_brush(dc, *dc.state.brush.object), current_rop(dc));
}

static void fill_pen(const DeviceContext& dc, const GdiRegion& area)
{
    fill_region(dc, area, resolve_pen(dc, *dc.state.pen.object), current_rop(dc));
}

static bool pen_is_dashed(const DeviceContext& dc)
{
    const PenObject& pen = *dc.state.pen.object;
    return pen.style != PS_SOLID && pen.style != PS_INSIDEFRAME && pen.style != PS_NULL;
}

static Box inset(const Box& b, int by)
{
    return { b.x1 + by, b.y1 + by, b.x2 - by, b.y2 - by };
}

// ---- rectangles

static void wide_rectangle(DeviceContext& dc, const Box& box, const PenObject& pen, int width)
{
    if (pen.style == PS_INSIDEFRAME) {
        const Box inner = inset(box, std::min(width, kCoordinateLimit / 4));
        GdiRegion ring(box);
        if (!box_empty(inner)) {
            ring.subtract(GdiRegion(inner));
            fill_brush(dc, GdiRegion(inner));
        }
        fill_pen(dc, ring);
        return;
    }
    const int r = box.x2 - 1, b = box.y2 - 1;
    const std::vector<POINT> corners = {
        { r, box.y1 }, { box.x1, box.y1 }, { box.x1, b }, { r, b }
    };
    const GdiRegion ring(stroke_area(corners, true, width, pen, dc.clip().extents()));
    GdiRegion inside(Box{ box.x1, box.y1, r, b });
    inside.subtract(ring);
    fill_brush(dc, inside);
    fill_pen(dc, ring);
}

bool Rectangle(HDC handle, int left, int top, int right, int bottom)
{
    DeviceContext* dc = peek<DeviceContext>(handle);
    if (!dc)
        return false;
    const Box box = shape_box(*dc, left, top, right, bottom);
    if (box_empty(box))
        return true;
    if (outlined_elsewhere(*dc, true, [&](GdiPath* path) {
            add_rectangle(path, device_rect(*dc, box), clockwise(*dc));
        }))
        return true;
    const PenObject& pen = *dc->state.pen.object;
    const int r = box.x2 - 1, b = box.y2 - 1;
    if (pen.style == PS_NULL) {
        fill_brush(*dc, GdiRegion(Box{ box.x1, box.y1, r, b }));
    } else if (!pen_is_thin(*dc, pen)) {
        wide_rectangle(*dc, box, pen, pen_width(*dc, pen));
    } else if (r > box.x1 || b > box.y1) {
        fill_brush(*dc, GdiRegion(inset(box, 1)));
        const POINT corners[] = { { r, box.y1 }, { box.x1, box.y1 }, { box.x1, b }, { r, b } };
        dc->state.dash_phase = 0;
        draw_polyline(*dc, corners, 4, true);
    }
    return true;
}

// ---- ellipses and round rectangles: an outer and an inner shape, the pen between them

namespace {

struct Ring {
    GdiRegion edge, inside;
};

} // namespace

// Rows outside the clip aren't made.
static GdiRegion rounded_region(const DeviceContext& dc, const Box& box, int64_t width,
                                int64_t height)
{
    const Box bounds = dc.clip().extents();
    return GdiRegion(round_rect_spans(box, width, height, bounds.y1, bounds.y2));
}

// width and height are those of the corners' ellipse.
static Ring make_ring(const DeviceContext& dc, const Box& box, int64_t width, int64_t height)
{
    const PenObject& pen = *dc.state.pen.object;
    Ring ring;
    if (pen.style == PS_NULL) {
        ring.inside = rounded_region(dc, { box.x1, box.y1, box.x2 - 1, box.y2 - 1 }, width,
                                     height);
        return ring;
    }
    const int pw = std::min(pen_width(dc, pen), kLargestShape);
    if (pw == 1) {
        // One row more on either side, so that the clip's rows know their neighbours.
        const Box bounds = dc.clip().extents();
        const std::vector<Box> rows = round_rect_spans(box, width, height, bounds.y1 - 1,
                                                       bounds.y2 + 1);
        ring.edge = GdiRegion(outline_spans(rows));
        ring.inside = GdiRegion(rows);
    } else {
        const bool framed = pen.style == PS_INSIDEFRAME;
        const int low = framed ? 0 : pw / 2, high = framed ? 0 : pw - 1 - pw / 2;
        const Box outer = { box.x1 - low, box.y1 - low, box.x2 + high, box.y2 + high };
        const int64_t grow = low + high;
        ring.edge = rounded_region(dc, outer, width + grow, height + grow);
        ring.inside = rounded_region(dc, inset(outer, pw),
                                     std::max<int64_t>(0, width + grow - 2 * pw),
                                     std::max<int64_t>(0, height + grow - 2 * pw));
        ring.edge.subtract(ring.inside);
    }
    ring.inside.subtract(ring.edge);
    return ring;
}

static void draw_dashed(DeviceContext& dc, const GdiPath& path)
{
    std::vector<bool> closed;
    const auto figures = flatten_path(path, &closed);
    dc.state.dash_phase = 0;
    for (size_t i = 0; i < figures.size(); i++)
        draw_polyline(dc, figures[i].data(), figures[i].size(), closed[i]);
}

bool RoundRect(HDC handle, int left, int top, int right, int bottom, int width, int height)
{
    DeviceContext* dc = peek<DeviceContext>(handle);
    if (!dc)
        return false;
    const POINT zero = dc->to_device(0, 0), corner = dc->to_device(width, height);
    const int w = std::abs(corner.x - zero.x), h = std::abs(corner.y - zero.y);
    if (w == 0 || h == 0)
        return Rectangle(handle, left, top, right, bottom);
    const Box box = shape_box(*dc, left, top, right, bottom);
    if (box_empty(box))
        return true;
    const auto outline = [&](GdiPath* path) {
        add_round_rect(path, device_rect(*dc, box), w, h, clockwise(*dc));
    };
    if (outlined_elsewhere(*dc, true, outline))
        return true;
    const Ring ring =
        make_ring(*dc, box, std::min(w, box.x2 - box.x1), std::min(h, box.y2 - box.y1));
    fill_brush(*dc, ring.inside);
    if (pen_is_dashed(*dc)) {
        GdiPath path;
        add_round_rect(&path, { box.x1, box.y1, box.x2, box.y2 }, w, h, clockwise(*dc));
        draw_dashed(*dc, path);
    } else {
        fill_pen(*dc, ring.edge);
    }
    return true;
}

bool Ellipse(HDC handle, int left, int top, int right, int bottom)
{
    DeviceContext* dc = peek<DeviceContext>(handle);
    if (!dc)
        return false;
    const Box box = shape_box(*dc, left, top, right, bottom);
    if (box_empty(box))
        return true;
    const auto outline = [&](GdiPath* path) {
        add_ellipse(path, device_rect(*dc, box), clockwise(*dc));
    };
    if (outlined_elsewhere(*dc, true, outline))
        return true;
    const Ring ring = make_ring(*dc, box, box.x2 - box.x1, box.y2 - box.y1);
    fill_brush(*dc, ring.inside);
    if (pen_is_dashed(*dc)) {
        GdiPath path;
        add_ellipse(&path, { box.x1, box.y1, box.x2, box.y2 }, clockwise(*dc));
        draw_dashed(*dc, path);
    } else {
        fill_pen(*dc, ring.edge);
    }
    return true;
}

// ---- arcs

namespace {

// A piece of an ellipse between two rays from its centre, counter-clockwise from the first.
struct ArcShape {
    ArcShape(const DeviceContext& dc, const Box& b, POINT first, POINT second)
        : box(b), from(first), to(second)
    {
        if (clockwise(dc))
            std::swap(from, to);
    }

    GdiRegion sector(const Box& bounds) const;
    POINT on_curve(POINT ray) const;
    POINT center() const { return { (box.x1 + box.x2 - 1) / 2, (box.y1 + box.y2 - 1) / 2 }; }

    Box box;
    POINT from, to;
};

} // namespace

// The part of the bounds between the rays: a polygon from the centre that reaches beyond the box,
// and what the pen adds to it, all along the sweep.
GdiRegion ArcShape::sector(const Box& bounds) const
{
    const double cx = (double(box.x1) + box.x2 - 1) / 2, cy = (double(box.y1) + box.y2 - 1) / 2;
    const double reach = 2.0 * (double(box.x2) - box.x1 + box.y2 - box.y1) + 4096;
    const auto angle = [&](POINT p) { return std::atan2(-(p.y - cy), p.x - cx); };
    const double start = angle(from);
    double sweep = angle(to) - start;
    while (sweep <= 1e-12)
        sweep += 2 * M_PI;
    if (sweep > 2 * M_PI - 1e-9)
        return GdiRegion(bounds);
    const auto sub = [](double v) { return int64_t(std::llround(v * kSub)); };
    std::vector<SubPoint> points = { { sub(cx), sub(cy) } };
    const int pieces = 1 + int(sweep / (M_PI / 4));
    for (int i = 0; i <= pieces; i++) {
        const double a = start + sweep * i / pieces;
        points.push_back({ sub(cx + reach * std::cos(a)), sub(cy - reach * std::sin(a)) });
    }
    PolygonScanner scanner;
    scanner.add_polygon(points.data(), int(points.size()));
    return GdiRegion(scanner.spans(bounds, true));
}

POINT ArcShape::on_curve(POINT ray) const
{
    const double cx = (double(box.x1) + box.x2 - 1) / 2, cy = (double(box.y1) + box.y2 - 1) / 2;
    const double rx = std::max(0.5, (box.x2 - box.x1 - 1) / 2.0);
    const double ry = std::max(0.5, (box.y2 - box.y1 - 1) / 2.0);
    const double x = ray.x - cx, y = ray.y - cy;
    const double scale = std::hypot(x / rx, y / ry);
    if (scale == 0)
        return { int(std::lround(cx + rx)), int(std::lround(cy)) };
    return { int(std::lround(cx + x / scale)), int(std::lround(cy + y / scale)) };
}

enum class ArcKind { open, pie, chord };

static GdiPath arc_outline(const DeviceContext& dc, const ArcShape& arc, ArcKind kind, POINT origin)
{
    GdiPath path;
    const RECT box = { arc.box.x1 - origin.x, arc.box.y1 - origin.y, arc.box.x2 - origin.x,
                       arc.box.y2 - origin.y };
    const auto moved = [&](POINT p) { return POINT{ p.x - origin.x, p.y - origin.y }; };
    const bool turned = clockwise(dc);
    add_arc(&path, box, moved(turned ? arc.to : arc.from), moved(turned ? arc.from : arc.to),
            turned, false);
    if (kind == ArcKind::pie)
        path.line_to(moved(arc.center()));
    if (kind != ArcKind::open)
        path.close();
    return path;
}

// The straight sides of a pie or chord as the pen draws them.
static GdiRegion side_lines(const DeviceContext& dc, const ArcShape& arc, ArcKind kind)
{
    const POINT a = arc.on_curve(arc.from), b = arc.on_curve(arc.to), c = arc.center();
    std::vector<POINT> line = { a, c, b };
    if (kind == ArcKind::chord)
        line = { a, b };
    const PenObject& pen = *dc.state.pen.object;
    std::vector<Box> spans;
    if (pen_is_thin(dc, pen)) {
        for (size_t i = 0; i + 1 < line.size(); i++)
            add_line_spans(line[i], line[i + 1], dc.clip().extents(), &spans);
    } else {
        spans = stroke_area(line, false, pen_width(dc, pen), pen, dc.clip().extents());
    }
    return GdiRegion(spans);
}

static GdiRegion chord_side(const ArcShape& arc, const GdiRegion& ellipse)
{
    // The curve's points between the rays, closed by the straight side.
    std::vector<bool> closed;
    GdiPath path;
    add_arc(&path, { arc.box.x1, arc.box.y1, arc.box.x2, arc.box.y2 }, arc.from, arc.to, false,
            false);
    const auto figures = flatten_path(path, &closed);
    PolygonScanner scanner;
    scanner.add_polygon(figures[0].data(), int(figures[0].size()));
    GdiRegion area(scanner.spans(ellipse.extents(), true));
    area.intersect(ellipse);
    return area;
}

static bool draw_arc(HDC handle, const int box_points[4], POINT first, POINT second, ArcKind kind)
{
    DeviceContext* dc = peek<DeviceContext>(handle);
    if (!dc)
        return false;
    const Box box = shape_box(*dc, box_points[0], box_points[1], box_points[2], box_points[3]);
    if (box_empty(box))
        return true;
    const ArcShape arc(*dc, box, dc->to_surface(first.x, first.y),
                       dc->to_surface(second.x, second.y));
    if (outlined_elsewhere(*dc, kind != ArcKind::open, [&](GdiPath* path) {
            const GdiPath outline = arc_outline(*dc, arc, kind, dc->origin);
            path->points.insert(path->points.end(), outline.points.begin(), outline.points.end());
            path->types.insert(path->types.end(), outline.types.begin(), outline.types.end());
        }))
        return true;
    Ring ring = make_ring(*dc, box, box.x2 - box.x1, box.y2 - box.y1);
    const GdiRegion sector = arc.sector(dc->clip().extents());
    const bool has_pen = dc->state.pen.object->style != PS_NULL;
    ring.edge.intersect(sector);
    if (kind == ArcKind::chord)
        ring.inside = chord_side(arc, ring.inside);
    else
        ring.inside.intersect(sector);
    const PenObject& pen = *dc->state.pen.object;
    if (kind == ArcKind::open && has_pen && !pen_is_thin(*dc, pen)) {
        for (const POINT& ray : { arc.from, arc.to })  // round caps
            ring.edge.unite(GdiRegion(stroke_area({ arc.on_curve(ray) }, false, pen_width(*dc, pen),
                                                  pen, dc->clip().extents())));
    }
    if (kind != ArcKind::open) {
        if (has_pen)
            ring.edge.unite(side_lines(*dc, arc, kind));
        ring.inside.subtract(ring.edge);
        fill_brush(*dc, ring.inside);
    }
    if (pen_is_dashed(*dc))
        draw_dashed(*dc, arc_outline(*dc, arc, kind, {}));
    else
        fill_pen(*dc, ring.edge);
    return true;
}

bool Arc(HDC dc, int left, int top, int right, int bottom, int x1, int y1, int x2, int y2)
{
    const int box[] = { left, top, right, bottom };
    return draw_arc(dc, box, { x1, y1 }, { x2, y2 }, ArcKind::open);
}

bool Pie(HDC dc, int left, int top, int right, int bottom, int x1, int y1, int x2, int y2)
{
    const int box[] = { left, top, right, bottom };
    return draw_arc(dc, box, { x1, y1 }, { x2, y2 }, ArcKind::pie);
}

bool Chord(HDC dc, int left, int top, int right, int bottom, int x1, int y1, int x2, int y2)
{
    const int box[] = { left, top, right, bottom };
    return draw_arc(dc, box, { x1, y1 }, { x2, y2 }, ArcKind::chord);
}

// A line from the current position to the arc, the arc, and the position at its end.
bool ArcTo(HDC handle, int left, int top, int right, int bottom, int x1, int y1, int x2, int y2)
{
    DeviceContext* dc = peek<DeviceContext>(handle);
    if (!dc)
        return false;
    const Box box = shape_box(*dc, left, top, right, bottom);
    if (box_empty(box))
        return false;
    const ArcShape arc(*dc, box, dc->to_surface(x1, y1), dc->to_surface(x2, y2));
    const bool turned = clockwise(*dc);
    const POINT start = arc.on_curve(turned ? arc.to : arc.from);
    const POINT end = arc.on_curve(turned ? arc.from : arc.to);
    const auto logical = [&](POINT p) {
        return dc->to_logical(p.x - dc->origin.x, p.y - dc->origin.y);
    };
    if (GdiPath* path = open_path(*dc)) {
        const POINT p = dc->to_device(dc->state.position.x, dc->state.position.y);
        if (path->points.empty())
            path->move_to(p);
        add_arc(path, device_rect(*dc, box), dc->to_device(x1, y1), dc->to_device(x2, y2), turned,
                true);
    } else {
        const POINT line_end = logical(start);
        if (!LineTo(handle, line_end.x, line_end.y)
            || !Arc(handle, left, top, right, bottom, x1, y1, x2, y2))
            return false;
    }
    dc->state.position = logical(end);
    return true;
}

// ---- lines and polygons

static std::vector<POINT> surface_points(const DeviceContext& dc, const POINT* points, int count)
{
    std::vector<POINT> out;
    for (int i = 0; i < count; i++)
        out.push_back(dc.to_surface(points[i].x, points[i].y));
    return out;
}

static void add_lines(const DeviceContext& dc, GdiPath* path, const std::vector<POINT>& points,
                      bool closed)
{
    for (size_t i = 0; i < points.size(); i++) {
        const POINT p = { points[i].x - dc.origin.x, points[i].y - dc.origin.y };
        if (i == 0)
            path->move_to(p);
        else
            path->line_to(p);
    }
    if (closed)
        path->close();
}

bool LineTo(HDC handle, int x, int y)
{
    DeviceContext* dc = peek<DeviceContext>(handle);
    if (!dc)
        return false;
    const POINT line[] = { dc->to_surface(dc->state.position.x, dc->state.position.y),
                           dc->to_surface(x, y) };
    dc->state.position = { clamp_coordinate(x), clamp_coordinate(y) };
    if (GdiPath* open = open_path(*dc)) {
        if (open->points.empty())
            open->move_to({ line[0].x - dc->origin.x, line[0].y - dc->origin.y });
        open->line_to({ line[1].x - dc->origin.x, line[1].y - dc->origin.y });
    } else if (dc->device) {
        GdiPath path;
        add_lines(*dc, &path, { line[0], line[1] }, false);
        record_path(*dc, path, false);
    } else if (dc->bitmap) {
        draw_polyline(*dc, line, 2, false);
    }
    return true;
}

bool Polyline(HDC handle, const POINT* points, int count)
{
    DeviceContext* dc = peek<DeviceContext>(handle);
    if (!dc || !points || count < 2)
        return false;
    const std::vector<POINT> line = surface_points(*dc, points, count);
    if (outlined_elsewhere(*dc, false, [&](GdiPath* path) { add_lines(*dc, path, line, false); }))
        return true;
    const int phase = dc->state.dash_phase;
    dc->state.dash_phase = 0;
    draw_polyline(*dc, line.data(), line.size(), false);
    dc->state.dash_phase = phase;
    return true;
}

bool PolylineTo(HDC handle, const POINT* points, int count)
{
    if (!peek<DeviceContext>(handle) || !points || count < 1)
        return false;
    for (int i = 0; i < count; i++)
        LineTo(handle, points[i].x, points[i].y);
    return true;
}

bool PolyBezier(HDC handle, const POINT* points, int count)
{
    DeviceContext* dc = peek<DeviceContext>(handle);
    if (!dc || !points || count < 4 || count % 3 != 1)
        return false;
    const auto add_curve = [&](GdiPath* path, POINT origin) {
        std::vector<POINT> p = surface_points(*dc, points, count);
        for (POINT& q : p)
            q = { q.x - origin.x, q.y - origin.y };
        path->move_to(p[0]);
        for (size_t i = 1; i + 2 < p.size(); i += 3)
            path->bezier_to(p[i], p[i + 1], p[i + 2]);
    };
    if (outlined_elsewhere(*dc, false, [&](GdiPath* path) { add_curve(path, dc->origin); }))
        return true;
    GdiPath path;
    add_curve(&path, {});
    draw_dashed(*dc, path);
    return true;
}

bool Polygon(HDC dc, const POINT* points, int count)
{
    return PolyPolygon(dc, points, &count, 1);
}

bool PolyPolygon(HDC handle, const POINT* points, const int* counts, int polygons)
{
    DeviceContext* dc = peek<DeviceContext>(handle);
    if (!dc || !points || !counts || polygons < 1)
        return false;
    std::vector<std::vector<POINT>> figures;
    for (int i = 0; i < polygons; i++) {
        if (counts[i] < 2)
            return false;
        figures.push_back(surface_points(*dc, points, counts[i]));
        points += counts[i];
    }
    if (outlined_elsewhere(*dc, true, [&](GdiPath* path) {
            for (const auto& figure : figures)
                add_lines(*dc, path, figure, true);
        }))
        return true;
    PolygonScanner scanner;
    for (const auto& figure : figures)
        scanner.add_polygon(figure.data(), int(figure.size()));
    const std::vector<Box> spans = scanner.spans(dc->clip().extents(),
                                                 dc->state.poly_fill == WINDING);
    fill_boxes(*dc, spans.data(), spans.size(), resolve_brush(*dc, *dc->state.brush.object),
               current_rop(*dc));
    for (const auto& figure : figures) {
        dc->state.dash_phase = 0;
        draw_polyline(*dc, figure.data(), figure.size(), true);
    }
    return true;
}
