// GDI on memory surfaces: the drawing calls under the names and with the meaning that Win32
// documents for them, exact to the pixel.
//
// Handles are 32-bit words: a type, a generation and an index into one table. A dead handle, a
// handle of another type and null are refused by every call: the result is false, 0 or a null
// handle, and nothing is drawn. Calls are made from one thread.
//
// An object that is deleted while a device context holds it loses its handle at once and lives on
// until the context lets go of it; a bitmap that is selected isn't deleted.
#pragma once

#include "platform/wintypes.h"

#include <cstddef>
#include <cstdint>

enum class GdiType : uint8_t { none, dc, bitmap, pen, brush, palette, region, font };

struct HGDIOBJ {
    uint32_t value = 0;

    constexpr HGDIOBJ() = default;
    constexpr HGDIOBJ(decltype(nullptr)) { }
    explicit constexpr HGDIOBJ(uint32_t v) : value(v) { }
    explicit constexpr operator bool() const { return value != 0; }
    friend constexpr bool operator==(HGDIOBJ a, HGDIOBJ b) { return a.value == b.value; }
};

template <GdiType Type> struct GdiHandle : HGDIOBJ {
    constexpr GdiHandle() = default;
    constexpr GdiHandle(decltype(nullptr)) { }
    explicit constexpr GdiHandle(uint32_t v) : HGDIOBJ(v) { }
    explicit constexpr GdiHandle(HGDIOBJ object) : HGDIOBJ(object) { }
};

using HDC = GdiHandle<GdiType::dc>;
using HBITMAP = GdiHandle<GdiType::bitmap>;
using HPEN = GdiHandle<GdiType::pen>;
using HBRUSH = GdiHandle<GdiType::brush>;
using HPALETTE = GdiHandle<GdiType::palette>;
using HRGN = GdiHandle<GdiType::region>;
using HFONT = GdiHandle<GdiType::font>;

// ---- constants, with the values of Win32

enum : uint32_t {  // ternary raster operations; bits 16..23 are the truth table
    BLACKNESS = 0x000042, NOTSRCERASE = 0x1100A6, NOTSRCCOPY = 0x330008, SRCERASE = 0x440328,
    DSTINVERT = 0x550009, PATINVERT = 0x5A0049, SRCINVERT = 0x660046, SRCAND = 0x8800C6,
    MERGEPAINT = 0xBB0226, MERGECOPY = 0xC000CA, SRCCOPY = 0xCC0020, SRCPAINT = 0xEE0086,
    PATCOPY = 0xF00021, PATPAINT = 0xFB0A09, WHITENESS = 0xFF0062
};
enum {  // binary raster operations
    R2_BLACK = 1, R2_NOTMERGEPEN, R2_MASKNOTPEN, R2_NOTCOPYPEN, R2_MASKPENNOT, R2_NOT, R2_XORPEN,
    R2_NOTMASKPEN, R2_MASKPEN, R2_NOTXORPEN, R2_NOP, R2_MERGENOTPEN, R2_COPYPEN, R2_MERGEPENNOT,
    R2_MERGEPEN, R2_WHITE
};
enum {
    PS_SOLID, PS_DASH, PS_DOT, PS_DASHDOT, PS_DASHDOTDOT, PS_NULL, PS_INSIDEFRAME, PS_USERSTYLE,
    PS_ALTERNATE, PS_STYLE_MASK = 0xF,
    PS_ENDCAP_ROUND = 0, PS_ENDCAP_SQUARE = 0x100, PS_ENDCAP_FLAT = 0x200, PS_ENDCAP_MASK = 0xF00,
    PS_JOIN_ROUND = 0, PS_JOIN_BEVEL = 0x1000, PS_JOIN_MITER = 0x2000, PS_JOIN_MASK = 0xF000,
    PS_COSMETIC = 0, PS_GEOMETRIC = 0x10000, PS_TYPE_MASK = 0xF0000
};
enum { BS_SOLID, BS_NULL, BS_HATCHED, BS_PATTERN, BS_DIBPATTERN = 5, BS_DIBPATTERNPT };
enum { HS_HORIZONTAL, HS_VERTICAL, HS_FDIAGONAL, HS_BDIAGONAL, HS_CROSS, HS_DIAGCROSS };
enum {  // GetStockObject
    WHITE_BRUSH, LTGRAY_BRUSH, GRAY_BRUSH, DKGRAY_BRUSH, BLACK_BRUSH, NULL_BRUSH, WHITE_PEN,
    BLACK_PEN, NULL_PEN, OEM_FIXED_FONT = 10, ANSI_FIXED_FONT, ANSI_VAR_FONT, SYSTEM_FONT,
    DEVICE_DEFAULT_FONT, DEFAULT_PALETTE, SYSTEM_FIXED_FONT, DEFAULT_GUI_FONT
};
enum { TRANSPARENT = 1, OPAQUE = 2 };
enum { ALTERNATE = 1, WINDING = 2 };
enum { AD_COUNTERCLOCKWISE = 1, AD_CLOCKWISE = 2 };
enum { BLACKONWHITE = 1, WHITEONBLACK, COLORONCOLOR, HALFTONE };
enum { RGN_AND = 1, RGN_OR, RGN_XOR, RGN_DIFF, RGN_COPY };
enum { RGN_ERROR = 0, NULLREGION = 1, SIMPLEREGION, COMPLEXREGION };
enum { MM_TEXT = 1, MM_LOMETRIC, MM_HIMETRIC, MM_LOENGLISH, MM_HIENGLISH, MM_TWIPS, MM_ISOTROPIC,
       MM_ANISOTROPIC };
