// Device contexts: making, selecting, saving, coordinates.
#include "platform/gdi/dc.h"

#include "platform/gdi/color.h"
#include "platform/gdi/font.h"
#include "platform/gdi_device.h"

#include <cmath>

bool DeviceContext::identity() const
{
    return state.window_ext.cx == state.viewport_ext.cx
           && state.window_ext.cy == state.viewport_ext.cy;
}

static int scale(int64_t v, int from, int to)
{
    if (from == to)
        return clamp_coordinate(v);
    const double scaled = std::floor(double(v) * to / from + 0.5);
    if (!(std::abs(scaled) < kCoordinateLimit))
        return scaled < 0 ? -kCoordinateLimit : kCoordinateLimit;
    return int(scaled);
}

POINT DeviceContext::to_device(int64_t x, int64_t y) const
{
    const int64_t dx = scale(x - state.window_org.x, state.window_ext.cx, state.viewport_ext.cx);
    const int64_t dy = scale(y - state.window_org.y, state.window_ext.cy, state.viewport_ext.cy);
    return { clamp_coordinate(dx + state.viewport_org.x),
             clamp_coordinate(dy + state.viewport_org.y) };
}

POINT DeviceContext::to_surface(int64_t x, int64_t y) const
{
    const POINT p = to_device(x, y);
    return { p.x + origin.x, p.y + origin.y };
}

POINT DeviceContext::to_logical(int64_t x, int64_t y) const
{
    const int64_t lx = scale(x - state.viewport_org.x, state.viewport_ext.cx, state.window_ext.cx);
    const int64_t ly = scale(y - state.viewport_org.y, state.viewport_ext.cy, state.window_ext.cy);
    return { clamp_coordinate(lx + state.window_org.x), clamp_coordinate(ly + state.window_org.y) };
}

const GdiRegion& DeviceContext::clip() const
{
    if (!clip_valid_) {
        clip_ = visible;
        if (bitmap)
            clip_.intersect(bitmap->surface.box());
        if (state.clip) {
            GdiRegion moved = *state.clip;
            moved.translate(origin.x, origin.y);
            clip_.intersect(moved);
        }
        clip_valid_ = true;
    }
    return clip_;
}

DeviceContext* drawable(HDC handle)
{
    DeviceContext* dc = peek<DeviceContext>(handle);
    return dc && dc->bitmap ? dc : nullptr;
}

template <class T> static GdiSelected<T> stock(int which)
{
    const HGDIOBJ handle = GetStockObject(which);
    return { handle, share<T>(handle) };
}

std::shared_ptr<DeviceContext> new_gdi_context()
{
    auto dc = std::make_shared<DeviceContext>();
    dc->state.pen = stock<PenObject>(BLACK_PEN);
    dc->state.brush = stock<BrushObject>(WHITE_BRUSH);
    dc->state.font = stock<FontObject>(SYSTEM_FONT);
    dc->state.palette = stock<PaletteObject>(DEFAULT_PALETTE);
    return dc;
}

static void put_bitmap(DeviceContext& dc, HBITMAP handle)
{
    dc.bitmap = share<BitmapObject>(handle);
    dc.state.bitmap = handle;
    dc.visible = GdiRegion(dc.surface().box());
    dc.clip_changed();
}

HDC CreateCompatibleDC(HDC like)
{
    if (like && !peek<DeviceContext>(like))
        return nullptr;
    auto dc = new_gdi_context();
    dc->memory = true;
    put_bitmap(*dc, stock_gdi_bitmap());
    return add<GdiType::dc>(dc);
}

static bool place_surface(DeviceContext& dc, const RECT& area, HRGN visible)
{
    const RegionObject* region = peek<RegionObject>(visible);
    if (visible && !region)
        return false;
    const Box box = sorted_box(area.left, area.top, area.right, area.bottom);
    dc.origin = { box.x1, box.y1 };
    dc.visible = GdiRegion(box);
    if (region)
        dc.visible.intersect(region->region);
    dc.clip_changed();
    return true;
}

HDC CreateSurfaceDC(HBITMAP surface, const RECT& area, HRGN visible)
{
    auto dc = new_gdi_context();
    dc->bitmap = share<BitmapObject>(surface);
    dc->state.bitmap = surface;
    if (!dc->bitmap || !place_surface(*dc, area, visible))
        return nullptr;
    return add<GdiType::dc>(dc);
}

bool SetSurfaceArea(HDC handle, const RECT& area, HRGN visible)
{
    DeviceContext* dc = drawable(handle);
    return dc && !dc->memory && place_surface(*dc, area, visible);
}

