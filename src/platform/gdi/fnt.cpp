// Bitmap fonts of the Windows format 3, from memory.
//
//     0 version 3    2 size      74 ascent    76 internal leading   78 external leading
//     80 italic      83 weight   85 charset   88 pixel height       91 average width
//     93 max width   95 first    96 last      97 default (from first)  98 break (from first)
//     105 face name's offset     148 a row a character: width (2), offset of its bits (4)
//
// A glyph is a column of bytes, top to bottom, for each 8 pixels of its width.
#include "platform/gdi/font.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <strings.h>

static constexpr size_t kCharTable = 148, kCharEntry = 6;
static constexpr uint32_t kTallest = 1024, kWidest = 1024;

namespace {

struct FntGlyph {
    int width = 0;
    std::vector<uint8_t> bits;  // a byte a pixel
};

struct FntFont {
    TEXTMETRICA metrics;
    std::string face;
    FntGlyph glyphs[256];
};

class BitmapFont : public RealizedFont {
public:
    BitmapFont(std::shared_ptr<const FntFont> font, const LOGFONTA& d, int factor);

protected:
    GdiGlyph render(uint8_t byte, bool) override;

private:
    std::shared_ptr<const FntFont> font_;
    int factor_;
    bool embolden_, slant_;
};

} // namespace

static std::vector<std::shared_ptr<const FntFont>>& fonts()
{
    static auto* list = new std::vector<std::shared_ptr<const FntFont>>;
    return *list;
}

namespace {

class Reader {
public:
    Reader(const void* data, size_t size) : p_(static_cast<const uint8_t*>(data)), size_(size) { }
    bool has(size_t at, size_t n) const { return at <= size_ && n <= size_ - at; }
    uint32_t byte(size_t at) const { return p_[at]; }
    uint32_t half(size_t at) const { return p_[at] | uint32_t(p_[at + 1]) << 8; }
    uint32_t word(size_t at) const { return half(at) | half(at + 2) << 16; }
    const uint8_t* at(size_t at) const { return p_ + at; }
    size_t size() const { return size_; }

private:
    const uint8_t* p_;
    size_t size_;
};

} // namespace

static bool read_glyph(const Reader& in, size_t entry, uint32_t height, FntGlyph* glyph)
{
    const uint32_t width = in.half(entry), offset = in.word(entry + 2);
    const uint32_t columns = (width + 7) / 8;
    if (width > kWidest || !in.has(offset, size_t(columns) * height))
        return false;
    glyph->width = int(width);
    glyph->bits.resize(size_t(width) * height);
    for (uint32_t y = 0; y < height; y++)
        for (uint32_t x = 0; x < width; x++)
            glyph->bits[size_t(y) * width + x]
                = in.byte(offset + size_t(x / 8) * height + y) >> (7 - (x & 7)) & 1;
    return true;
}

static std::shared_ptr<FntFont> read_fnt(const Reader& in)
{
    if (!in.has(0, kCharTable) || in.half(0) != 0x300)
        return nullptr;
    auto font = std::make_shared<FntFont>();
    TEXTMETRICA& m = font->metrics;
    const uint32_t height = in.half(88), first = in.byte(95), last = in.byte(96);
    const size_t name = in.word(105);
    if (height == 0 || height > kTallest || in.half(74) > height || first > last
        || !in.has(kCharTable, (last - first + 1) * kCharEntry) || !in.has(name, 1))
        return nullptr;
    const size_t length = strnlen(reinterpret_cast<const char*>(in.at(name)), in.size() - name);
    font->face.assign(reinterpret_cast<const char*>(in.at(name)), std::min<size_t>(length, 31));
    m.tmHeight = int(height);
    m.tmAscent = int(in.half(74));
    m.tmDescent = m.tmHeight - m.tmAscent;
    m.tmInternalLeading = int(in.half(76));
    m.tmExternalLeading = int(in.half(78));
    m.tmWeight = int(in.half(83));
    m.tmItalic = uint8_t(in.byte(80));
    m.tmAveCharWidth = int(in.half(91));
    m.tmMaxCharWidth = int(in.half(93));
    m.tmCharSet = uint8_t(in.byte(85));
    m.tmFirstChar = uint8_t(first);
    m.tmLastChar = uint8_t(last);
    m.tmDefaultChar = uint8_t(std::min(255u, first + in.byte(97)));
    m.tmBreakChar = uint8_t(std::min(255u, first + in.byte(98)));
    m.tmPitchAndFamily = TMPF_FIXED_PITCH;
    for (uint32_t c = first; c <= last; c++)
        if (!read_glyph(in, kCharTable + (c - first) * kCharEntry, height, &font->glyphs[c]))
            return nullptr;
    // Bytes outside the font show its default character.
    for (uint32_t c = 0; c < 256; c++)
        if ((c < first || c > last) && m.tmDefaultChar >= first && m.tmDefaultChar <= last)
            font->glyphs[c] = font->glyphs[m.tmDefaultChar];
    return font;
}

