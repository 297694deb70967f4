// Copies between surfaces, at equal size and stretched.
#pragma once

#include "platform/gdi/paint.h"

// One axis of a copy. Sizes are positive here; the signs that the caller gave have become `mirror`.
struct BlitAxis {
    int64_t target = 0, source = 0;  // where the boxes begin
    int64_t target_size = 0, source_size = 0;
    bool mirror = false;
    bool source_negative = false;

    bool plain() const { return !mirror && target_size == source_size; }
};

// From the caller's positions and signed sizes. With one size negative the copy is mirrored and the
// pixel at the given position belongs to the box; with both negative the boxes are turned round.
BlitAxis blit_axis(int64_t target, int64_t target_size, int64_t source, int64_t source_size);

struct GdiBlit {
    const DeviceContext& dc;
    GdiSurface source;
    const PixelConverter& converter;
    BlitAxis x, y;  // surface coordinates
    uint8_t rop;
};

// Does the copy, in the context's clip, with its brush and stretch mode. What the source doesn't
// hold isn't drawn.
void run_blit(const GdiBlit& blit);