enum { DIB_RGB_COLORS = 0, DIB_PAL_COLORS = 1 };
enum { BI_RGB = 0, BI_RLE8, BI_RLE4, BI_BITFIELDS };
enum : uint32_t { CBM_INIT = 4 };
enum { TA_LEFT = 0, TA_UPDATECP = 1, TA_RIGHT = 2, TA_CENTER = 6, TA_TOP = 0, TA_BOTTOM = 8,
       TA_BASELINE = 24 };
enum { PC_RESERVED = 1, PC_EXPLICIT = 2, PC_NOCOLLAPSE = 4 };
enum { FW_NORMAL = 400, FW_BOLD = 700 };
enum { ANSI_CHARSET = 0, DEFAULT_CHARSET = 1, SYMBOL_CHARSET = 2, OEM_CHARSET = 255 };
enum { RASTER_FONTTYPE = 1, DEVICE_FONTTYPE = 2, TRUETYPE_FONTTYPE = 4 };
enum { FF_ROMAN = 0x10, FF_SWISS = 0x20, FF_MODERN = 0x30, TMPF_FIXED_PITCH = 1, TMPF_VECTOR = 2,
       TMPF_TRUETYPE = 4 };
enum { OBJ_PEN = 1, OBJ_BRUSH, OBJ_DC, OBJ_METADC, OBJ_PAL, OBJ_FONT, OBJ_BITMAP, OBJ_REGION,
       OBJ_METAFILE, OBJ_MEMDC };
enum {  // GetDeviceCaps
    HORZSIZE = 4, VERTSIZE = 6, HORZRES = 8, VERTRES = 10, BITSPIXEL = 12, PLANES = 14,
    NUMCOLORS = 24, RASTERCAPS = 38, LOGPIXELSX = 88, LOGPIXELSY = 90, SIZEPALETTE = 104,
    NUMRESERVED = 106, COLORRES = 108, PHYSICALWIDTH = 110, PHYSICALHEIGHT = 111,
    PHYSICALOFFSETX = 112, PHYSICALOFFSETY = 113, TECHNOLOGY = 2, DRIVERVERSION = 0
};
enum { DT_RASDISPLAY = 1, DT_RASPRINTER = 2, RC_PALETTE = 0x100 };
enum : uint8_t { PT_CLOSEFIGURE = 1, PT_LINETO = 2, PT_BEZIERTO = 4, PT_MOVETO = 6 };

constexpr COLORREF CLR_INVALID = 0xFFFFFFFF;
constexpr int GDI_ERROR = -1;

constexpr COLORREF PALETTEINDEX(uint32_t index) { return 0x01000000 | (index & 0xFFFF); }
constexpr COLORREF PALETTERGB(uint32_t r, uint32_t g, uint32_t b)
{
    return 0x02000000 | RGB(r, g, b);
}
constexpr COLORREF DIBINDEX(uint32_t index) { return 0x10FF0000 | (index & 0xFFFF); }