int AddFontMemory(const void* data, size_t size)
{
    if (!data)
        return 0;
    auto font = read_fnt(Reader(data, size));
    if (!font || font->face.empty())
        return 0;
    fonts().push_back(font);
    return 1;
}

bool RemoveFontMemory(const char* face)
{
    return std::erase_if(fonts(), [&](const std::shared_ptr<const FntFont>& f) {
               return strcasecmp(f->face.c_str(), face) == 0;
           }) > 0;
}

std::vector<std::string> fnt_faces()
{
    std::vector<std::string> names;
    for (const auto& font : fonts())
        names.push_back(font->face);
    return names;
}

// Bitmaps grow by whole factors only.
BitmapFont::BitmapFont(std::shared_ptr<const FntFont> font, const LOGFONTA& d, int factor)
    : font_(std::move(font)), factor_(factor),
      embolden_(d.lfWeight >= 550 && font_->metrics.tmWeight < 550),
      slant_(d.lfItalic && !font_->metrics.tmItalic)
{
    metrics = font_->metrics;
    for (int* v : { &metrics.tmHeight, &metrics.tmAscent, &metrics.tmDescent,
                    &metrics.tmInternalLeading, &metrics.tmExternalLeading,
                    &metrics.tmAveCharWidth, &metrics.tmMaxCharWidth })
        *v *= factor;
    metrics.tmOverhang = embolden_ ? 1 : 0;
    if (embolden_)
        metrics.tmWeight = FW_BOLD;
    metrics.tmItalic = d.lfItalic || font_->metrics.tmItalic;
    metrics.tmUnderlined = d.lfUnderline != 0;
    metrics.tmStruckOut = d.lfStrikeOut != 0;
    for (size_t c = 0; c < 256; c++)
        advances[c] = font_->glyphs[c].width * factor + (embolden_ ? 1 : 0);
    face = font_->face;
    em = metrics.tmHeight - metrics.tmInternalLeading;
    underline_top = 1;
    line_thickness = factor;
    strike_top = metrics.tmAscent / 3;
    always_hard = true;
}

GdiGlyph BitmapFont::render(uint8_t byte, bool)
{
    const FntGlyph& from = font_->glyphs[byte];
    const int height = metrics.tmHeight, width = from.width * factor_;
    const int lean = slant_ ? height / 3 : 0, extra = (embolden_ ? 1 : 0) + lean;
    GdiGlyph out;
    out.top = metrics.tmAscent;
    out.width = width + extra;
    out.height = height;
    out.coverage.resize(size_t(out.width) * size_t(height));
    for (int y = 0; y < height; y++) {
        const int shift = lean ? (height - 1 - y) / 3 : 0;
        for (int x = 0; x < width; x++) {
            if (!from.bits[size_t(y / factor_ * from.width + x / factor_)])
                continue;
            uint8_t* at = &out.coverage[size_t(y * out.width + x + shift)];
            at[0] = 255;
            if (embolden_)
                at[1] = 255;
        }
    }
    return out;
}

std::shared_ptr<RealizedFont> realize_fnt(const LOGFONTA& d, double scale_y)
{
    const int wanted = d.lfHeight ? int(std::lround(std::abs(double(d.lfHeight)) * scale_y)) : 0;
    std::shared_ptr<const FntFont> best;
    int best_factor = 1, best_miss = 1 << 30;
    for (const auto& font : fonts()) {
        if (strncasecmp(font->face.c_str(), d.lfFaceName, sizeof d.lfFaceName) != 0)
            continue;
        const int size = d.lfHeight < 0 ? font->metrics.tmHeight - font->metrics.tmInternalLeading
                                        : font->metrics.tmHeight;
        const int factor = std::clamp(wanted / std::max(1, size), 1, 8);
        const int miss = wanted ? std::abs(size * factor - wanted) : 0;
        if (miss < best_miss) {
            best = font;
            best_factor = factor;
            best_miss = miss;
        }
    }
    return best ? std::make_shared<BitmapFont>(best, d, best_factor) : nullptr;
}
