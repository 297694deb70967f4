// The polygon scanner keeps each edge's crossing as a whole number and an exact remainder, so that
// no rounding builds up along it.
#include "platform/gdi/scan.h"

#include <algorithm>
#include <cmath>

using Wide = __int128;

static int64_t floor_div(Wide a, Wide b)
{
    const Wide q = a / b;
    return int64_t(a % b != 0 && (a < 0) != (b < 0) ? q - 1 : q);
}

static int64_t ceil_div(int64_t a, int64_t b)
{
    return -floor_div(-a, b);
}

void PolygonScanner::add_polygon(const POINT* points, int count)
{
    for (int i = 0; i < count; i++) {
        const POINT& a = points[i];
        const POINT& b = points[i + 1 == count ? 0 : i + 1];
        add_edge({ int64_t(a.x) * kSub, int64_t(a.y) * kSub },
                 { int64_t(b.x) * kSub, int64_t(b.y) * kSub });
    }
}

void PolygonScanner::add_polygon(const SubPoint* points, int count)
{
    for (int i = 0; i < count; i++)
        add_edge(points[i], points[i + 1 == count ? 0 : i + 1]);
}

void PolygonScanner::add_edge(SubPoint a, SubPoint b)
{
    Edge e;
    e.direction = 1;
    if (a.y > b.y) {
        std::swap(a, b);
        e.direction = -1;
    }
    e.first = int(ceil_div(a.y, kSub));
    e.last = int(ceil_div(b.y, kSub)) - 1;
    if (e.first > e.last)
        return;
    // The crossing with row y is (a.x dy + (16 y - a.y) dx) / (16 dy), rounded up to a pixel.
    const int64_t dx = b.x - a.x, dy = b.y - a.y;
    e.scale = kSub * dy;
    const Wide top = Wide(a.x) * dy + Wide(int64_t(e.first) * kSub - a.y) * dx;
    e.x = -floor_div(-top, e.scale);
    e.rest = int64_t(Wide(e.x) * e.scale - top);
    e.step = floor_div(Wide(kSub) * dx, e.scale);
    e.step_rest = int64_t(Wide(kSub) * dx - Wide(e.step) * e.scale);
    edges_.push_back(e);
}

void PolygonScanner::Edge::advance()
{
    first++;
    x += step;
    rest -= step_rest;
    if (rest < 0) {
        x++;
        rest += scale;
    }
}

void PolygonScanner::Edge::skip(int rows)
{
    const Wide moved = Wide(rest) - Wide(step_rest) * rows;
    const int64_t carry = moved < 0 ? -floor_div(moved, scale) : 0;
    first += rows;
    x += step * rows + carry;
    rest = int64_t(moved + Wide(carry) * scale);
}

std::vector<Box> PolygonScanner::spans(const Box& bounds, bool winding)
{
    std::vector<Box> out;
    std::vector<Edge> waiting;
    for (Edge& e : edges_) {
        if (e.last < bounds.y1 || e.first >= bounds.y2)
            continue;
        if (e.first < bounds.y1)
            e.skip(bounds.y1 - e.first);
        waiting.push_back(e);
    }
    std::sort(waiting.begin(), waiting.end(),
              [](const Edge& a, const Edge& b) { return a.first < b.first; });
    std::vector<Edge> active;
    size_t next = 0;
    for (int y = bounds.y1; y < bounds.y2 && (next < waiting.size() || !active.empty()); y++) {
        if (active.empty())
            y = std::max(y, waiting[next].first);
        while (next < waiting.size() && waiting[next].first <= y)
            active.push_back(waiting[next++]);
        std::sort(active.begin(), active.end(),
                  [](const Edge& a, const Edge& b) { return a.x < b.x; });
        const size_t row_start = out.size();
        int count = 0;
        for (size_t i = 0; i + 1 < active.size(); i++) {
            count = winding ? count + active[i].direction : !count;
            const int x1 = int(std::max<int64_t>(active[i].x, bounds.x1));
            const int x2 = int(std::min<int64_t>(active[i + 1].x, bounds.x2));
            if (count == 0 || x1 >= x2)
                continue;
            if (out.size() > row_start && out.back().x2 == x1)
                out.back().x2 = x2;
            else
                out.push_back({ x1, y, x2, y + 1 });
        }
        for (Edge& e : active)
            e.advance();
        std::erase_if(active, [](const Edge& e) { return e.first > e.last; });
    }
    edges_.clear();
    return out;
}

// How many pixels row j of a w by h ellipse leaves out at either side: the least i with
// ((2i+1-w)/w)² + ((2j+1-h)/h)² <= 1. The middle rows reach the box, of flat ellipses too.
static int64_t ellipse_inset(int64_t w, int64_t h, int64_t j)
{
    const int64_t v = 2 * j + 1 - h;
    if (v >= -1)
        return 0;
    const Wide room = Wide(h) * h - Wide(v) * v;  // (2i+1-w)² h² <= room w²
    const double chord = std::sqrt(double(room)) * double(w) / double(h);
    int64_t i = std::max<int64_t>(0, int64_t((double(w) - 1 - chord) / 2) - 1);
    const auto inside = [&](int64_t k) {
        const int64_t u = 2 * k + 1 - w;
        return Wide(u) * u * h * h <= room * w * w;
    };
    while (2 * i + 1 < w && !inside(i))
        i++;
    return std::min(i, (w - 1) / 2);
}

std::vector<Box> round_rect_spans(const Box& box, int64_t width, int64_t height, int y1, int y2)
{
    std::vector<Box> rows;
    if (box_empty(box))
        return rows;
    const int64_t bw = int64_t(box.x2) - box.x1, bh = int64_t(box.y2) - box.y1;
    const int64_t w = std::min(std::abs(width), bw), h = std::min(std::abs(height), bh);
    for (int row = std::max(box.y1, y1); row < std::min(box.y2, y2); row++) {
        // Rows between the corners are full; the lower corners mirror the upper ones.
        const int64_t y = int64_t(row) - box.y1, j = std::min(y, bh - 1 - y);
        const int inset = w > 0 && h > 0 && 2 * j + 1 < h ? int(ellipse_inset(w, h, j)) : 0;
        rows.push_back({ box.x1 + inset, row, box.x2 - inset, row + 1 });
    }
    return rows;
}

std::vector<Box> outline_spans(const std::vector<Box>& rows)
{
    std::vector<Box> out;
    for (size_t i = 0; i < rows.size(); i++) {
        const Box& row = rows[i];
        int inner1 = row.x1 + 1, inner2 = row.x2 - 1;
        if (i == 0 || i + 1 == rows.size()) {
            inner2 = inner1;
        } else {
            inner1 = std::max({ inner1, rows[i - 1].x1, rows[i + 1].x1 });
            inner2 = std::min({ inner2, rows[i - 1].x2, rows[i + 1].x2 });
        }
        if (inner1 >= inner2) {
            out.push_back(row);
            continue;
        }
        out.push_back({ row.x1, row.y1, inner1, row.y2 });
        out.push_back({ inner2, row.y1, row.x2, row.y2 });
    }
    return out;
}
