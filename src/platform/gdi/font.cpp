// The font mapper and the glyphs: fontconfig finds a face, FreeType draws it.
#include "platform/gdi/font.h"

#include "platform/text_encoding.h"

#include <fontconfig/fontconfig.h>
#include <ft2build.h>
#include FT_FREETYPE_H
#include FT_OUTLINE_H
#include FT_TRUETYPE_TABLES_H

#include <algorithm>
#include <cmath>
#include <cstring>
#include <map>
#include <strings.h>

static constexpr int kDefaultHeight = 16;    // cell height when none is asked for
static constexpr int kLargestEm = 2000;
static constexpr size_t kCachedFonts = 64;

#if defined(__SANITIZE_ADDRESS__)
// Reading its configuration, fontconfig leaves a few blocks behind.
extern "C" __attribute__((weak)) const char* __lsan_default_suppressions()
{
    return "leak:libfontconfig";
}
#endif

// Unicode of each byte, read off the system's own conversion.
static uint32_t unicode_of(uint8_t byte)
{
    static const std::array<uint32_t, 256> table = [] {
        std::array<uint32_t, 256> out{};
        for (int b = 0; b < 256; b++) {
            const char ansi = char(b);
            const std::string utf8 = utf8_from_ansi(std::string_view(&ansi, 1));
            uint32_t c = 0;
            for (size_t i = 0; i < utf8.size(); i++) {
                const uint32_t u = uint8_t(utf8[i]);
                c = i > 0 ? c << 6 | (u & 0x3F) : u >= 0xE0 ? u & 0x0F : u >= 0xC0 ? u & 0x1F : u;
            }
            out[size_t(b)] = c;
        }
        return out;
    }();
    return table[byte];
}

// A face's name as bytes; empty when a character of it has none.
static std::string face_name(const char* utf8)
{
    const std::string name = ansi_from_utf8(utf8, '\0');
    return name.find('\0') == std::string::npos ? name : std::string();
}

LOGFONTA stock_font_description(int which)
{
    LOGFONTA font;
    const bool fixed = which == OEM_FIXED_FONT || which == ANSI_FIXED_FONT
                       || which == SYSTEM_FIXED_FONT;
    font.lfHeight = which == SYSTEM_FONT || which == DEVICE_DEFAULT_FONT ? 16 : 13;
    font.lfWeight = which == SYSTEM_FONT || which == DEVICE_DEFAULT_FONT ? FW_BOLD : FW_NORMAL;
    strcpy(font.lfFaceName, fixed                         ? "Courier"
                            : which == SYSTEM_FONT        ? "System"
                                                          : "MS Sans Serif");
    return font;
}

const GdiGlyph& RealizedFont::glyph(uint8_t byte, bool soft)
{
    std::unique_ptr<GdiGlyph>& place = glyphs_[soft][byte];
    if (!place)
        place = std::make_unique<GdiGlyph>(render(byte, soft));
    return *place;
}

int RealizedFont::text_width(const char* text, int count) const
{
    int width = 0;
    for (int i = 0; i < count; i++)
        width += advances[uint8_t(text[i])];
    return width;
}

// ---- finding a face

namespace {

struct FaceFile {
    std::string path, family;
    int index = 0;
    bool bold = false, italic = false;  // what the file itself is
    bool found = false;
};

} // namespace

static FcConfig* font_config()
{
    static FcConfig* config = FcInitLoadConfigAndFonts();
    return config;
}

