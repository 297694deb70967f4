// Paths: what BeginPath gathers, and the outlines of the curved shapes.
#pragma once

#include "platform/gdi.h"

#include <vector>

struct GdiPath {
    std::vector<POINT> points;
    std::vector<uint8_t> types;

    void move_to(POINT p);
    void line_to(POINT p);
    void bezier_to(POINT a, POINT b, POINT c);
    void close();
};

// The path that lines and shapes of this context go to now, or null when they are drawn.
struct DeviceContext;
GdiPath* open_path(DeviceContext& dc);

// Outlines in device coordinates; the box is half open and its last column and row aren't reached.
void add_rectangle(GdiPath* path, const RECT& box, bool clockwise);
void add_round_rect(GdiPath* path, const RECT& box, int width, int height, bool clockwise);
void add_ellipse(GdiPath* path, const RECT& box, bool clockwise);

// A piece of an ellipse from the ray through `from` to the ray through `to`.
void add_arc(GdiPath* path, const RECT& box, POINT from, POINT to, bool clockwise, bool connect);

// The figures as polylines, curves cut into short lines. `closed` tells of each.
std::vector<std::vector<POINT>> flatten_path(const GdiPath& path, std::vector<bool>* closed);
