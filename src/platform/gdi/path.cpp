// Paths and the outlines of curved shapes as Bézier curves.
#include "platform/gdi/path.h"

#include "platform/gdi/dc.h"

#include <algorithm>
#include <cmath>

static constexpr double kArcControl = 0.5522847498;  // control length of a quarter circle

void GdiPath::move_to(POINT p)
{
    if (!types.empty() && types.back() == PT_MOVETO) {
        points.back() = p;
        return;
    }
    points.push_back(p);
    types.push_back(PT_MOVETO);
}

void GdiPath::line_to(POINT p)
{
    points.push_back(p);
    types.push_back(PT_LINETO);
}

void GdiPath::bezier_to(POINT a, POINT b, POINT c)
{
    points.insert(points.end(), { a, b, c });
    types.insert(types.end(), 3, PT_BEZIERTO);
}

void GdiPath::close()
{
    if (!types.empty())
        types.back() |= PT_CLOSEFIGURE;
}

GdiPath* open_path(DeviceContext& dc)
{
    return dc.path_open ? dc.path.get() : nullptr;
}

static POINT rounded(double x, double y)
{
    return { clamp_coordinate(std::llround(std::clamp(x, -1e9, 1e9))),
             clamp_coordinate(std::llround(std::clamp(y, -1e9, 1e9))) };
}

void add_rectangle(GdiPath* path, const RECT& b, bool clockwise)
{
    const int r = b.right - 1, d = b.bottom - 1;
    path->move_to({ r, b.top });
    path->line_to(clockwise ? POINT{ r, d } : POINT{ b.left, b.top });
    path->line_to({ b.left, d });
    path->line_to(clockwise ? POINT{ b.left, b.top } : POINT{ r, d });
    path->close();
}

// A quarter of an ellipse from one axis to the other; `from` and `to` are offsets from the centre.
static void add_quarter(GdiPath* path, double cx, double cy, double from_x, double from_y,
                        double to_x, double to_y)
{
    const double k = kArcControl;
    path->bezier_to(rounded(cx + from_x + k * to_x, cy + from_y + k * to_y),
                    rounded(cx + to_x + k * from_x, cy + to_y + k * from_y),
                    rounded(cx + to_x, cy + to_y));
}

void add_round_rect(GdiPath* path, const RECT& b, int width, int height, bool clockwise)
{
    const double rx = std::min(std::abs(double(width)), double(b.right) - b.left) / 2;
    const double ry = std::min(std::abs(double(height)), double(b.bottom) - b.top) / 2;
    if (rx == 0 || ry == 0) {
        add_rectangle(path, b, clockwise);
        return;
    }
    const double l = b.left + rx, r = b.right - 1 - rx, t = b.top + ry, d = b.bottom - 1 - ry;
    path->move_to(rounded(r + rx, t));
    if (clockwise) {
        path->line_to(rounded(r + rx, d));
        add_quarter(path, r, d, rx, 0, 0, ry);
        path->line_to(rounded(l, d + ry));
        add_quarter(path, l, d, 0, ry, -rx, 0);
        path->line_to(rounded(l - rx, t));
        add_quarter(path, l, t, -rx, 0, 0, -ry);
        path->line_to(rounded(r, t - ry));
        add_quarter(path, r, t, 0, -ry, rx, 0);
    } else {
        add_quarter(path, r, t, rx, 0, 0, -ry);
        path->line_to(rounded(l, t - ry));
        add_quarter(path, l, t, 0, -ry, -rx, 0);
        path->line_to(rounded(l - rx, d));
        add_quarter(path, l, d, -rx, 0, 0, ry);
        path->line_to(rounded(r, d + ry));
        add_quarter(path, r, d, 0, ry, rx, 0);
    }
    path->close();
}

namespace {

struct EllipseShape {
    explicit EllipseShape(const RECT& b)
        : cx((double(b.left) + b.right - 1) / 2), cy((double(b.top) + b.bottom - 1) / 2),
          rx(std::max(0.0, (double(b.right) - b.left - 1) / 2)),
          ry(std::max(0.0, (double(b.bottom) - b.top - 1) / 2))
    {
    }
    double cx, cy, rx, ry;

    // The curve's parameter, counted counter-clockwise from the right, where a ray meets it.
    double angle_of(POINT p) const
    {
        const double x = p.x - cx, y = p.y - cy;
        return std::atan2(-y * (rx > 0 ? rx : 1), x * (ry > 0 ? ry : 1));
    }
};

} // namespace