static void release_bitmap(HDC dc, HBITMAP bitmap)
{
    if (BitmapObject* object = peek<BitmapObject>(bitmap); object && object->selected_into == dc)
        object->selected_into = nullptr;
}

bool DeleteDC(HDC handle)
{
    const DeviceContext* dc = peek<DeviceContext>(handle);
    if (!dc)
        return false;
    release_bitmap(handle, dc->state.bitmap);
    return remove_gdi_object(handle);
}

HBITMAP SelectBitmap(HDC handle, HBITMAP bitmap)
{
    DeviceContext* dc = peek<DeviceContext>(handle);
    BitmapObject* object = peek<BitmapObject>(bitmap);
    if (!dc || !object || !dc->memory)
        return nullptr;
    if (object->selected_into && object->selected_into != handle)
        return nullptr;
    const HBITMAP old = dc->state.bitmap;
    release_bitmap(handle, old);
    put_bitmap(*dc, bitmap);
    if (!object->stock)
        object->selected_into = handle;
    return old;
}

template <class T> static HGDIOBJ select(HGDIOBJ handle, GdiSelected<T>& place)
{
    const HGDIOBJ old = place.handle;
    place = { handle, share<T>(handle) };
    return old;
}

HGDIOBJ SelectObject(HDC handle, HGDIOBJ object)
{
    DeviceContext* dc = peek<DeviceContext>(handle);
    if (!dc)
        return nullptr;
    switch (GetObjectType(object)) {
    case OBJ_PEN:
        dc->state.dash_phase = 0;
        return select(object, dc->state.pen);
    case OBJ_BRUSH: return select(object, dc->state.brush);
    case OBJ_FONT: return select(object, dc->state.font);
    case OBJ_BITMAP: return SelectBitmap(handle, HBITMAP(object));
    case OBJ_REGION: return HGDIOBJ(uint32_t(SelectClipRgn(handle, HRGN(object))));
    default: return nullptr;
    }
}

HPEN SelectPen(HDC dc, HPEN pen)
{
    return peek<PenObject>(pen) ? HPEN(SelectObject(dc, pen)) : HPEN();
}

HBRUSH SelectBrush(HDC dc, HBRUSH brush)
{
    return peek<BrushObject>(brush) ? HBRUSH(SelectObject(dc, brush)) : HBRUSH();
}

HFONT SelectFont(HDC dc, HFONT font)
{
    return peek<FontObject>(font) ? HFONT(SelectObject(dc, font)) : HFONT();
}

HGDIOBJ GetCurrentObject(HDC handle, int type)
{
    const DeviceContext* dc = peek<DeviceContext>(handle);
    if (!dc)
        return nullptr;
    switch (type) {
    case OBJ_PEN: return dc->state.pen.handle;
    case OBJ_BRUSH: return dc->state.brush.handle;
    case OBJ_PAL: return dc->state.palette.handle;
    case OBJ_FONT: return dc->state.font.handle;
    case OBJ_BITMAP: return dc->state.bitmap;
    default: return nullptr;
    }
}

int SaveDC(HDC handle)
{
    DeviceContext* dc = peek<DeviceContext>(handle);
    if (!dc)
        return 0;
    dc->saved.push_back(dc->state);
    return int(dc->saved.size());
}

// Level n > 0 is what SaveDC answered, n < 0 counts from the latest one. The levels above go away.
bool RestoreDC(HDC handle, int level)
{
    DeviceContext* dc = peek<DeviceContext>(handle);
    if (!dc)
        return false;
    const int count = int(dc->saved.size());
    if (level < 0)
        level += count + 1;
    if (level < 1 || level > count)
        return false;
    DcState state = std::move(dc->saved[size_t(level - 1)]);
    dc->saved.resize(size_t(level - 1));
    if (dc->memory && !(state.bitmap == dc->state.bitmap))
        SelectBitmap(handle, state.bitmap);
    state.bitmap = dc->state.bitmap;
    dc->state = std::move(state);
    dc->clip_changed();
    return true;
}

bool SetDisplayFormat(int width, int height, int bits)
{
    if (width <= 0 || height <= 0 || width > 32767 || height > 32767 || (bits != 8 && bits != 32))
        return false;
    GdiDisplay& d = gdi_display();
    d.width = width;
    d.height = height;
    d.format = bits == 8 ? PixelFormat::indexed8 : PixelFormat::bgrx32;
    d.table = bits == 8 ? default_color_table(8) : nullptr;
    return true;
}

static constexpr int kDotsPerInch = 96;

