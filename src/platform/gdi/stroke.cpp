// Wide lines. A pen's area is the union of a block for each segment, of what its joins add at the
// corners and its caps at the ends; round ones add a disc.
#include "platform/gdi/stroke.h"

#include <algorithm>
#include <cmath>

int pen_width(const DeviceContext& dc, const PenObject& pen)
{
    if (dc.identity() || pen.width == 0)
        return std::max(1, pen.width);
    const DcState& s = dc.state;
    const double width = std::abs(double(pen.width) * s.viewport_ext.cx / s.window_ext.cx);
    return std::max(1, int(std::min(width + 0.5, double(kCoordinateLimit))));
}

bool pen_is_thin(const DeviceContext& dc, const PenObject& pen)
{
    return !pen.geometric && pen_width(dc, pen) == 1;
}

namespace {

struct Vector2 {
    double x, y;
};

class Stroker {
public:
    Stroker(int width, const PenObject& pen, const Box& bounds)
        : width_(width), half_(width / 2.0), pen_(pen), bounds_(bounds)
    {
    }

    void stroke(const std::vector<POINT>& points, bool closed);
    std::vector<Box> area;

private:
    void block(Vector2 a, Vector2 b, Vector2 direction);
    void join(Vector2 at, Vector2 before, Vector2 after);
    void cap(Vector2 at, Vector2 outwards);
    void disc(Vector2 at);
    void polygon(std::initializer_list<Vector2> corners);

    int width_;
    double half_;
    const PenObject& pen_;
    Box bounds_;
};

} // namespace

static Vector2 normal(Vector2 d)
{
    return { -d.y, d.x };
}

void Stroker::polygon(std::initializer_list<Vector2> corners)
{
    std::vector<SubPoint> points;
    for (const Vector2& c : corners)
        points.push_back({ std::llround(c.x * kSub), std::llround(c.y * kSub) });
    PolygonScanner scanner;
    scanner.add_polygon(points.data(), int(points.size()));
    const std::vector<Box> spans = scanner.spans(bounds_, true);
    area.insert(area.end(), spans.begin(), spans.end());
}

void Stroker::block(Vector2 a, Vector2 b, Vector2 d)
{
    const Vector2 n = normal(d);
    const double x = n.x * half_, y = n.y * half_;
    polygon(
        { { a.x + x, a.y + y }, { b.x + x, b.y + y }, { b.x - x, b.y - y }, { a.x - x, a.y - y } });
}

// The disc of an odd width is centred on its pixel; of an even one on the pixel's left top corner.
void Stroker::disc(Vector2 at)
{
    const int x = int(std::lround(at.x)) - width_ / 2, y = int(std::lround(at.y)) - width_ / 2;
    for (const Box& row : round_rect_spans({ x, y, x + width_, y + width_ }, width_, width_,
                                           bounds_.y1, bounds_.y2)) {
        const Box part = intersect(row, bounds_);
        if (!box_empty(part))
            area.push_back(part);
    }
}

void Stroker::cap(Vector2 at, Vector2 outwards)
{
    if (pen_.end_cap == PS_ENDCAP_ROUND)
        disc(at);
    else if (pen_.end_cap == PS_ENDCAP_SQUARE)
        block(at, { at.x + outwards.x * half_, at.y + outwards.y * half_ }, outwards);
}

void Stroker::join(Vector2 at, Vector2 before, Vector2 after)
{
    if (pen_.join == PS_JOIN_ROUND) {
        disc(at);
        return;
    }
    const double turn = before.x * after.y - before.y * after.x;
    const double along = before.x * after.x + before.y * after.y;
    if (turn == 0 && along > 0)
        return;
    // The outer side is to the left of the way when it turns right, and the other way round.
    const double side = turn > 0 ? -half_ : half_;
    const Vector2 n1 = normal(before), n2 = normal(after);
    const Vector2 p1 = { at.x + n1.x * side, at.y + n1.y * side };
    const Vector2 p2 = { at.x + n2.x * side, at.y + n2.y * side };
    static constexpr double kMiterLimit = 10;
    const double sine = std::sqrt(std::max(0.0, (1 - along) / 2));  // of half the turn
    const double cosine = std::sqrt(std::max(0.0, (1 + along) / 2));
    if (pen_.join == PS_JOIN_MITER && cosine * kMiterLimit >= 1) {
        const double reach = half_ * sine / cosine;
        polygon({ at, p1, { p1.x + before.x * reach, p1.y + before.y * reach }, p2 });
    } else {
        polygon({ at, p1, p2 });
    }
}

void Stroker::stroke(const std::vector<POINT>& input, bool closed)
{
    std::vector<Vector2> points;
    for (const POINT& p : input)  // empty segments change nothing
        if (points.empty() || points.back().x != p.x || points.back().y != p.y)
            points.push_back({ double(p.x), double(p.y) });
    if (closed && points.size() > 1 && points.front().x == points.back().x
        && points.front().y == points.back().y)
        points.pop_back();
    if (points.size() < 2) {
        if (points.size() == 1 && pen_.end_cap == PS_ENDCAP_ROUND && !pen_.extended)
            disc(points[0]);
        return;
    }
    const size_t count = points.size(), segments = closed ? count : count - 1;
    std::vector<Vector2> directions;
    for (size_t i = 0; i < segments; i++) {
        const Vector2 a = points[i], b = points[(i + 1) % count];
        const double length = std::hypot(b.x - a.x, b.y - a.y);
        directions.push_back({ (b.x - a.x) / length, (b.y - a.y) / length });
        block(a, b, directions.back());
    }
    for (size_t i = closed ? 0 : 1; i < segments; i++)
        join(points[i], directions[(i + segments - 1) % segments], directions[i]);
    if (!closed) {
        cap(points.front(), { -directions.front().x, -directions.front().y });
        cap(points.back(), directions.back());
    }
}