// ---- structures

struct LOGPEN {
    uint32_t lopnStyle = PS_SOLID;
    POINT lopnWidth;
    COLORREF lopnColor = 0;
};

struct LOGBRUSH {
    uint32_t lbStyle = BS_SOLID;
    COLORREF lbColor = 0;  // for BS_DIBPATTERNPT: DIB_RGB_COLORS or DIB_PAL_COLORS
    uint32_t lbHatch = 0;  // a hatch, or the bitmap handle's value of BS_PATTERN
    const void* lbDib = nullptr;  // the packed DIB of BS_DIBPATTERNPT
};

struct PALETTEENTRY {
    uint8_t peRed = 0, peGreen = 0, peBlue = 0, peFlags = 0;
};

struct RGBQUAD {
    uint8_t rgbBlue = 0, rgbGreen = 0, rgbRed = 0, rgbReserved = 0;
};

struct BITMAP {
    int32_t bmType = 0, bmWidth = 0, bmHeight = 0, bmWidthBytes = 0;
    uint16_t bmPlanes = 1, bmBitsPixel = 1;
    void* bmBits = nullptr;
};

struct BITMAPINFOHEADER {
    uint32_t biSize = 40;
    int32_t biWidth = 0, biHeight = 0;
    uint16_t biPlanes = 1, biBitCount = 0;
    uint32_t biCompression = BI_RGB, biSizeImage = 0;
    int32_t biXPelsPerMeter = 0, biYPelsPerMeter = 0;
    uint32_t biClrUsed = 0, biClrImportant = 0;
};

struct BITMAPINFO {  // as large as its colour table asks for
    BITMAPINFOHEADER bmiHeader;
    RGBQUAD bmiColors[256];
};

struct LOGFONTA {
    int32_t lfHeight = 0, lfWidth = 0, lfEscapement = 0, lfOrientation = 0, lfWeight = 0;
    uint8_t lfItalic = 0, lfUnderline = 0, lfStrikeOut = 0, lfCharSet = DEFAULT_CHARSET;
    uint8_t lfOutPrecision = 0, lfClipPrecision = 0, lfQuality = 0, lfPitchAndFamily = 0;
    char lfFaceName[32] = {};
};

struct TEXTMETRICA {
    int32_t tmHeight = 0, tmAscent = 0, tmDescent = 0, tmInternalLeading = 0;
    int32_t tmExternalLeading = 0, tmAveCharWidth = 0, tmMaxCharWidth = 0, tmWeight = 0;
    int32_t tmOverhang = 0, tmDigitizedAspectX = 96, tmDigitizedAspectY = 96;
    uint8_t tmFirstChar = 0, tmLastChar = 255, tmDefaultChar = 0, tmBreakChar = 32;
    uint8_t tmItalic = 0, tmUnderlined = 0, tmStruckOut = 0, tmPitchAndFamily = 0;
    uint8_t tmCharSet = 0;
};

// ---- objects

bool DeleteObject(HGDIOBJ object);
HGDIOBJ GetStockObject(int which);
int GetObjectType(HGDIOBJ object);  // OBJ_..., 0 for a dead handle

// Selects a pen, brush, font, bitmap or region; answers what it replaces, a null handle on refusal.
// A bitmap goes into one memory context at a time. For a region the answer's value is its type.
HGDIOBJ SelectObject(HDC dc, HGDIOBJ object);
HPEN SelectPen(HDC dc, HPEN pen);
HBRUSH SelectBrush(HDC dc, HBRUSH brush);
HFONT SelectFont(HDC dc, HFONT font);
HBITMAP SelectBitmap(HDC dc, HBITMAP bitmap);
HGDIOBJ GetCurrentObject(HDC dc, int type);  // OBJ_PEN, OBJ_BRUSH, OBJ_PAL, OBJ_FONT, OBJ_BITMAP

// How many objects live, stock objects left out; of all types with GdiType::none.
int GdiObjectCount(GdiType type = GdiType::none);

// ---- device contexts

