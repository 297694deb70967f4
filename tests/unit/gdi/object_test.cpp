// Handles, selection and the state of contexts.
#include "canvas.h"

TEST(Objects, a_dead_handle_stays_dead_when_its_place_is_used_again)
{
    const HPEN old = CreatePen(PS_SOLID, 1, 0);
    EXPECT_TRUE(DeleteObject(old));
    const HPEN young = CreatePen(PS_SOLID, 1, 0);
    EXPECT_FALSE(old == young);
    EXPECT_EQ(GetObjectType(old), 0);
    EXPECT_EQ(GetObjectType(young), OBJ_PEN);
    EXPECT_FALSE(DeleteObject(old));
    DeleteObject(young);
}

TEST(Objects, handles_of_another_type_are_refused)
{
    Canvas canvas(4, 4);
    const HBRUSH brush = CreateSolidBrush(0);
    EXPECT_FALSE(MoveToEx(HDC(brush.value), 1, 1, nullptr));
    EXPECT_FALSE(SelectPen(canvas.dc, HPEN(brush.value)));
    EXPECT_FALSE(FillRect(canvas.dc, { 0, 0, 4, 4 }, HBRUSH(canvas.bitmap.value)));
    EXPECT_FALSE(SelectObject(canvas.dc, nullptr));
    EXPECT_EQ(GetPixel(HDC(), 0, 0), CLR_INVALID);
    EXPECT_EQ(SetTextColor(HDC(), 0), CLR_INVALID);
    DeleteObject(brush);
}

TEST(Objects, a_new_context_is_like_a_live_one_or_the_display)
{
    const HDC dead = CreateCompatibleDC(nullptr);
    EXPECT_TRUE(dead);
    DeleteDC(dead);
    const int before = GdiObjectCount();
    EXPECT_FALSE(CreateCompatibleDC(dead));
    EXPECT_FALSE(CreateCompatibleDC(HDC(GetStockObject(BLACK_PEN).value)));
    EXPECT_FALSE(CreateCompatibleBitmap(dead, 4, 4));
    EXPECT_EQ(GdiObjectCount(), before);
}

TEST(Objects, every_type_is_counted_and_none_is_left)
{
    const int before = GdiObjectCount();
    {
        Canvas canvas(4, 4);
        canvas.pen(PS_DOT, 1, 0);
        canvas.use(CreateHatchBrush(HS_CROSS, 0));
        LOGFONTA font;
        canvas.use(CreateFontIndirectA(font));
        const int regions = GdiObjectCount(GdiType::region);
        const HRGN region = CreateRectRgn(0, 0, 1, 1);
        EXPECT_EQ(GdiObjectCount(GdiType::region), regions + 1);
        DeleteObject(region);
        EXPECT_EQ(GdiObjectCount(), before + 5);
    }
    EXPECT_EQ(GdiObjectCount(), before);
}

TEST(Objects, a_deleted_pen_still_draws_until_another_is_selected)
{
    Canvas canvas(8, 1);
    const HPEN red = CreatePen(PS_SOLID, 1, RGB(255, 0, 0));
    SelectObject(canvas.dc, red);
    EXPECT_TRUE(DeleteObject(red));
    LineTo(canvas.dc, 4, 0);
    EXPECT_EQ(canvas.at(0, 0), 0xFF0000u);
    EXPECT_EQ(SelectObject(canvas.dc, GetStockObject(BLACK_PEN)), HGDIOBJ(red.value));
    EXPECT_FALSE(SelectObject(canvas.dc, red));
}

TEST(Objects, a_bitmap_belongs_to_one_context_at_a_time)
{
    Canvas canvas(4, 4);
    const HDC other = CreateCompatibleDC(nullptr);
    EXPECT_FALSE(SelectObject(other, canvas.bitmap));
    EXPECT_FALSE(DeleteObject(canvas.bitmap));
    const HBITMAP first = SelectBitmap(other, CreateBitmap(0, 0, 1, 1, nullptr));
    EXPECT_TRUE(first);
    const HBITMAP own = CreateBitmap(2, 2, 1, 1, nullptr);
    EXPECT_EQ(SelectBitmap(other, own), first);
    DeleteDC(other);
    EXPECT_TRUE(DeleteObject(own));
}

