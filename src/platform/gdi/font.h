// Fonts: what was asked for, and what the mapper made of it at one size.
#pragma once

#include "platform/gdi/objects.h"

#include <array>
#include <string>
#include <vector>

struct FontObject : GdiObject {
    static constexpr GdiType kType = GdiType::font;
    FontObject() : GdiObject(kType) { }

    LOGFONTA description;
};

LOGFONTA stock_font_description(int which);

struct GdiGlyph {
    int left = 0, top = 0; // of the bitmap, from the origin on the baseline; up is positive
    int width = 0, height = 0;
    std::vector<uint8_t> coverage;   // a byte a pixel, 0 to 255
};

// A face at one size. Advances are whole pixels and the same for soft and hard glyphs.
class RealizedFont {
public:
    virtual ~RealizedFont() = default;

    const GdiGlyph& glyph(uint8_t byte, bool soft);
    int advance(uint8_t byte) const { return advances[byte]; }
    int text_width(const char* text, int count) const;

    TEXTMETRICA metrics;
    std::array<int, 256> advances{};
    std::string face;       // the name of what was found, Windows-1252
    int em = 0;             // the size without internal leading, pixels
    int underline_top = 0;  // rows below the baseline
    int line_thickness = 1, strike_top = 0;  // rows above the baseline
    bool always_hard = false;

protected:
    virtual GdiGlyph render(uint8_t byte, bool soft) = 0;

private:
    std::array<std::unique_ptr<GdiGlyph>, 256> glyphs_[2];
};

// The font at a device size: `scale_x` and `scale_y` are device pixels a logical unit. Never null:
// without any face on the system it is a font of blanks.
std::shared_ptr<RealizedFont> realize_font(const LOGFONTA& description, double scale_x,
                                           double scale_y);

// Faces of the Windows bitmap format that were added; realize_fnt answers null for other names.
std::shared_ptr<RealizedFont> realize_fnt(const LOGFONTA& description, double scale_y);
std::vector<std::string> fnt_faces();