int GetDeviceCaps(HDC handle, int index)
{
    const DeviceContext* dc = peek<DeviceContext>(handle);
    if (!dc)
        return 0;
    if (dc->device)
        return dc->device->Caps(index);
    const GdiDisplay& d = gdi_display();
    const int bits = pixel_format_bits(d.format);
    switch (index) {
    case TECHNOLOGY: return DT_RASDISPLAY;
    case HORZSIZE: return d.width * 254 / (kDotsPerInch * 10);
    case VERTSIZE: return d.height * 254 / (kDotsPerInch * 10);
    case HORZRES: return d.width;
    case VERTRES: return d.height;
    case BITSPIXEL: return bits;
    case PLANES: return 1;
    case NUMCOLORS: return bits == 8 ? 20 : -1;
    case RASTERCAPS: return bits == 8 ? RC_PALETTE : 0;
    case LOGPIXELSX:
    case LOGPIXELSY: return kDotsPerInch;
    case SIZEPALETTE: return bits == 8 ? 256 : 0;
    case NUMRESERVED: return 20;
    case COLORRES: return 24;
    default: return 0;
    }
}

// ---- plain attributes: a set answers the value before

template <class V, class T> static V exchange(HDC handle, T DcState::* field, V value, V refused)
{
    DeviceContext* dc = peek<DeviceContext>(handle);
    if (!dc)
        return refused;
    const V old = V(dc->state.*field);
    dc->state.*field = T(value);
    return old;
}

template <class T> static T read(HDC handle, T DcState::* field, T refused)
{
    const DeviceContext* dc = peek<DeviceContext>(handle);
    return dc ? dc->state.*field : refused;
}

static int exchange_within(HDC dc, int DcState::* field, int value, int low, int high)
{
    return value < low || value > high ? 0 : exchange(dc, field, value, 0);
}

COLORREF SetTextColor(HDC dc, COLORREF color)
{
    return exchange(dc, &DcState::text_color, color, CLR_INVALID);
}

COLORREF GetTextColor(HDC dc)
{
    return read(dc, &DcState::text_color, CLR_INVALID);
}

COLORREF SetBkColor(HDC dc, COLORREF color)
{
    return exchange(dc, &DcState::bk_color, color, CLR_INVALID);
}

COLORREF GetBkColor(HDC dc)
{
    return read(dc, &DcState::bk_color, CLR_INVALID);
}

int SetBkMode(HDC dc, int mode)
{
    return exchange_within(dc, &DcState::bk_mode, mode, TRANSPARENT, OPAQUE);
}

int GetBkMode(HDC dc)
{
    return read(dc, &DcState::bk_mode, 0);
}

int SetROP2(HDC dc, int mode)
{
    return exchange_within(dc, &DcState::rop2, mode, R2_BLACK, R2_WHITE);
}

int GetROP2(HDC dc)
{
    return read(dc, &DcState::rop2, 0);
}

int SetPolyFillMode(HDC dc, int mode)
{
    return exchange_within(dc, &DcState::poly_fill, mode, ALTERNATE, WINDING);
}

int GetPolyFillMode(HDC dc)
{
    return read(dc, &DcState::poly_fill, 0);
}

int SetStretchBltMode(HDC dc, int mode)
{
    return exchange_within(dc, &DcState::stretch_mode, mode, BLACKONWHITE, HALFTONE);
}

int GetStretchBltMode(HDC dc)
{
    return read(dc, &DcState::stretch_mode, 0);
}

uint32_t SetTextAlign(HDC dc, uint32_t align)
{
    return exchange(dc, &DcState::text_align, align, uint32_t(GDI_ERROR));
}

uint32_t GetTextAlign(HDC dc)
{
    return read(dc, &DcState::text_align, uint32_t(GDI_ERROR));
}

int SetArcDirection(HDC dc, int direction)
{
    return exchange_within(dc, &DcState::arc_direction, direction, AD_COUNTERCLOCKWISE,
                           AD_CLOCKWISE);
}

static bool exchange_point(HDC handle, POINT DcState::* field, int x, int y, POINT* old)
{
    DeviceContext* dc = peek<DeviceContext>(handle);
    if (!dc)
        return false;
    if (old)
        *old = dc->state.*field;
    dc->state.*field = { clamp_coordinate(x), clamp_coordinate(y) };
    return true;
}

static bool read_point(HDC handle, POINT DcState::* field, POINT* out)
{
    const DeviceContext* dc = peek<DeviceContext>(handle);
    if (!dc || !out)
        return false;
    *out = dc->state.*field;
    return true;
}

bool SetBrushOrgEx(HDC dc, int x, int y, POINT* old)
{
    return exchange_point(dc, &DcState::brush_org, x, y, old);
}

bool GetBrushOrgEx(HDC dc, POINT* origin)
{
    return read_point(dc, &DcState::brush_org, origin);
}

bool SetWindowOrgEx(HDC dc, int x, int y, POINT* old)
{
    return exchange_point(dc, &DcState::window_org, x, y, old);
}