// Geometric dashes are multiples of the pen's width.
static std::vector<double> dash_lengths(const PenObject& pen, int width)
{
    static const std::vector<double> dash = { 3, 1 }, dot = { 1, 1 }, dash_dot = { 3, 1, 1, 1 },
                                     dash_dot_dot = { 3, 1, 1, 1, 1, 1 };
    std::vector<double> lengths;
    switch (pen.style) {
    case PS_DASH: lengths = dash; break;
    case PS_DOT: lengths = dot; break;
    case PS_DASHDOT: lengths = dash_dot; break;
    case PS_DASHDOTDOT: lengths = dash_dot_dot; break;
    case PS_USERSTYLE: return { pen.lengths.begin(), pen.lengths.end() };
    default: return {};
    }
    for (double& l : lengths)
        l *= width;
    return lengths;
}

// The part of a segment, from 0 to its length, that can show within the bounds.
static void visible_part(POINT a, POINT b, double length, const Box& bounds, double* from,
                         double* to)
{
    *from = 0;
    *to = length;
    const auto narrow = [&](double start, double step, double low, double high) {
        if (step == 0) {
            if (start < low || start > high)
                *to = -1;
            return;
        }
        const double t1 = (low - start) / step, t2 = (high - start) / step;
        *from = std::max(*from, std::min(t1, t2));
        *to = std::min(*to, std::max(t1, t2));
    };
    narrow(a.x, (double(b.x) - a.x) / length, bounds.x1, bounds.x2);
    narrow(a.y, (double(b.y) - a.y) / length, bounds.y1, bounds.y2);
}

namespace {

// Cuts a polyline into its dashes. Whole periods that lie outside the bounds are stepped over.
class DashCutter {
public:
    DashCutter(const std::vector<double>& lengths, const Box& bounds)
        : lengths_(lengths), bounds_(bounds), left_(lengths[0])
    {
        for (double& l : lengths_)
            period_ += l = std::max(l, 0.25);
    }
    void segment(POINT a, POINT b);
    void finish();
    std::vector<std::vector<POINT>> dashes;

private:
    bool on() const { return index_ % 2 == 0; }

    std::vector<double> lengths_;
    Box bounds_;
    std::vector<POINT> current_;
    size_t index_ = 0;
    double left_, period_ = 0;
};

} // namespace

void DashCutter::segment(POINT a, POINT b)
{
    const double length = std::hypot(double(b.x) - a.x, double(b.y) - a.y);
    const auto at = [&](double t) {
        return POINT{ int(std::lround(a.x + (double(b.x) - a.x) * t / length)),
                      int(std::lround(a.y + (double(b.y) - a.y) * t / length)) };
    };
    double from, to, t = 0;
    visible_part(a, b, length, bounds_, &from, &to);
    if (on() && current_.empty())
        current_.push_back(a);
    const auto skip_to = [&](double end) {
        const double periods = std::floor((end - t) / period_) - 1;
        if (periods < 1)
            return;
        t += periods * period_;
        current_.clear();
        if (on())
            current_.push_back(at(t));
    };
    skip_to(from > to ? length : from);
    while (length - t > left_) {
        t += left_;
        if (on()) {
            current_.push_back(at(t));
            dashes.push_back(std::move(current_));
        }
        current_.clear();
        index_ = (index_ + 1) % lengths_.size();
        left_ = lengths_[index_];
        if (on())
            current_.push_back(at(t));
        if (t > to)
            skip_to(length);
    }
    left_ -= length - t;
    if (on())
        current_.push_back(b);
}

void DashCutter::finish()
{
    if (on() && current_.size() > 1)
        dashes.push_back(std::move(current_));
}

static std::vector<std::vector<POINT>> cut_dashes(std::vector<POINT> points, bool closed, int width,
                                                  const std::vector<double>& lengths,
                                                  const Box& bounds)
{
    const int margin = 2 * width;
    DashCutter cutter(lengths, { bounds.x1 - margin, bounds.y1 - margin, bounds.x2 + margin,
                                 bounds.y2 + margin });
    if (closed && !points.empty())
        points.push_back(points.front());
    for (size_t i = 0; i + 1 < points.size(); i++)
        if (!(points[i] == points[i + 1]))
            cutter.segment(points[i], points[i + 1]);
    cutter.finish();
    return std::move(cutter.dashes);
}

std::vector<Box> stroke_area(const std::vector<POINT>& points, bool closed, int width,
                             const PenObject& pen, const Box& bounds)
{
    Stroker stroker(width, pen, bounds);
    const std::vector<double> lengths = pen.geometric ? dash_lengths(pen, width)
                                                      : std::vector<double>();
    if (lengths.empty() || lengths.size() % 2 != 0) {
        stroker.stroke(points, closed);
    } else {
        for (const std::vector<POINT>& dash : cut_dashes(points, closed, width, lengths, bounds))
            stroker.stroke(dash, false);
    }
    return std::move(stroker.area);
}
