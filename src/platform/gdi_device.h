// The seam behind a printer context: a device that gets every drawing call resolved to its own
// coordinates, with colours as numbers. The desktop's printing stands behind it, and in tests the
// recording device, which writes the calls down.
#pragma once

#include "platform/gdi.h"

#include <string>
#include <vector>

struct DevicePen {
    bool none = false;
    uint32_t style = PS_SOLID, end_cap = PS_ENDCAP_ROUND, join = PS_JOIN_ROUND;
    int width = 1;       // device pixels
    uint32_t color = 0;  // 0xRRGGBB
};

struct DeviceBrush {
    bool none = false;
    uint32_t color = 0;            // of a solid brush
    int width = 0, height = 0;     // not 0: the tile's pixels, 0xRRGGBB
    std::vector<uint32_t> pixels;
    POINT origin;
};

struct DeviceFigures {
    std::vector<POINT> points;   // device coordinates
    std::vector<uint8_t> types;  // PT_..., as GetPath gives them
    int fill_mode = ALTERNATE;
};

struct DeviceImage {
    RECT target;
    bool mirror_x = false, mirror_y = false;
    int width = 0, height = 0;
    std::vector<uint32_t> pixels;  // 0xRRGGBB, row by row from the top
};

struct DeviceText {
    POINT baseline;             // where the first character's origin stands
    std::string bytes;          // Windows-1252
    std::vector<int> advances;  // device pixels, one a byte
    LOGFONTA font;              // lfHeight in device pixels, lfFaceName as the mapper chose
    uint32_t color = 0;
    bool opaque = false;
    RECT box;                   // of the background, when opaque
    uint32_t background = 0;
};

class GdiDevice {
public:
    virtual ~GdiDevice() = default;

    virtual int Caps(int index) const = 0;  // GetDeviceCaps
    virtual bool StartDocument(const char* name) = 0;
    virtual bool EndDocument() = 0;
    virtual bool AbortDocument() = 0;
    virtual bool StartPage() = 0;
    virtual bool EndPage() = 0;

    // Each drawing call gets the clip as boxes of device coordinates.
    virtual void Clip(const std::vector<RECT>& boxes) = 0;
    virtual void Fill(const std::vector<RECT>& boxes, const DeviceBrush& brush, uint8_t rop) = 0;
    virtual void Draw(const DeviceFigures& figures, const DevicePen& pen, const DeviceBrush& brush,
                      int rop2) = 0;
    virtual void Image(const DeviceImage& image, uint32_t rop) = 0;
    virtual void Text(const DeviceText& text) = 0;
};

// A printer context. The device outlives it.
HDC CreateDeviceDC(GdiDevice* device);

// Writes each call as a line of text.
class RecordingDevice : public GdiDevice {
public:
    RecordingDevice(int width, int height, int dots_per_inch)
        : width_(width), height_(height), dots_per_inch_(dots_per_inch) { }

    std::vector<std::string> calls;
    std::vector<RECT> clip;  // the latest

    int Caps(int index) const override;
    bool StartDocument(const char* name) override;
    bool EndDocument() override;
    bool AbortDocument() override;
    bool StartPage() override;
    bool EndPage() override;
    void Clip(const std::vector<RECT>& boxes) override;
    void Fill(const std::vector<RECT>& boxes, const DeviceBrush& brush, uint8_t rop) override;
    void Draw(const DeviceFigures& figures, const DevicePen& pen, const DeviceBrush& brush,
              int rop2) override;
    void Image(const DeviceImage& image, uint32_t rop) override;
    void Text(const DeviceText& text) override;

private:
    int width_, height_, dots_per_inch_;
};