bool GetWindowOrgEx(HDC dc, POINT* origin)
{
    return read_point(dc, &DcState::window_org, origin);
}

bool SetViewportOrgEx(HDC dc, int x, int y, POINT* old)
{
    return exchange_point(dc, &DcState::viewport_org, x, y, old);
}

bool GetViewportOrgEx(HDC dc, POINT* origin)
{
    return read_point(dc, &DcState::viewport_org, origin);
}

bool MoveToEx(HDC handle, int x, int y, POINT* old)
{
    DeviceContext* dc = peek<DeviceContext>(handle);
    if (!dc)
        return false;
    dc->state.dash_phase = 0;
    if (GdiPath* path = open_path(*dc))
        path->move_to(dc->to_device(x, y));
    return exchange_point(handle, &DcState::position, x, y, old);
}

bool GetCurrentPositionEx(HDC dc, POINT* position)
{
    return read_point(dc, &DcState::position, position);
}

bool GetDCOrgEx(HDC handle, POINT* origin)
{
    const DeviceContext* dc = peek<DeviceContext>(handle);
    if (!dc || !origin)
        return false;
    *origin = dc->origin;
    return true;
}

// ---- mapping

int GetMapMode(HDC dc)
{
    return read(dc, &DcState::map_mode, 0);
}

// The metric modes count up the page: y grows upwards.
int SetMapMode(HDC handle, int mode)
{
    DeviceContext* dc = peek<DeviceContext>(handle);
    if (!dc || mode < MM_TEXT || mode > MM_ANISOTROPIC)
        return 0;
    static const int units_per_inch[] = { 254, 2540, 100, 1000, 1440, 254 };
    const int old = dc->state.map_mode;
    dc->state.map_mode = mode;
    if (mode == MM_TEXT) {
        dc->state.window_ext = dc->state.viewport_ext = { 1, 1 };
    } else if (mode != MM_ANISOTROPIC && mode != old) {
        const int units = units_per_inch[mode - MM_LOMETRIC];
        dc->state.window_ext = { units, units };
        dc->state.viewport_ext = { GetDeviceCaps(handle, LOGPIXELSX),
                                   -GetDeviceCaps(handle, LOGPIXELSY) };
    }
    return old;
}

// MM_ISOTROPIC: the longer side of the viewport gives way, so that both axes scale alike.
static void keep_square(DcState& s)
{
    if (s.map_mode != MM_ISOTROPIC)
        return;
    const double x = std::abs(double(s.viewport_ext.cx) / s.window_ext.cx);
    const double y = std::abs(double(s.viewport_ext.cy) / s.window_ext.cy);
    const auto fit = [](double factor, int window, int viewport) {
        const int size = std::max(1, int(std::floor(factor * std::abs(double(window)) + 0.5)));
        return viewport < 0 ? -size : size;
    };
    if (x > y)
        s.viewport_ext.cx = fit(y, s.window_ext.cx, s.viewport_ext.cx);
    else if (y > x)
        s.viewport_ext.cy = fit(x, s.window_ext.cy, s.viewport_ext.cy);
}

static bool set_extent(HDC handle, SIZE DcState::* field, int x, int y, SIZE* old)
{
    DeviceContext* dc = peek<DeviceContext>(handle);
    if (!dc)
        return false;
    if (old)
        *old = dc->state.*field;
    if (dc->state.map_mode != MM_ISOTROPIC && dc->state.map_mode != MM_ANISOTROPIC)
        return true;  // the other modes have fixed extents
    if (x == 0 || y == 0)
        return false;
    dc->state.*field = { clamp_coordinate(x), clamp_coordinate(y) };
    keep_square(dc->state);
    return true;
}

bool SetWindowExtEx(HDC dc, int x, int y, SIZE* old)
{
    return set_extent(dc, &DcState::window_ext, x, y, old);
}

bool SetViewportExtEx(HDC dc, int x, int y, SIZE* old)
{
    return set_extent(dc, &DcState::viewport_ext, x, y, old);
}

bool LPtoDP(HDC handle, POINT* points, int count)
{
    const DeviceContext* dc = peek<DeviceContext>(handle);
    if (!dc || (!points && count > 0))
        return false;
    for (int i = 0; i < count; i++)
        points[i] = dc->to_device(points[i].x, points[i].y);
    return true;
}

bool DPtoLP(HDC handle, POINT* points, int count)
{
    const DeviceContext* dc = peek<DeviceContext>(handle);
    if (!dc || (!points && count > 0))
        return false;
    for (int i = 0; i < count; i++)
        points[i] = dc->to_logical(points[i].x, points[i].y);
    return true;
}
