// The plain types that the platform's headers share, as Win32 documents them.
#pragma once

#include <cstdint>

using COLORREF = uint32_t;  // 0x00BBGGRR, or one of the index forms of gdi.h

struct POINT {
    int32_t x = 0, y = 0;
};

struct SIZE {
    int32_t cx = 0, cy = 0;
};

// Half open: right and bottom are the first column and row outside.
struct RECT {
    int32_t left = 0, top = 0, right = 0, bottom = 0;
};

inline bool operator==(const POINT& a, const POINT& b)
{
    return a.x == b.x && a.y == b.y;
}

inline bool operator==(const RECT& a, const RECT& b)
{
    return a.left == b.left && a.top == b.top && a.right == b.right && a.bottom == b.bottom;
}

constexpr COLORREF RGB(uint32_t red, uint32_t green, uint32_t blue)
{
    return (red & 255) | (green & 255) << 8 | (blue & 255) << 16;
}
