// Device contexts: the drawing state, and what it draws on.
//
// Three systems of coordinates: logical ones of the caller; device ones, after window and viewport;
// surface ones, which add the context's origin on its surface. Regions of the clip are kept in
// device coordinates, all drawing below the API is in surface coordinates.
#pragma once

#include "platform/gdi/bitmap.h"
#include "platform/gdi/brush.h"
#include "platform/gdi/palette.h"
#include "platform/gdi/path.h"

#include <optional>

struct FontObject;
class GdiDevice;

template <class T> struct GdiSelected {
    HGDIOBJ handle;
    std::shared_ptr<T> object;
};

struct DcState {
    GdiSelected<PenObject> pen;
    GdiSelected<BrushObject> brush;
    GdiSelected<FontObject> font;
    GdiSelected<PaletteObject> palette;
    HBITMAP bitmap;
    COLORREF text_color = 0, bk_color = 0xFFFFFF;
    int bk_mode = OPAQUE, rop2 = R2_COPYPEN, poly_fill = ALTERNATE, stretch_mode = BLACKONWHITE;
    int arc_direction = AD_COUNTERCLOCKWISE, map_mode = MM_TEXT;
    uint32_t text_align = 0;
    POINT brush_org, window_org, viewport_org, position;
    SIZE window_ext{ 1, 1 }, viewport_ext{ 1, 1 };
    std::optional<GdiRegion> clip;
    int dash_phase = 0;  // pixels of the pen's dash pattern that the lines since MoveTo took
};

struct DeviceContext : GdiObject {
    static constexpr GdiType kType = GdiType::dc;
    DeviceContext() : GdiObject(kType) { }

    DcState state;
    std::vector<DcState> saved;
    bool memory = false;
    std::shared_ptr<BitmapObject> bitmap;  // what is drawn on; null for a printer
    POINT origin;                          // of device coordinates on the surface
    GdiRegion visible;                        // in surface coordinates
    GdiDevice* device = nullptr;           // behind a printer context
    std::unique_ptr<GdiPath> path;
    bool path_open = false;

    const GdiSurface& surface() const { return bitmap->surface; }
    bool identity() const;  // one logical unit is one pixel
    POINT to_device(int64_t x, int64_t y) const;
    POINT to_surface(int64_t x, int64_t y) const;
    POINT to_logical(int64_t x, int64_t y) const;

    // The part of the surface that may be drawn on, in surface coordinates.
    const GdiRegion& clip() const;
    void clip_changed() { clip_valid_ = false; }

private:
    mutable GdiRegion clip_;
    mutable bool clip_valid_ = false;
};

// The context behind a handle when it can be drawn on: not null, with a surface.
DeviceContext* drawable(HDC dc);

std::shared_ptr<DeviceContext> new_gdi_context();