// The names of the system's own bitmap faces, and the face that stands for each.
static const char* substitute(const char* face)
{
    static const struct {
        const char *name, *family;
    } table[] = { { "MS Sans Serif", "Liberation Sans" }, { "System", "Liberation Sans" },
                  { "Helv", "Liberation Sans" },          { "MS Shell Dlg", "Liberation Sans" },
                  { "Tahoma", "Liberation Sans" },        { "Small Fonts", "Liberation Sans" },
                  { "Arial", "Liberation Sans" },         { "Helvetica", "Liberation Sans" },
                  { "Geneva", "Liberation Sans" },        { "Chicago", "Liberation Sans" },
                  { "MS Serif", "Liberation Serif" },     { "Tms Rmn", "Liberation Serif" },
                  { "Roman", "Liberation Serif" },        { "Times New Roman", "Liberation Serif" },
                  { "Times", "Liberation Serif" },        { "New York", "Liberation Serif" },
                  { "Courier", "Liberation Mono" },       { "Courier New", "Liberation Mono" },
                  { "Monaco", "Liberation Mono" },        { "Fixedsys", "Liberation Mono" },
                  { "Terminal", "Liberation Mono" },      { "", "Liberation Sans" } };
    for (const auto& row : table)
        if (strcasecmp(row.name, face) == 0)
            return row.family;
    return face;
}

static FaceFile find_face(const char* face, bool bold, bool italic, uint8_t pitch_and_family)
{
    FaceFile out;
    FcPattern* pattern = FcPatternCreate();
    const std::string family = utf8_from_ansi(substitute(face));
    FcPatternAddString(pattern, FC_FAMILY, reinterpret_cast<const FcChar8*>(family.c_str()));
    const char* fallback = (pitch_and_family & 0xF0) == FF_ROMAN    ? "Liberation Serif"
                           : (pitch_and_family & 0xF0) == FF_MODERN ? "Liberation Mono"
                                                                    : "Liberation Sans";
    FcPatternAddString(pattern, FC_FAMILY, reinterpret_cast<const FcChar8*>(fallback));
    FcPatternAddInteger(pattern, FC_WEIGHT, bold ? FC_WEIGHT_BOLD : FC_WEIGHT_REGULAR);
    FcPatternAddInteger(pattern, FC_SLANT, italic ? FC_SLANT_ITALIC : FC_SLANT_ROMAN);
    FcPatternAddBool(pattern, FC_SCALABLE, FcTrue);
    FcConfigSubstitute(font_config(), pattern, FcMatchPattern);
    FcDefaultSubstitute(pattern);
    FcResult result;
    if (FcPattern* match = FcFontMatch(font_config(), pattern, &result)) {
        FcChar8 *path = nullptr, *name = nullptr;
        int weight = 0, slant = 0;
        if (FcPatternGetString(match, FC_FILE, 0, &path) == FcResultMatch) {
            out.path = reinterpret_cast<const char*>(path);
            out.found = true;
        }
        if (FcPatternGetString(match, FC_FAMILY, 0, &name) == FcResultMatch)
            out.family = face_name(reinterpret_cast<const char*>(name));
        FcPatternGetInteger(match, FC_INDEX, 0, &out.index);
        FcPatternGetInteger(match, FC_WEIGHT, 0, &weight);
        FcPatternGetInteger(match, FC_SLANT, 0, &slant);
        out.bold = weight >= FC_WEIGHT_DEMIBOLD;
        out.italic = slant != FC_SLANT_ROMAN;
        FcPatternDestroy(match);
    }
    FcPatternDestroy(pattern);
    return out;
}

// ---- FreeType

static FT_Library freetype()
{
    static FT_Library library = [] {
        FT_Library l = nullptr;
        if (FT_Init_FreeType(&l))
            l = nullptr;
        return l;
    }();
    return library;
}

namespace {

class OutlineFont : public RealizedFont {
public:
    OutlineFont(FT_Face loaded, bool embolden, bool slant)
        : face_(loaded), embolden_(embolden), slant_(slant) { }
    ~OutlineFont() override { FT_Done_Face(face_); }

    void set_size(const LOGFONTA& d, double scale_x, double scale_y);
    void measure(const LOGFONTA& d);

protected:
    GdiGlyph render(uint8_t byte, bool soft) override;

private:
    FT_UInt index_of(uint8_t byte) const;

