// Thin lines, solid and dashed. A clipped line is the part of the whole line that lies in the clip:
// the steps that fall into a box are computed, never walked up to.
#include "platform/gdi/rop.h"
#include "platform/gdi/stroke.h"

#include <algorithm>

static int64_t ceil_div(int64_t a, int64_t b)
{
    return a >= 0 ? (a + b - 1) / b : -(-a / b);
}

LineWalk::LineWalk(POINT a, POINT b)
    : start(a), dx(int64_t(b.x) - a.x), dy(int64_t(b.y) - a.y),
      n_(std::max(std::abs(dx), std::abs(dy))), horizontal_(std::abs(dx) >= std::abs(dy))
{
}

int64_t LineWalk::minor(int64_t i) const
{
    return ceil_div(2 * i * (horizontal_ ? dy : dx) - n_, 2 * n_);
}

POINT LineWalk::at(int64_t i) const
{
    if (horizontal_)
        return { int(start.x + (dx < 0 ? -i : i)), int(start.y + minor(i)) };
    return { int(start.x + minor(i)), int(start.y + (dy < 0 ? -i : i)) };
}

// The first of the steps from low to high for which `reached` holds; it stays so once it does.
template <class F> static int64_t first_step(int64_t low, int64_t high, F reached)
{
    while (low < high) {
        const int64_t middle = low + (high - low) / 2;
        if (reached(middle))
            high = middle;
        else
            low = middle + 1;
    }
    return low;
}

// Narrows [low, high) to the steps whose offset (rising or falling) lies in [from, to).
template <class F>
static void steps_within(int64_t* low, int64_t* high, bool rising, int64_t from, int64_t to,
                         F offset)
{
    const int64_t end = *high;
    if (rising) {
        *low = first_step(*low, end, [&](int64_t i) { return offset(i) >= from; });
        *high = first_step(*low, end, [&](int64_t i) { return offset(i) >= to; });
    } else {
        *low = first_step(*low, end, [&](int64_t i) { return offset(i) < to; });
        *high = first_step(*low, end, [&](int64_t i) { return offset(i) < from; });
    }
}

static void steps_in_box(const LineWalk& line, const Box& box, int64_t* low, int64_t* high)
{
    *low = 0;
    *high = line.steps();
    const bool h = line.horizontal();
    const int64_t major = h ? line.dx : line.dy, minor = h ? line.dy : line.dx;
    const int64_t m0 = h ? line.start.x : line.start.y, n0 = h ? line.start.y : line.start.x;
    const int64_t m1 = h ? box.x1 : box.y1, m2 = h ? box.x2 : box.y2;
    const int64_t n1 = h ? box.y1 : box.x1, n2 = h ? box.y2 : box.x2;
    steps_within(low, high, major > 0, m1 - m0, m2 - m0,
                 [&](int64_t i) { return major > 0 ? i : -i; });
    steps_within(low, high, minor >= 0, n1 - n0, n2 - n0,
                 [&](int64_t i) { return line.minor(i); });
}

// Walks the steps [low, high) with running error terms; plot gets the step and two booleans' worth
// of movement folded into a pixel address.
template <class Plot>
static void walk(const LineWalk& line, int64_t low, int64_t high, Plot plot)
{
    if (low >= high)
        return;
    const bool h = line.horizontal();
    const int64_t n = line.steps(), d = h ? line.dy : line.dx;
    POINT p = line.at(low);
    int& major = h ? p.x : p.y;
    int& minor = h ? p.y : p.x;
    const int step = (h ? line.dx : line.dy) < 0 ? -1 : 1;
    const int minor_step = d < 0 ? -1 : 1;
    // rest = 2 i |d| - n - 2 n moved, kept in (-2n, 0] when rising and [-2n, 0) when falling, so
    // that an exact half goes to the smaller coordinate.
    int64_t rest = 2 * low * std::abs(d) - n - 2 * n * std::abs(line.minor(low));
    for (int64_t i = low; i < high; i++) {
        plot(p.x, p.y, i);
        major += step;
        rest += 2 * std::abs(d);
        if (d < 0 ? rest >= 0 : rest > 0) {
            minor += minor_step;
            rest -= 2 * n;
        }
    }
}

template <class Pixel>
static void plot_solid(const GdiSurface& s, const LineWalk& line, int64_t low, int64_t high,
                       PixelOp op)
{
    walk(line, low, high, [&](int x, int y, int64_t) {
        Pixel* p = reinterpret_cast<Pixel*>(s.row(y)) + x;
        *p = Pixel((*p & op.keep) ^ op.flip);
    });
}

static void draw_solid(const GdiSurface& s, const LineWalk& line, int64_t low, int64_t high,
                       PixelOp op)
{
    if (low >= high)
        return;
    if (line.dy == 0) {
        const int a = line.at(low).x, b = line.at(high - 1).x;
        solid_row(s.row(line.start.y), s.bits, std::min(a, b), size_t(std::abs(a - b)) + 1, op);
        return;
    }
    switch (s.bits) {
    case 8: plot_solid<uint8_t>(s, line, low, high, op); break;
    case 16: plot_solid<uint16_t>(s, line, low, high, op); break;
    case 32: plot_solid<uint32_t>(s, line, low, high, op); break;
    default:
        walk(line, low, high,
             [&](int x, int y, int64_t) { solid_row(s.row(y), s.bits, x, 1, op); });
    }
}

