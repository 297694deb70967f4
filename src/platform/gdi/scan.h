// Scan conversion: polygons and ellipses to spans, one box a row.
//
// Pixel centres lie at whole coordinates. A row belongs to an edge from its upper end on and not at
// its lower end; in a row the left edge is in and the right one out. So shapes that share an edge
// neither overlap nor leave a gap.
#pragma once

#include "platform/gdi/region.h"

constexpr int kSub = 16;                  // polygon corners of strokes are in 1/16 pixel
constexpr int kLargestShape = 1 << 17;    // regions of shapes beyond this aren't built

struct SubPoint {
    int64_t x, y;
};

class PolygonScanner {
public:
    void add_polygon(const POINT* points, int count);
    void add_polygon(const SubPoint* points, int count);
    // Spans within the bounds, sorted by row and column, not touching within a row.
    std::vector<Box> spans(const Box& bounds, bool winding);

private:
    struct Edge {
        int first, last;     // rows, both included
        int64_t x, rest;     // first pixel at or right of the edge, and its distance to it
        int64_t step, step_rest, scale;
        int direction;

        void advance();
        void skip(int rows);
    };
    void add_edge(SubPoint a, SubPoint b);

    std::vector<Edge> edges_;
};

// A box whose corners are quarters of an ellipse of this width and height (sign ignored, clamped to
// the box; the largest ones give an ellipse). Rows are centred on pixel middles, so the shape is
// symmetric in its half-open box. Only rows from y1 to y2 are made.
std::vector<Box> round_rect_spans(const Box& box, int64_t width, int64_t height, int y1, int y2);

// The edge pixels of such a shape: those with a side neighbour outside it. The first and last of
// the rows count as the shape's ends.
std::vector<Box> outline_spans(const std::vector<Box>& rows);