    FT_Face face_;
    bool embolden_, slant_;
};

class BlankFont : public RealizedFont {
protected:
    GdiGlyph render(uint8_t, bool) override { return {}; }
};

} // namespace

static int scaled(FT_Face face, int units, int em)
{
    return int(std::lround(double(units) * em / std::max<int>(1, face->units_per_EM)));
}

// The ascent and descent that the font declares for Windows, in font units.
static void cell_units(FT_Face face, int* ascent, int* descent)
{
    const TT_OS2* os2 = static_cast<TT_OS2*>(FT_Get_Sfnt_Table(face, FT_SFNT_OS2));
    const bool usable = os2 && os2->version != 0xFFFF && os2->usWinAscent + os2->usWinDescent > 0;
    *ascent = usable ? os2->usWinAscent : face->ascender;
    *descent = usable ? os2->usWinDescent : -face->descender;
}

// A negative height is that of the characters, a positive one that of the cell.
void OutlineFont::set_size(const LOGFONTA& d, double scale_x, double scale_y)
{
    int ascent, descent;
    cell_units(face_, &ascent, &descent);
    double size = std::abs(double(d.lfHeight)) * scale_y;
    if (d.lfHeight == 0)
        size = kDefaultHeight * scale_y;
    if (d.lfHeight >= 0)
        size = size * face_->units_per_EM / std::max(1, ascent + descent);
    em = std::clamp(int(std::lround(size)), 1, kLargestEm);
    int em_x = std::clamp(int(std::lround(em * scale_x / scale_y)), 1, kLargestEm);
    const TT_OS2* os2 = static_cast<TT_OS2*>(FT_Get_Sfnt_Table(face_, FT_SFNT_OS2));
    if (d.lfWidth != 0 && os2 && os2->xAvgCharWidth > 0)
        em_x = std::clamp(int(std::lround(std::abs(double(d.lfWidth)) * scale_x *
                                          face_->units_per_EM / os2->xAvgCharWidth)),
                          1, kLargestEm);
    FT_Set_Pixel_Sizes(face_, FT_UInt(em_x), FT_UInt(em));
}

FT_UInt OutlineFont::index_of(uint8_t byte) const
{
    const FT_UInt index = FT_Get_Char_Index(face_, unicode_of(byte));
    return index ? index : FT_Get_Char_Index(face_, 0xF000u | byte);  // symbol faces
}

void OutlineFont::measure(const LOGFONTA& d)
{
    int ascent, descent;
    cell_units(face_, &ascent, &descent);
    TEXTMETRICA& m = metrics;
    m.tmAscent = scaled(face_, ascent, em);
    m.tmDescent = scaled(face_, descent, em);
    m.tmHeight = m.tmAscent + m.tmDescent;
    m.tmInternalLeading = m.tmHeight - em;
    const int line_units = face_->height - (face_->ascender - face_->descender);
    m.tmExternalLeading = std::max(
        0,
        scaled(face_, line_units - (ascent + descent - (face_->ascender - face_->descender)), em));
    for (int b = 0; b < 256; b++) {
        if (!FT_Load_Glyph(face_, index_of(uint8_t(b)), FT_LOAD_NO_HINTING | FT_LOAD_NO_BITMAP))
            advances[size_t(b)] = int((face_->glyph->linearHoriAdvance + 0x8000) >> 16)
                                  + (embolden_ ? 1 : 0);
    }
    m.tmMaxCharWidth = *std::max_element(advances.begin(), advances.end());
    const TT_OS2* os2 = static_cast<TT_OS2*>(FT_Get_Sfnt_Table(face_, FT_SFNT_OS2));
    m.tmAveCharWidth = os2 && os2->xAvgCharWidth > 0 ? scaled(face_, os2->xAvgCharWidth, em)
                                                     : advances['x'];
    m.tmWeight = d.lfWeight >= 550 ? FW_BOLD : FW_NORMAL;
    m.tmItalic = d.lfItalic != 0;
    m.tmUnderlined = d.lfUnderline != 0;
    m.tmStruckOut = d.lfStrikeOut != 0;
    m.tmFirstChar = 30;
    m.tmDefaultChar = 31;
    m.tmOverhang = 0;
    m.tmCharSet = d.lfCharSet == DEFAULT_CHARSET ? uint8_t(ANSI_CHARSET) : d.lfCharSet;
    // The bit named for a fixed pitch is set for variable ones.
    const bool fixed = FT_IS_FIXED_WIDTH(face_);
    const int family = fixed ? FF_MODERN
                       : os2 && (os2->sFamilyClass >> 8) >= 1 && (os2->sFamilyClass >> 8) <= 5
                           ? FF_ROMAN
                           : FF_SWISS;
    m.tmPitchAndFamily =
        uint8_t(family | TMPF_VECTOR | TMPF_TRUETYPE | (fixed ? 0 : TMPF_FIXED_PITCH));
    underline_top = std::max(1, -scaled(face_, face_->underline_position
                                                   + face_->underline_thickness / 2, em));
    line_thickness = std::max(1, scaled(face_, face_->underline_thickness, em));
    strike_top = os2 && os2->yStrikeoutPosition > 0 ? scaled(face_, os2->yStrikeoutPosition, em)
                                                    : m.tmAscent / 3;
}

