// A memory context with a DIB section of its own, and ways to look at its pixels.
#pragma once

#include "platform/gdi.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

class Canvas {
public:
    Canvas(int width, int height, int bits = 32, std::vector<uint32_t> colors = {});
    ~Canvas();
    Canvas(const Canvas&) = delete;
    Canvas& operator=(const Canvas&) = delete;

    HDC dc;
    HBITMAP bitmap;
    uint8_t* bits = nullptr;
    const int width, height, depth;
    size_t size = 0;

    // Keeps an object until the canvas goes, and selects it.
    template <class T> T use(T object)
    {
        SelectObject(dc, object);
        owned_.push_back(object);
        return object;
    }
    void pen(int style, int pen_width, COLORREF color) { use(CreatePen(style, pen_width, color)); }
    void brush(COLORREF color) { use(CreateSolidBrush(color)); }

    uint32_t at(int x, int y) const;        // 0xRRGGBB
    std::vector<uint32_t> colors() const;   // of all pixels
    void clear(COLORREF color);
    // Rows of '.', '#' for black, and 'o' for any other colour; the background is white.
    std::string art() const;

private:
    std::vector<HGDIOBJ> owned_;
};

// Compares with tests/golden/gdi/NAME.png. On a difference the picture that came out is left in the
// build folder as NAME.actual.png. KALVEX_WRITE_GOLDEN=1 writes the golden picture instead.
void expect_golden(const Canvas& canvas, const std::string& name);

// Numbers from a seed that a failure can print.
class Random {
public:
    explicit Random(uint32_t seed) : state_(seed * 2654435761u + 1) { }
    uint32_t next()
    {
        state_ ^= state_ << 13;
        state_ ^= state_ >> 17;
        state_ ^= state_ << 5;
        return state_;
    }
    int below(int n) { return int(next() % uint32_t(n)); }
    int between(int low, int high) { return low + below(high - low + 1); }

private:
    uint32_t state_;
};