HDC CreateCompatibleDC(HDC dc);  // null stands for the display
bool DeleteDC(HDC dc);
int SaveDC(HDC dc);
bool RestoreDC(HDC dc, int level);
int GetDeviceCaps(HDC dc, int index);

// The display's form: what CreateCompatibleBitmap makes and GetDeviceCaps tells; bits 8 or 32. An
// 8-bit display starts with the 256 colours that GetDIBits documents as the default table.
bool SetDisplayFormat(int width, int height, int bits);

// A context that draws into a part of a bitmap, as a window does into the display: its origin lies
// at the area's left top, it draws in the area's part that lies in the visible region (coordinates
// of the bitmap; null for all of the area). SetSurfaceArea moves such a context.
HDC CreateSurfaceDC(HBITMAP surface, const RECT& area, HRGN visible);
bool SetSurfaceArea(HDC dc, const RECT& area, HRGN visible);

COLORREF SetTextColor(HDC dc, COLORREF color);
COLORREF GetTextColor(HDC dc);
COLORREF SetBkColor(HDC dc, COLORREF color);
COLORREF GetBkColor(HDC dc);
int SetBkMode(HDC dc, int mode);
int GetBkMode(HDC dc);
int SetROP2(HDC dc, int mode);
int GetROP2(HDC dc);
int SetPolyFillMode(HDC dc, int mode);
int GetPolyFillMode(HDC dc);
int SetStretchBltMode(HDC dc, int mode);
int GetStretchBltMode(HDC dc);
uint32_t SetTextAlign(HDC dc, uint32_t align);
uint32_t GetTextAlign(HDC dc);
int SetArcDirection(HDC dc, int direction);
bool SetBrushOrgEx(HDC dc, int x, int y, POINT* old);
bool GetBrushOrgEx(HDC dc, POINT* origin);
int SetMapMode(HDC dc, int mode);
int GetMapMode(HDC dc);
bool SetWindowOrgEx(HDC dc, int x, int y, POINT* old);
bool GetWindowOrgEx(HDC dc, POINT* origin);
bool SetViewportOrgEx(HDC dc, int x, int y, POINT* old);
bool GetViewportOrgEx(HDC dc, POINT* origin);
bool SetWindowExtEx(HDC dc, int x, int y, SIZE* old);
bool SetViewportExtEx(HDC dc, int x, int y, SIZE* old);
bool LPtoDP(HDC dc, POINT* points, int count);
bool DPtoLP(HDC dc, POINT* points, int count);
bool GetDCOrgEx(HDC dc, POINT* origin);
bool MoveToEx(HDC dc, int x, int y, POINT* old);
bool GetCurrentPositionEx(HDC dc, POINT* position);

// ---- clipping

int SelectClipRgn(HDC dc, HRGN region);
int ExtSelectClipRgn(HDC dc, HRGN region, int mode);
int GetClipRgn(HDC dc, HRGN region);  // 1 a region was copied, 0 there is none, -1 error
int GetClipBox(HDC dc, RECT* box);
int IntersectClipRect(HDC dc, int left, int top, int right, int bottom);
int ExcludeClipRect(HDC dc, int left, int top, int right, int bottom);
int OffsetClipRgn(HDC dc, int x, int y);
bool RectVisible(HDC dc, const RECT& rect);
bool PtVisible(HDC dc, int x, int y);

// ---- regions; combining calls answer the result's type

HRGN CreateRectRgn(int left, int top, int right, int bottom);
HRGN CreateRectRgnIndirect(const RECT& rect);
// The rounded ones cover what Ellipse and RoundRect of the same box fill with the null pen.
HRGN CreateEllipticRgn(int left, int top, int right, int bottom);
HRGN CreateEllipticRgnIndirect(const RECT& rect);
HRGN CreateRoundRectRgn(int left, int top, int right, int bottom, int width, int height);
HRGN CreatePolygonRgn(const POINT* points, int count, int mode);
HRGN CreatePolyPolygonRgn(const POINT* points, const int* counts, int polygons, int mode);
bool SetRectRgn(HRGN region, int left, int top, int right, int bottom);
int CombineRgn(HRGN result, HRGN a, HRGN b, int mode);
int OffsetRgn(HRGN region, int x, int y);
int GetRgnBox(HRGN region, RECT* box);
bool EqualRgn(HRGN a, HRGN b);
bool PtInRegion(HRGN region, int x, int y);
bool RectInRegion(HRGN region, const RECT& rect);
int GetRegionRects(HRGN region, RECT* rects, int capacity);  // how many there are, banded
bool FillRgn(HDC dc, HRGN region, HBRUSH brush);
bool FrameRgn(HDC dc, HRGN region, HBRUSH brush, int width, int height);
bool InvertRgn(HDC dc, HRGN region);
bool PaintRgn(HDC dc, HRGN region);