void add_ellipse(GdiPath* path, const RECT& b, bool clockwise)
{
    const EllipseShape e(b);
    const double up = clockwise ? e.ry : -e.ry;
    path->move_to(rounded(e.cx + e.rx, e.cy));
    add_quarter(path, e.cx, e.cy, e.rx, 0, 0, up);
    add_quarter(path, e.cx, e.cy, 0, up, -e.rx, 0);
    add_quarter(path, e.cx, e.cy, -e.rx, 0, 0, -up);
    add_quarter(path, e.cx, e.cy, 0, -up, e.rx, 0);
    path->close();
}

void add_arc(GdiPath* path, const RECT& b, POINT from, POINT to, bool clockwise, bool connect)
{
    const EllipseShape e(b);
    const double start = e.angle_of(from);
    double sweep = e.angle_of(to) - start;
    if (clockwise) {
        while (sweep >= 0)
            sweep -= 2 * M_PI;
    } else {
        while (sweep <= 0)
            sweep += 2 * M_PI;
    }
    const auto at = [&](double a) {
        return rounded(e.cx + e.rx * std::cos(a), e.cy - e.ry * std::sin(a));
    };
    if (connect)
        path->line_to(at(start));
    else
        path->move_to(at(start));
    // A curve for each quarter that the arc reaches into.
    const double end = start + sweep, quarter = M_PI / 2;
    for (double a = start; std::abs(end - a) > 1e-9;) {
        double z = clockwise ? std::ceil(a / quarter - 1 - 1e-9) * quarter
                             : std::floor(a / quarter + 1 + 1e-9) * quarter;
        if (clockwise ? z < end : z > end)
            z = end;
        const double k = 4.0 / 3 * std::tan((z - a) / 4);
        path->bezier_to(rounded(e.cx + e.rx * (std::cos(a) - k * std::sin(a)),
                                e.cy - e.ry * (std::sin(a) + k * std::cos(a))),
                        rounded(e.cx + e.rx * (std::cos(z) + k * std::sin(z)),
                                e.cy - e.ry * (std::sin(z) - k * std::cos(z))),
                        at(z));
        a = z;
    }
}

std::vector<std::vector<POINT>> flatten_path(const GdiPath& path, std::vector<bool>* closed)
{
    std::vector<std::vector<POINT>> figures;
    closed->clear();
    const auto figure = [&]() -> std::vector<POINT>& {
        if (figures.empty()) {
            figures.emplace_back();
            closed->push_back(false);
        }
        return figures.back();
    };
    for (size_t i = 0; i < path.points.size(); i++) {
        const int kind = path.types[i] & ~PT_CLOSEFIGURE;
        if (kind == PT_MOVETO) {
            figures.push_back({ path.points[i] });
            closed->push_back(false);
            continue;
        }
        std::vector<POINT>& out = figure();
        if (kind == PT_BEZIERTO && i + 2 < path.points.size() && !out.empty()) {
            const POINT p0 = out.back(), p1 = path.points[i], p2 = path.points[i + 1],
                        p3 = path.points[i + 2];
            const double length = std::hypot(p1.x - p0.x, p1.y - p0.y)
                                  + std::hypot(p2.x - p1.x, p2.y - p1.y)
                                  + std::hypot(p3.x - p2.x, p3.y - p2.y);
            const int pieces = int(std::clamp(length / 3, 4.0, 400.0));
            for (int k = 1; k <= pieces; k++) {
                const double t = double(k) / pieces, u = 1 - t;
                const double a = u * u * u, b = 3 * u * u * t, c = 3 * u * t * t, d = t * t * t;
                out.push_back(rounded(a * p0.x + b * p1.x + c * p2.x + d * p3.x,
                                      a * p0.y + b * p1.y + c * p2.y + d * p3.y));
            }
            i += 2;
        } else {
            out.push_back(path.points[i]);
        }
        if (path.types[i] & PT_CLOSEFIGURE)
            closed->back() = true;
    }
    return figures;
}

bool BeginPath(HDC handle)
{
    DeviceContext* dc = peek<DeviceContext>(handle);
    if (!dc)
        return false;
    dc->path = std::make_unique<GdiPath>();
    dc->path_open = true;
    return true;
}

bool EndPath(HDC handle)
{
    DeviceContext* dc = peek<DeviceContext>(handle);
    if (!dc || !dc->path_open)
        return false;
    dc->path_open = false;
    return true;
}

int GetPath(HDC handle, POINT* points, uint8_t* types, int capacity)
{
    const DeviceContext* dc = peek<DeviceContext>(handle);
    if (!dc || !dc->path || dc->path_open)
        return -1;
    const int count = int(dc->path->points.size());
    if (capacity == 0)
        return count;
    if (capacity < count || !points || !types)
        return -1;
    for (int i = 0; i < count; i++) {
        points[i] = dc->to_logical(dc->path->points[size_t(i)].x, dc->path->points[size_t(i)].y);
        types[i] = dc->path->types[size_t(i)];
    }
    return count;
}