// One period of a dash pattern, a byte a pixel: 1 in a dash. Empty for solid pens.
static std::vector<uint8_t> dash_period(const PenObject& pen)
{
    static const std::vector<uint32_t> dash = { 18, 6 }, dot = { 3, 3 }, dash_dot = { 9, 6, 3, 6 },
                                       dash_dot_dot = { 9, 3, 3, 3, 3, 3 }, alternate = { 1, 1 };
    const std::vector<uint32_t>* lengths = nullptr;
    switch (pen.style) {
    case PS_DASH: lengths = &dash; break;
    case PS_DOT: lengths = &dot; break;
    case PS_DASHDOT: lengths = &dash_dot; break;
    case PS_DASHDOTDOT: lengths = &dash_dot_dot; break;
    case PS_ALTERNATE: lengths = &alternate; break;
    case PS_USERSTYLE: lengths = &pen.lengths; break;
    default: return {};
    }
    std::vector<uint8_t> period;
    const size_t count = lengths->size() * (lengths->size() % 2 ? 2 : 1);
    for (size_t i = 0; i < count; i++)
        period.insert(period.end(), (*lengths)[i % lengths->size()], i % 2 == 0);
    return period;
}

namespace {

struct ThinPen {
    PixelOp dash, gap;
    bool gaps_drawn;
    std::vector<uint8_t> period;
};

} // namespace

static void draw_segment(const DeviceContext& dc, POINT a, POINT b, const ThinPen& pen, int phase)
{
    const LineWalk line(a, b);
    if (line.steps() == 0)
        return;
    const GdiSurface& s = dc.surface();
    const Box bounds = { std::min(a.x, b.x), std::min(a.y, b.y), std::max(a.x, b.x) + 1,
                         std::max(a.y, b.y) + 1 };
    for_each_clipped(dc.clip(), bounds, [&](const Box& part) {
        int64_t low, high;
        steps_in_box(line, part, &low, &high);
        if (pen.period.empty()) {
            draw_solid(s, line, low, high, pen.dash);
            return;
        }
        walk(line, low, high, [&](int x, int y, int64_t i) {
            if (pen.period[size_t((phase + i) % int64_t(pen.period.size()))])
                solid_row(s.row(y), s.bits, x, 1, pen.dash);
            else if (pen.gaps_drawn)
                solid_row(s.row(y), s.bits, x, 1, pen.gap);
        });
    });
}

static void draw_thin(DeviceContext& dc, const POINT* points, size_t count, bool closed)
{
    const PenObject& pen = *dc.state.pen.object;
    const uint8_t rop = current_rop(dc);
    const GdiPaint paint = resolve_pen(dc, pen);
    ThinPen thin{ pixel_op(rop, paint.pixel), {}, dc.state.bk_mode == OPAQUE, dash_period(pen) };
    if (!thin.period.empty() && thin.gaps_drawn)
        thin.gap = pixel_op(rop, pixel_of(dc, dc.state.bk_color, ColorUse::draw));
    for (size_t i = 0; i + 1 < count + (closed ? 1 : 0); i++) {
        const POINT a = points[i], b = points[(i + 1) % count];
        draw_segment(dc, a, b, thin, dc.state.dash_phase);
        if (!thin.period.empty())
            dc.state.dash_phase = int((dc.state.dash_phase + LineWalk(a, b).steps())
                                      % int64_t(thin.period.size()));
    }
}

void draw_polyline(DeviceContext& dc, const POINT* points, size_t count, bool closed)
{
    const PenObject& pen = *dc.state.pen.object;
    if (pen.style == PS_NULL || count == 0)
        return;
    if (pen_is_thin(dc, pen)) {
        draw_thin(dc, points, count, closed);
        return;
    }
    const std::vector<Box> area = stroke_area(std::vector<POINT>(points, points + count), closed,
                                              pen_width(dc, pen), pen, dc.clip().extents());
    fill_region(dc, GdiRegion(area), resolve_pen(dc, pen), current_rop(dc));
}

void add_line_spans(POINT a, POINT b, const Box& bounds, std::vector<Box>* out)
{
    const LineWalk line(a, b);
    if (line.steps() == 0)
        return;
    int64_t low, high;
    steps_in_box(line, bounds, &low, &high);
    walk(line, low, high, [&](int x, int y, int64_t) {
        if (!out->empty() && out->back().y1 == y && out->back().x2 == x && out->back().y2 == y + 1)
            out->back().x2++;
        else
            out->push_back({ x, y, x + 1, y + 1 });
    });
}

bool LineDDA(int x1, int y1, int x2, int y2, LineProc proc, void* data)
{
    if (!proc)
        return false;
    const LineWalk line({ clamp_coordinate(x1), clamp_coordinate(y1) },
                        { clamp_coordinate(x2), clamp_coordinate(y2) });
    walk(line, 0, line.steps(), [&](int x, int y, int64_t) { proc(x, y, data); });
    return true;
}