// ---- pens and brushes

HPEN CreatePen(int style, int width, COLORREF color);
HPEN CreatePenIndirect(const LOGPEN& pen);
HPEN ExtCreatePen(uint32_t style, uint32_t width, const LOGBRUSH& brush, uint32_t count,
                  const uint32_t* lengths);
bool GetPenInfo(HPEN pen, LOGPEN* info);
HBRUSH CreateSolidBrush(COLORREF color);
HBRUSH CreateHatchBrush(int hatch, COLORREF color);
HBRUSH CreatePatternBrush(HBITMAP bitmap);
HBRUSH CreateDIBPatternBrushPt(const void* packed_dib, uint32_t usage);
HBRUSH CreateBrushIndirect(const LOGBRUSH& brush);

// ---- lines and shapes

bool LineTo(HDC dc, int x, int y);
bool Polyline(HDC dc, const POINT* points, int count);
bool PolylineTo(HDC dc, const POINT* points, int count);
bool PolyBezier(HDC dc, const POINT* points, int count);
bool Rectangle(HDC dc, int left, int top, int right, int bottom);
bool RoundRect(HDC dc, int left, int top, int right, int bottom, int width, int height);
bool Ellipse(HDC dc, int left, int top, int right, int bottom);
bool Arc(HDC dc, int left, int top, int right, int bottom, int x1, int y1, int x2, int y2);
bool ArcTo(HDC dc, int left, int top, int right, int bottom, int x1, int y1, int x2, int y2);
bool Pie(HDC dc, int left, int top, int right, int bottom, int x1, int y1, int x2, int y2);
bool Chord(HDC dc, int left, int top, int right, int bottom, int x1, int y1, int x2, int y2);
bool Polygon(HDC dc, const POINT* points, int count);
bool PolyPolygon(HDC dc, const POINT* points, const int* counts, int polygons);
bool FillRect(HDC dc, const RECT& rect, HBRUSH brush);
bool FrameRect(HDC dc, const RECT& rect, HBRUSH brush);
bool InvertRect(HDC dc, const RECT& rect);
COLORREF SetPixel(HDC dc, int x, int y, COLORREF color);
COLORREF GetPixel(HDC dc, int x, int y);

using LineProc = void (*)(int x, int y, void* data);
bool LineDDA(int x1, int y1, int x2, int y2, LineProc proc, void* data);

// Between BeginPath and EndPath lines and shapes are gathered, not drawn. GetPath answers how many
// points there are, -1 without a finished path.
bool BeginPath(HDC dc);
bool EndPath(HDC dc);
int GetPath(HDC dc, POINT* points, uint8_t* types, int capacity);

// ---- bitmaps and copies

HBITMAP CreateBitmap(int width, int height, uint32_t planes, uint32_t bits, const void* data);
HBITMAP CreateCompatibleBitmap(HDC dc, int width, int height);
// Of the calls below SetDIBits and CreateDIBSection look at the context for DIB_PAL_COLORS only;
// CreateDIBitmap makes a bitmap of one bit for null.
HBITMAP CreateDIBSection(HDC dc, const BITMAPINFO* info, uint32_t usage, void** bits);
HBITMAP CreateDIBitmap(HDC dc, const BITMAPINFOHEADER* header, uint32_t init, const void* data,
                       const BITMAPINFO* info, uint32_t usage);
bool GetBitmapInfo(HBITMAP bitmap, BITMAP* info);
int GetBitmapBits(HBITMAP bitmap, int size, void* data);
int SetBitmapBits(HBITMAP bitmap, int size, const void* data);
int GetDIBColorTable(HDC dc, int first, int count, RGBQUAD* colors);
int SetDIBColorTable(HDC dc, int first, int count, const RGBQUAD* colors);