TEST(Objects, stock_objects_cannot_be_deleted)
{
    const HGDIOBJ white = GetStockObject(WHITE_BRUSH);
    EXPECT_TRUE(DeleteObject(white));
    EXPECT_EQ(GetObjectType(white), OBJ_BRUSH);
    EXPECT_EQ(GetStockObject(99), HGDIOBJ());
}

TEST(Objects, saved_state_comes_back)
{
    Canvas canvas(10, 10);
    canvas.pen(PS_SOLID, 3, RGB(1, 2, 3));
    SetTextColor(canvas.dc, RGB(9, 9, 9));
    IntersectClipRect(canvas.dc, 2, 2, 5, 5);
    const HGDIOBJ pen = GetCurrentObject(canvas.dc, OBJ_PEN);
    EXPECT_EQ(SaveDC(canvas.dc), 1);
    SelectObject(canvas.dc, GetStockObject(WHITE_PEN));
    SetTextColor(canvas.dc, 0);
    SetWindowOrgEx(canvas.dc, 3, 3, nullptr);
    SelectClipRgn(canvas.dc, nullptr);
    EXPECT_EQ(SaveDC(canvas.dc), 2);
    EXPECT_FALSE(RestoreDC(canvas.dc, 3));
    EXPECT_TRUE(RestoreDC(canvas.dc, 1));
    EXPECT_FALSE(RestoreDC(canvas.dc, -1));
    EXPECT_EQ(GetCurrentObject(canvas.dc, OBJ_PEN), pen);
    EXPECT_EQ(GetTextColor(canvas.dc), RGB(9, 9, 9));
    RECT box;
    EXPECT_EQ(GetClipBox(canvas.dc, &box), SIMPLEREGION);
    EXPECT_EQ(box, (RECT{ 2, 2, 5, 5 }));
}

TEST(Objects, coordinates_go_through_window_and_viewport)
{
    Canvas canvas(50, 50);
    SetWindowOrgEx(canvas.dc, -10, -20, nullptr);
    SetViewportOrgEx(canvas.dc, 1, 2, nullptr);
    POINT p = { 5, 5 };
    LPtoDP(canvas.dc, &p, 1);
    EXPECT_EQ(p, (POINT{ 16, 27 }));
    DPtoLP(canvas.dc, &p, 1);
    EXPECT_EQ(p, (POINT{ 5, 5 }));

    // An isotropic page keeps its shape: the narrower side decides.
    SetWindowOrgEx(canvas.dc, 0, 0, nullptr);
    SetViewportOrgEx(canvas.dc, 0, 0, nullptr);
    SetMapMode(canvas.dc, MM_ISOTROPIC);
    SetWindowExtEx(canvas.dc, 100, 100, nullptr);
    SetViewportExtEx(canvas.dc, 300, 200, nullptr);
    p = { 10, 10 };
    LPtoDP(canvas.dc, &p, 1);
    EXPECT_EQ(p, (POINT{ 20, 20 }));
    EXPECT_EQ(SetMapMode(canvas.dc, MM_TEXT), MM_ISOTROPIC);
    p = { 10, 10 };
    LPtoDP(canvas.dc, &p, 1);
    EXPECT_EQ(p, (POINT{ 10, 10 }));
}

TEST(Objects, a_window_context_draws_in_its_part_of_the_surface)
{
    Canvas screen(10, 6);
    const HRGN visible = CreateRectRgn(4, 1, 8, 5);
    const HDC window = CreateSurfaceDC(screen.bitmap, { 3, 1, 8, 5 }, visible);
    const HBRUSH black = CreateSolidBrush(0);
    FillRect(window, { -5, 0, 3, 2 }, black);
    EXPECT_EQ(screen.art(), "..........\n"
                            "....##....\n"
                            "....##....\n"
                            "..........\n"
                            "..........\n"
                            "..........\n");
    RECT box;
    GetClipBox(window, &box);
    EXPECT_EQ(box, (RECT{ 1, 0, 5, 4 }));
    EXPECT_TRUE(SetSurfaceArea(window, { 0, 0, 10, 6 }, nullptr));
    SetPixel(window, 9, 5, 0);
    EXPECT_EQ(screen.at(9, 5), 0u);
    EXPECT_FALSE(SetSurfaceArea(screen.dc, { 0, 0, 1, 1 }, nullptr));
    DeleteDC(window);
    DeleteObject(visible);
    DeleteObject(black);
}