GdiGlyph OutlineFont::render(uint8_t byte, bool soft)
{
    GdiGlyph out;
    const int target = soft ? FT_LOAD_TARGET_NORMAL : FT_LOAD_TARGET_MONO;
    if (FT_Load_Glyph(face_, index_of(byte), target | FT_LOAD_NO_BITMAP)
        || face_->glyph->format != FT_GLYPH_FORMAT_OUTLINE)
        return out;
    FT_Outline* outline = &face_->glyph->outline;
    if (embolden_)
        FT_Outline_Embolden(outline, 64);
    if (slant_) {
        const FT_Matrix lean = { 0x10000, 0x5700, 0, 0x10000 };  // about 19 degrees
        FT_Outline_Transform(outline, &lean);
    }
    if (FT_Render_Glyph(face_->glyph, soft ? FT_RENDER_MODE_NORMAL : FT_RENDER_MODE_MONO))
        return out;
    const FT_Bitmap& bitmap = face_->glyph->bitmap;
    out.left = face_->glyph->bitmap_left;
    out.top = face_->glyph->bitmap_top;
    out.width = int(bitmap.width);
    out.height = int(bitmap.rows);
    out.coverage.resize(size_t(bitmap.width) * bitmap.rows);
    for (unsigned y = 0; y < bitmap.rows; y++) {
        const uint8_t* row = bitmap.buffer + ptrdiff_t(y) * bitmap.pitch;
        for (unsigned x = 0; x < bitmap.width; x++)
            out.coverage[size_t(y) * bitmap.width + x]
                = soft ? row[x] : row[x >> 3] >> (7 - (x & 7)) & 1 ? 255 : 0;
    }
    return out;
}

static std::shared_ptr<RealizedFont> blank_font(const LOGFONTA& d, double scale_y)
{
    auto font = std::make_shared<BlankFont>();
    font->em =
        std::max(1, int(std::abs(double(d.lfHeight ? d.lfHeight : kDefaultHeight)) * scale_y));
    font->advances.fill(std::max(1, font->em / 2));
    font->metrics.tmAscent = font->em * 4 / 5;
    font->metrics.tmDescent = font->em - font->metrics.tmAscent;
    font->metrics.tmHeight = font->em;
    font->metrics.tmAveCharWidth = font->metrics.tmMaxCharWidth = font->advances[0];
    return font;
}

