#include "canvas.h"

#include <png.h>

#include <cstdlib>
#include <cstring>

Canvas::Canvas(int w, int h, int d, std::vector<uint32_t> table)
    : width(w), height(std::abs(h)), depth(d)
{
    BITMAPINFO info = {};
    info.bmiHeader.biWidth = w;
    info.bmiHeader.biHeight = h;
    info.bmiHeader.biBitCount = uint16_t(d);
    if (d <= 8 && table.empty())
        for (uint32_t i = 0; i < 1u << d; i++)
            table.push_back(i * (0xFFFFFF / ((1u << d) - 1)));
    info.bmiHeader.biClrUsed = uint32_t(table.size());
    for (size_t i = 0; i < table.size(); i++)
        info.bmiColors[i] = { uint8_t(table[i]), uint8_t(table[i] >> 8), uint8_t(table[i] >> 16),
                              0 };
    void* memory = nullptr;
    bitmap = CreateDIBSection(nullptr, &info, DIB_RGB_COLORS, &memory);
    bits = static_cast<uint8_t*>(memory);
    BITMAP about;
    GetBitmapInfo(bitmap, &about);
    size = size_t(about.bmWidthBytes) * size_t(height);
    dc = CreateCompatibleDC(nullptr);
    SelectObject(dc, bitmap);
    clear(RGB(255, 255, 255));
}

Canvas::~Canvas()
{
    DeleteDC(dc);
    DeleteObject(bitmap);
    for (const HGDIOBJ object : owned_)
        DeleteObject(object);
}

uint32_t Canvas::at(int x, int y) const
{
    const HDC reader = CreateSurfaceDC(bitmap, { 0, 0, width, height }, nullptr);
    const COLORREF c = GetPixel(reader, x, y);
    DeleteDC(reader);
    return (c & 255) << 16 | (c & 0xFF00) | c >> 16;
}

std::vector<uint32_t> Canvas::colors() const
{
    BITMAPINFO info = {};
    info.bmiHeader.biWidth = width;
    info.bmiHeader.biHeight = -height;
    info.bmiHeader.biBitCount = 32;
    std::vector<uint32_t> out(size_t(width) * size_t(height));
    GetDIBits(dc, bitmap, 0, uint32_t(height), out.data(), &info, DIB_RGB_COLORS);
    for (uint32_t& v : out)
        v &= 0xFFFFFF;
    return out;
}

void Canvas::clear(COLORREF color)
{
    const HBRUSH brush = CreateSolidBrush(color);
    const HDC all = CreateSurfaceDC(bitmap, { 0, 0, width, height }, nullptr);
    FillRect(all, { 0, 0, width, height }, brush);
    DeleteDC(all);
    DeleteObject(brush);
}

std::string Canvas::art() const
{
    const std::vector<uint32_t> pixels = colors();
    std::string out;
    for (int y = 0; y < height; y++) {
        for (int x = 0; x < width; x++) {
            const uint32_t c = pixels[size_t(y * width + x)];
            out.push_back(c == 0xFFFFFF ? '.' : c == 0 ? '#' : 'o');
        }
        out.push_back('\n');
    }
    return out;
}

static bool write_png(const std::string& path, int width, int height,
                      const std::vector<uint32_t>& pixels)
{
    png_image image = {};
    image.version = PNG_IMAGE_VERSION;
    image.width = png_uint_32(width);
    image.height = png_uint_32(height);
    image.format = PNG_FORMAT_RGB;
    std::vector<uint8_t> bytes;
    for (const uint32_t c : pixels)
        bytes.insert(bytes.end(), { uint8_t(c >> 16), uint8_t(c >> 8), uint8_t(c) });
    return png_image_write_to_file(&image, path.c_str(), 0, bytes.data(), 0, nullptr) != 0;
}

static std::vector<uint32_t> read_png(const std::string& path, int width, int height)
{
    png_image image = {};
    image.version = PNG_IMAGE_VERSION;
    std::vector<uint32_t> pixels;
    if (!png_image_begin_read_from_file(&image, path.c_str()))
        return pixels;
    image.format = PNG_FORMAT_RGB;
    std::vector<uint8_t> bytes(PNG_IMAGE_SIZE(image));
    if (!png_image_finish_read(&image, nullptr, bytes.data(), 0, nullptr)
        || int(image.width) != width || int(image.height) != height)
        return pixels;
    for (size_t i = 0; i + 2 < bytes.size(); i += 3)
        pixels.push_back(uint32_t(bytes[i]) << 16 | uint32_t(bytes[i + 1]) << 8 | bytes[i + 2]);
    return pixels;
}

void expect_golden(const Canvas& canvas, const std::string& name)
{
    const std::string path = KALVEX_TEST_DATA "/golden/gdi/" + name + ".png";
    const std::vector<uint32_t> actual = canvas.colors();
    if (getenv("KALVEX_WRITE_GOLDEN")) {
        EXPECT_TRUE(write_png(path, canvas.width, canvas.height, actual)) << path;
        return;
    }
    if (read_png(path, canvas.width, canvas.height) == actual)
        return;
    const std::string out = KALVEX_BUILD "/" + name + ".actual.png";
    write_png(out, canvas.width, canvas.height, actual);
    ADD_FAILURE() << "differs from " << path << "; what came out is " << out;
}