// Memory for the pixels of DIB sections comes from here, so that a system whose programs name
// memory by 32-bit addresses can serve them. `free` gets what `allocate` gave.
struct DibMemory {
    void* (*allocate)(size_t size);
    void (*free)(void* block);
};
void SetDibMemory(const DibMemory& memory);

bool PatBlt(HDC dc, int x, int y, int width, int height, uint32_t rop);
bool BitBlt(HDC target, int x, int y, int width, int height, HDC source, int sx, int sy,
            uint32_t rop);
bool StretchBlt(HDC target, int x, int y, int width, int height, HDC source, int sx, int sy,
                int swidth, int sheight, uint32_t rop);
int StretchDIBits(HDC dc, int x, int y, int width, int height, int sx, int sy, int swidth,
                  int sheight, const void* bits, const BITMAPINFO* info, uint32_t usage,
                  uint32_t rop);
int SetDIBitsToDevice(HDC dc, int x, int y, uint32_t width, uint32_t height, int sx, int sy,
                      uint32_t first, uint32_t lines, const void* bits, const BITMAPINFO* info,
                      uint32_t usage);
int GetDIBits(HDC dc, HBITMAP bitmap, uint32_t first, uint32_t lines, void* bits, BITMAPINFO* info,
              uint32_t usage);
int SetDIBits(HDC dc, HBITMAP bitmap, uint32_t first, uint32_t lines, const void* bits,
              const BITMAPINFO* info, uint32_t usage);
bool ScrollDC(HDC dc, int dx, int dy, const RECT* scroll, const RECT* clip, HRGN update,
              RECT* update_box);

// Whether a packed DIB (header, colours, pixels) of `size` bytes can be drawn without reading past
// its end. What comes from a file or another program is to be asked here first. `bits_offset` gets
// where the pixels begin.
bool CheckPackedDib(const void* data, size_t size, size_t* bits_offset);

// ---- colours

HPALETTE CreatePalette(const PALETTEENTRY* entries, int count);
HPALETTE SelectPalette(HDC dc, HPALETTE palette, bool background);
uint32_t RealizePalette(HDC dc);
uint32_t GetPaletteEntries(HPALETTE palette, uint32_t first, uint32_t count, PALETTEENTRY* entries);
uint32_t SetPaletteEntries(HPALETTE palette, uint32_t first, uint32_t count,
                           const PALETTEENTRY* entries);
uint32_t GetSystemPaletteEntries(HDC dc, uint32_t first, uint32_t count, PALETTEENTRY* entries);
uint32_t GetNearestPaletteIndex(HPALETTE palette, COLORREF color);
COLORREF GetNearestColor(HDC dc, COLORREF color);

// ---- text; bytes are Windows-1252

using FontEnumProc = int (*)(const LOGFONTA* font, const TEXTMETRICA* metrics, uint32_t type,
                             void* data);

HFONT CreateFontIndirectA(const LOGFONTA& font);
bool GetFontInfo(HFONT font, LOGFONTA* info);
bool GetTextMetricsA(HDC dc, TEXTMETRICA* metrics);
bool GetCharWidthA(HDC dc, uint32_t first, uint32_t last, int* widths);
bool GetTextExtentPointA(HDC dc, const char* text, int count, SIZE* size);
bool TextOutA(HDC dc, int x, int y, const char* text, int count);
int GetTextFaceA(HDC dc, int capacity, char* name);  // the face that the mapper chose

// Calls back for each face once (face null), or for the faces of that name; stops at a 0 from the
// callback and answers its last result.
int EnumFontsA(HDC dc, const char* face, FontEnumProc proc, void* data);

// Fonts of the Windows bitmap format 3, from memory. The faces are known until removed; the count
// of fonts added, 0 when the data are damaged.
int AddFontMemory(const void* data, size_t size);
bool RemoveFontMemory(const char* face);

// Whether glyphs get soft edges on 24- and 32-bit surfaces (they do at the start).
void SetFontSmoothing(bool on);

// ---- printing; see gdi_device.h for what stands behind a printer context

int StartDocA(HDC dc, const char* name);
int EndDoc(HDC dc);
int StartPage(HDC dc);
int EndPage(HDC dc);
int AbortDoc(HDC dc);
