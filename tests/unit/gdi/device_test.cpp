// Printer contexts: what the device behind them is told.
#include "canvas.h"

#include "platform/gdi_device.h"

#include <cstring>

TEST(Device, calls_are_recorded_in_device_coordinates)
{
    RecordingDevice device(600, 800, 100);
    const HDC dc = CreateDeviceDC(&device);
    EXPECT_EQ(GetDeviceCaps(dc, HORZRES), 600);
    EXPECT_EQ(GetDeviceCaps(dc, LOGPIXELSY), 100);
    EXPECT_GT(StartDocA(dc, "Letter"), 0);
    EXPECT_GT(StartPage(dc), 0);
    SetMapMode(dc, MM_ISOTROPIC);
    SetWindowExtEx(dc, 72, 72, nullptr);
    SetViewportExtEx(dc, 144, 144, nullptr);
    const HBRUSH red = CreateSolidBrush(RGB(255, 0, 0));
    FillRect(dc, { 1, 2, 10, 20 }, red);
    SelectObject(dc, red);
    Rectangle(dc, 0, 0, 6, 5);
    MoveToEx(dc, 3, 4, nullptr);
    LineTo(dc, 30, 40);
    IntersectClipRect(dc, 0, 0, 50, 50);
    LOGFONTA font;
    font.lfHeight = -10;
    strcpy(font.lfFaceName, "Arial");
    const HFONT arial = CreateFontIndirectA(font);
    SelectObject(dc, arial);
    SetTextAlign(dc, TA_BASELINE);
    SetBkMode(dc, TRANSPARENT);
    TextOutA(dc, 5, 20, "Hi", 2);
    Canvas picture(4, 4);
    StretchBlt(dc, 0, 0, 4, 4, picture.dc, 0, 0, 4, 4, SRCCOPY);
    EXPECT_EQ(SetPixel(dc, 7, 8, RGB(1, 2, 3)), RGB(1, 2, 3));
    EndPage(dc);
    EndDoc(dc);
    EXPECT_EQ(device.calls,
              (std::vector<std::string>{
                  "start-doc Letter", "start-page", "fill 2,4,20,40 ff0000 rop f0",
                  "draw M11,0 L0,0 L0,9 L11,9 Z pen 000000 1 brush ff0000 rop2 13",
                  "draw M6,8 L60,80 pen 000000 1 brush none rop2 13",
                  "text 10,40 \"Hi\" 000000 Liberation Sans -20", "image 0,0,8,8 of 4x4 rop cc0020",
                  "fill 14,16,15,17 010203 rop f0", "end-page", "end-doc" }));
    EXPECT_EQ(device.clip, (std::vector<RECT>{ { 0, 0, 100, 100 } }));
    SIZE size;
    GetTextExtentPointA(dc, "Hi", 2, &size);
    EXPECT_NEAR(size.cx, 9, 1);  // logical units, not device pixels
    EXPECT_EQ(GetPixel(dc, 0, 0), CLR_INVALID);
    DeleteDC(dc);
    DeleteObject(red);
    DeleteObject(arial);
}

TEST(Device, contexts_without_a_device_do_not_print)
{
    Canvas canvas(2, 2);
    EXPECT_LT(StartDocA(canvas.dc, "x"), 0);
    EXPECT_LT(EndPage(HDC()), 0);
}

TEST(Device, colours_of_an_8_bit_display_go_through_its_table)
{
    EXPECT_FALSE(SetDisplayFormat(640, 480, 7));
    EXPECT_TRUE(SetDisplayFormat(640, 480, 8));
    const HDC screen = CreateCompatibleDC(nullptr);
    EXPECT_EQ(GetDeviceCaps(screen, BITSPIXEL), 8);
    const HBITMAP bitmap = CreateBitmap(4, 4, 1, 8, nullptr);
    SelectObject(screen, bitmap);
    EXPECT_EQ(GetNearestColor(screen, RGB(250, 3, 3)), RGB(255, 0, 0));
    const PALETTEENTRY entries[] = { { 123, 45, 67, 0 }, { 255, 0, 0, 0 } };
    const HPALETTE palette = CreatePalette(entries, 2);
    SelectPalette(screen, palette, false);
    EXPECT_EQ(RealizePalette(screen), 1u);
    EXPECT_EQ(RealizePalette(screen), 0u);
    SetPixel(screen, 0, 0, PALETTEINDEX(0));
    EXPECT_EQ(GetPixel(screen, 0, 0), RGB(123, 45, 67));
    EXPECT_EQ(GetNearestPaletteIndex(palette, RGB(200, 10, 0)), 1u);
    DeleteDC(screen);
    DeleteObject(bitmap);
    DeleteObject(palette);
    EXPECT_TRUE(SetDisplayFormat(1024, 768, 32));
}
