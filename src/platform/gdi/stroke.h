// Lines: thin ones a pixel at a time, wide ones as areas.
#pragma once

#include "platform/gdi/paint.h"
#include "platform/gdi/scan.h"

// The pen's width in device pixels, at least 1.
int pen_width(const DeviceContext& dc, const PenObject& pen);

// Thin pens draw lines of one pixel by the line rule; all others draw the area that they cover.
bool pen_is_thin(const DeviceContext& dc, const PenObject& pen);

// The pixels of a thin line from a to b, b left out; the rule of all one-pixel lines: step i of
// n = max(|dx|, |dy|) lies at round(i minor / n), an exact half at the smaller coordinate.
class LineWalk {
public:
    LineWalk(POINT a, POINT b);

    int64_t steps() const { return n_; }
    POINT at(int64_t i) const;
    bool horizontal() const { return horizontal_; }  // mostly
    int64_t minor(int64_t i) const;  // moves on from the start

    POINT start;
    int64_t dx, dy;

private:
    int64_t n_;
    bool horizontal_;
};

// Draws a polyline (surface coordinates) with the context's pen. The dash pattern goes on from the
// context's phase, which is moved.
void draw_polyline(DeviceContext& dc, const POINT* points, size_t count, bool closed);

// The area that a wide pen covers.
std::vector<Box> stroke_area(const std::vector<POINT>& points, bool closed, int width,
                             const PenObject& pen, const Box& bounds);

// One box a run of a thin line's pixels.
void add_line_spans(POINT a, POINT b, const Box& bounds, std::vector<Box>* out);