static std::shared_ptr<RealizedFont> realize_outline(const LOGFONTA& d, double scale_x,
                                                     double scale_y)
{
    const bool bold = d.lfWeight >= 550, italic = d.lfItalic != 0;
    char wanted[33] = {};
    memcpy(wanted, d.lfFaceName, 32);
    const FaceFile file = find_face(wanted, bold, italic, d.lfPitchAndFamily);
    FT_Face face;
    if (!file.found || !freetype()
        || FT_New_Face(freetype(), file.path.c_str(), file.index, &face))
        return blank_font(d, scale_y);
    auto font = std::make_shared<OutlineFont>(face, bold && !file.bold, italic && !file.italic);
    font->face = file.family;
    font->set_size(d, scale_x, scale_y);
    font->measure(d);
    return font;
}

std::shared_ptr<RealizedFont> realize_font(const LOGFONTA& d, double scale_x, double scale_y)
{
    if (auto bitmap_font = realize_fnt(d, scale_y))
        return bitmap_font;
    static auto* cache = new std::map<std::string, std::shared_ptr<RealizedFont>>;
    std::string key(reinterpret_cast<const char*>(&d), sizeof d);
    key.append(reinterpret_cast<const char*>(&scale_x), sizeof scale_x);
    key.append(reinterpret_cast<const char*>(&scale_y), sizeof scale_y);
    const auto found = cache->find(key);
    if (found != cache->end())
        return found->second;
    if (cache->size() >= kCachedFonts)
        cache->clear();
    return (*cache)[key] = realize_outline(d, scale_x, scale_y);
}

// ---- calls

HFONT CreateFontIndirectA(const LOGFONTA& description)
{
    auto font = std::make_shared<FontObject>();
    font->description = description;
    // Names are compared as bytes: nothing may stand behind the end of one.
    char* name = font->description.lfFaceName;
    const size_t length = strnlen(name, sizeof description.lfFaceName - 1);
    memset(name + length, 0, sizeof description.lfFaceName - length);
    return add<GdiType::font>(font);
}

bool GetFontInfo(HFONT handle, LOGFONTA* info)
{
    const FontObject* font = peek<FontObject>(handle);
    if (!font || !info)
        return false;
    *info = font->description;
    return true;
}

static std::vector<std::string> installed_families()
{
    std::vector<std::string> names = fnt_faces();
    FcPattern* all = FcPatternCreate();
    FcPatternAddBool(all, FC_SCALABLE, FcTrue);
    FcObjectSet* wanted = FcObjectSetBuild(FC_FAMILY, nullptr);
    if (FcFontSet* set = FcFontList(font_config(), all, wanted)) {
        for (int i = 0; i < set->nfont; i++) {
            FcChar8* family;
            if (FcPatternGetString(set->fonts[i], FC_FAMILY, 0, &family) == FcResultMatch)
                names.push_back(face_name(reinterpret_cast<const char*>(family)));
        }
        FcFontSetDestroy(set);
    }
    FcObjectSetDestroy(wanted);
    FcPatternDestroy(all);
    std::sort(names.begin(), names.end());
    names.erase(std::unique(names.begin(), names.end()), names.end());
    std::erase_if(names, [](const std::string& n) { return n.empty() || n.size() > 31; });
    return names;
}

int EnumFontsA(HDC dc, const char* face, FontEnumProc proc, void* data)
{
    if (!peek_gdi_object(dc, GdiType::dc) || !proc)
        return 0;
    int result = 1;
    for (const std::string& name : installed_families()) {
        if (face && strcasecmp(face, name.c_str()) != 0)
            continue;
        LOGFONTA font;
        strcpy(font.lfFaceName, name.c_str());
        font.lfWeight = FW_NORMAL;
        const auto realized = realize_font(font, 1, 1);
        font.lfHeight = realized->metrics.tmHeight;
        font.lfWidth = realized->metrics.tmAveCharWidth;
        font.lfCharSet = realized->metrics.tmCharSet;
        font.lfPitchAndFamily = realized->metrics.tmPitchAndFamily;
        const uint32_t type = realized->always_hard ? RASTER_FONTTYPE : TRUETYPE_FONTTYPE;
        result = proc(&font, &realized->metrics, type, data);
        if (result == 0)
            break;
    }
    return result;
}
