// Bytes as a sequence of drawing calls with any arguments, on contexts of several depths. Nothing
// may be read or written outside the bitmaps, and no object may be left.
#include "platform/gdi.h"

#include <cstdint>
#include <cstdlib>
#include <vector>

namespace {

class Bytes {
public:
    Bytes(const uint8_t* data, size_t size) : p_(data), end_(data + size) { }
    bool empty() const { return p_ == end_; }
    int byte() { return empty() ? 0 : *p_++; }
    // Mostly small numbers, sometimes the largest ones.
    int number()
    {
        const int b = byte();
        switch (b) {
        case 255: return INT32_MAX;
        case 254: return INT32_MIN;
        case 253: return (byte() << 8 | byte()) - 32768;
        default: return b - 100;
        }
    }
    COLORREF color()
    {
        const int b = byte();
        if (b < 16)
            return PALETTEINDEX(uint32_t(byte()));
        return b < 32 ? DIBINDEX(uint32_t(byte())) : RGB(uint32_t(b), uint32_t(byte()), 99);
    }

private:
    const uint8_t *p_, *end_;
};

struct Stage {
    std::vector<HDC> dcs;
    std::vector<HBITMAP> bitmaps;
    std::vector<HGDIOBJ> objects;
    std::vector<HRGN> regions;
};

void make_object(Bytes& in, Stage& stage, HDC dc)
{
    HGDIOBJ object;
    switch (in.byte() % 6) {
    case 0: object = CreatePen(in.byte() % 8, in.byte() % 40, in.color()); break;
    case 1: object = CreateSolidBrush(in.color()); break;
    case 2: object = CreateHatchBrush(in.byte() % 7, in.color()); break;
    case 3:
        object = CreatePatternBrush(stage.bitmaps[size_t(in.byte()) % stage.bitmaps.size()]);
        break;
    case 4: {
        LOGBRUSH brush;
        brush.lbColor = in.color();
        object = ExtCreatePen(uint32_t(PS_GEOMETRIC | (in.byte() % 5) | (in.byte() % 3) << 8
                                       | (in.byte() % 3) << 12),
                              uint32_t(in.byte() % 30), brush, 0, nullptr);
        break;
    }
    default: {
        LOGFONTA font;
        font.lfHeight = in.number();
        font.lfWeight = in.byte() * 4;
        font.lfHeight %= 200;
        object = CreateFontIndirectA(font);
    }
    }
    SelectObject(dc, object);
    stage.objects.push_back(object);
}

void set_state(Bytes& in, Stage& stage, HDC dc)
{
    switch (in.byte() % 10) {
    case 0: SetROP2(dc, in.byte() % 18); break;
    case 1: SetBkMode(dc, in.byte() % 4); break;
    case 2: SetTextColor(dc, in.color()); break;
    case 3: SetBkColor(dc, in.color()); break;
    case 4: SetWindowOrgEx(dc, in.number(), in.number(), nullptr); break;
    case 5: SetMapMode(dc, in.byte() % 10); break;
    case 6: SetWindowExtEx(dc, in.number(), in.number(), nullptr); break;
    case 7: SetViewportExtEx(dc, in.number(), in.number(), nullptr); break;
    case 8: SetStretchBltMode(dc, in.byte() % 6); break;
    default:
        SetBrushOrgEx(dc, in.number(), in.number(), nullptr);
        SetPolyFillMode(dc, in.byte() % 3);
    }
    (void)stage;
}

void use_region(Bytes& in, Stage& stage, HDC dc)
{
    HRGN& a = stage.regions[size_t(in.byte()) % stage.regions.size()];
    const HRGN b = stage.regions[size_t(in.byte()) % stage.regions.size()];
    switch (in.byte() % 9) {
    case 0: CombineRgn(a, a, b, in.byte() % 7); break;
    case 1: SetRectRgn(a, in.number(), in.number(), in.number(), in.number()); break;
    case 2: OffsetRgn(a, in.number(), in.number()); break;
    case 3: ExtSelectClipRgn(dc, a, in.byte() % 7); break;
    case 4: SelectClipRgn(dc, nullptr); break;
    case 5: FillRgn(dc, a, HBRUSH(GetCurrentObject(dc, OBJ_BRUSH))); break;
    case 6: FrameRgn(dc, a, HBRUSH(GetCurrentObject(dc, OBJ_BRUSH)), in.byte(), in.byte()); break;
    case 7: InvertRgn(dc, a); break;
    default:
        DeleteObject(a);
        a = CreateEllipticRgn(in.byte(), in.byte(), in.byte() * 3, in.byte());
    }
}

void draw(Bytes& in, Stage& stage, HDC dc)
{
    const auto n = [&] { return in.number(); };
    const HDC other = stage.dcs[size_t(in.byte()) % stage.dcs.size()];
    const int x = n(), y = n(), w = n(), h = n();
    const uint32_t rop = uint32_t(in.byte()) << 16;
    POINT points[5];
    switch (in.byte() % 16) {
    case 0: MoveToEx(dc, x, y, nullptr); LineTo(dc, w, h); break;
    case 1: Rectangle(dc, x, y, w, h); break;
    case 2: Ellipse(dc, x, y, w, h); break;
    case 3: RoundRect(dc, x, y, w, h, n(), n()); break;
    case 4: Pie(dc, x, y, w, h, n(), n(), n(), n()); break;
    case 5: Arc(dc, x, y, w, h, n(), n(), n(), n()); break;
    case 6: Chord(dc, x, y, w, h, n(), n(), n(), n()); break;
    case 7:
        for (POINT& p : points)
            p = { n(), n() };
        Polygon(dc, points, 5);
        break;
    case 8: PatBlt(dc, x, y, w, h, rop); break;
    case 9: BitBlt(dc, x, y, w, h, other, n(), n(), rop); break;
    case 10: StretchBlt(dc, x, y, w, h, other, n(), n(), n(), n(), rop); break;
    case 11: TextOutA(dc, x, y, "Fuzzy\x80\x01", 7); break;
    case 12: SetPixel(dc, x, y, in.color()); GetPixel(dc, w, h); break;
    case 13: {
        const RECT scroll = { x, y, w, h };
        ScrollDC(dc, n(), n(), &scroll, in.byte() & 1 ? &scroll : nullptr, stage.regions[0],
                 nullptr);
        break;
    }
    case 14: SaveDC(dc); break;
    default: RestoreDC(dc, -1);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static const HGDIOBJ stock = GetStockObject(WHITE_BRUSH);
    (void)stock;
    const int before = GdiObjectCount();
    Bytes in(data, size < 400 ? size : 400);
    Stage stage;
    for (const int depth : { 1, 4, 8, 16, 24, 32 }) {
        stage.bitmaps.push_back(CreateBitmap(61, 43, 1, uint32_t(depth), nullptr));
        stage.dcs.push_back(CreateCompatibleDC(nullptr));
        SelectObject(stage.dcs.back(), stage.bitmaps.back());
    }
    for (int i = 0; i < 3; i++)
        stage.regions.push_back(CreateRectRgn(i, i, 20, 30));
    while (!in.empty()) {
        const HDC dc = stage.dcs[size_t(in.byte()) % stage.dcs.size()];
        switch (in.byte() % 6) {
        case 0: make_object(in, stage, dc); break;
        case 1: set_state(in, stage, dc); break;
        case 2: use_region(in, stage, dc); break;
        default: draw(in, stage, dc);
        }
    }
    for (const HDC dc : stage.dcs)
        DeleteDC(dc);
    for (const HBITMAP bitmap : stage.bitmaps)
        DeleteObject(bitmap);
    for (const HRGN region : stage.regions)
        DeleteObject(region);
    for (const HGDIOBJ object : stage.objects)
        DeleteObject(object);
    if (GdiObjectCount() != before)
        abort();
    return 0;
}
