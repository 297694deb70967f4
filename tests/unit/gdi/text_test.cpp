// Text with the Liberation faces, and bitmap fonts.
#include "canvas.h"

#include <cstring>

namespace {

HFONT make_font(const char* face, int height, int weight = FW_NORMAL, bool italic = false)
{
    LOGFONTA font;
    font.lfHeight = height;
    font.lfWeight = weight;
    font.lfItalic = italic;
    strcpy(font.lfFaceName, face);
    return CreateFontIndirectA(font);
}

TEXTMETRICA metrics_of(Canvas& canvas)
{
    TEXTMETRICA m;
    EXPECT_TRUE(GetTextMetricsA(canvas.dc, &m));
    return m;
}

int extent(Canvas& canvas, const std::string& text)
{
    SIZE size;
    EXPECT_TRUE(GetTextExtentPointA(canvas.dc, text.data(), int(text.size()), &size));
    return size.cx;
}

// A font of the format 3 with the characters A (3 wide) and B (10 wide), 4 rows.
std::vector<uint8_t> make_fnt()
{
    std::vector<uint8_t> f(148 + 2 * 6);
    const auto half = [&](size_t at, int v) { f[at] = uint8_t(v), f[at + 1] = uint8_t(v >> 8); };
    half(0, 0x300);
    half(74, 3);
    half(83, 400);
    half(88, 4);
    half(91, 3);
    half(93, 10);
    f[95] = 'A', f[96] = 'B';
    half(148, 3), half(150, 160);
    half(154, 10), half(156, 164);
    const uint8_t bits[] = {
        0xE0, 0xA0, 0xE0, 0xA0, 0xFF, 0x80, 0x80, 0xFF, 0xC0, 0x40, 0x40, 0xC0
    };
    f.insert(f.end(), bits, bits + sizeof bits);
    half(105, int(f.size()));
    for (const char c : std::string("Tiny"))
        f.push_back(uint8_t(c));
    f.push_back(0);
    return f;
}

} // namespace

TEST(Text, a_negative_height_is_the_characters_and_a_positive_one_the_cell)
{
    Canvas canvas(10, 10);
    for (int size : { 9, 12, 18, 36, 72 }) {
        canvas.use(make_font("Liberation Sans", -size));
        const TEXTMETRICA m = metrics_of(canvas);
        EXPECT_EQ(m.tmHeight - m.tmInternalLeading, size);
        EXPECT_EQ(m.tmHeight, m.tmAscent + m.tmDescent);
        canvas.use(make_font("Liberation Sans", size));
        EXPECT_NEAR(metrics_of(canvas).tmHeight, size, 1);
    }
}

TEST(Text, widths_add_up_and_weights_differ)
{
    Canvas canvas(10, 10);
    canvas.use(make_font("Liberation Sans", -40));
    int widths[256];
    EXPECT_TRUE(GetCharWidthA(canvas.dc, 0, 255, widths));
    EXPECT_FALSE(GetCharWidthA(canvas.dc, 10, 256, widths));
    EXPECT_EQ(widths['M'], 33);  // 1706 of 2048 units
    EXPECT_EQ(widths['i'], 9);   // 455
    EXPECT_EQ(widths[0x80], 22); // the euro sign, 1139
    EXPECT_EQ(extent(canvas, "Mi\x80"), 33 + 9 + 22);
    EXPECT_EQ(extent(canvas, ""), 0);
    canvas.use(make_font("Liberation Sans", -40, FW_BOLD));
    EXPECT_EQ(extent(canvas, "i"), 11);  // 569
    EXPECT_EQ(metrics_of(canvas).tmWeight, FW_BOLD);
    canvas.use(make_font("Liberation Mono", -40));
    EXPECT_EQ(extent(canvas, "iiii"), extent(canvas, "MMMM"));
    EXPECT_EQ(metrics_of(canvas).tmPitchAndFamily & TMPF_FIXED_PITCH, 0);
}

TEST(Text, missing_faces_get_a_stand_in)
{
    Canvas canvas(10, 10);
    const char* const rows[][2] = { { "Arial", "Liberation Sans" },
                                    { "MS Sans Serif", "Liberation Sans" },
                                    { "Times New Roman", "Liberation Serif" },
                                    { "Courier New", "Liberation Mono" },
                                    { "No Such Face At All", "Liberation Sans" } };
    for (const auto& row : rows) {
        canvas.use(make_font(row[0], -12));
        char name[32];
        EXPECT_EQ(GetTextFaceA(canvas.dc, 32, name), int(strlen(row[1])) + 1);
        EXPECT_STREQ(name, row[1]) << row[0];
    }
}

static RECT ink(const Canvas& canvas)
{
    RECT box = { canvas.width, canvas.height, 0, 0 };
    const auto pixels = canvas.colors();
    for (int y = 0; y < canvas.height; y++)
        for (int x = 0; x < canvas.width; x++)
            if (pixels[size_t(y * canvas.width + x)] != 0xFFFFFF)
                box = { std::min(box.left, x), std::min(box.top, y), std::max(box.right, x + 1),
                        std::max(box.bottom, y + 1) };
    return box;
}

TEST(Text, alignment_moves_the_text_and_the_position)
{
    Canvas canvas(200, 60);
    canvas.use(make_font("Liberation Sans", -20));
    SetBkMode(canvas.dc, TRANSPARENT);
    const int width = extent(canvas, "HH"), ascent = metrics_of(canvas).tmAscent,
              descent = metrics_of(canvas).tmDescent;
    TextOutA(canvas.dc, 100, 10, "HH", 2);
    const RECT at = ink(canvas);
    const struct {
        uint32_t align;
        int x, y;
    } rows[] = { { TA_RIGHT, 100 + width, 10 }, { TA_CENTER, 100 + width / 2, 10 },
                 { TA_BASELINE, 100, 10 + ascent }, { TA_BOTTOM, 100, 10 + ascent + descent } };
    for (const auto& row : rows) {
        canvas.clear(RGB(255, 255, 255));
        SetTextAlign(canvas.dc, row.align);
        TextOutA(canvas.dc, row.x, row.y, "HH", 2);
        EXPECT_EQ(ink(canvas), at) << row.align;
    }
    canvas.clear(RGB(255, 255, 255));
    SetTextAlign(canvas.dc, TA_BASELINE | TA_UPDATECP);
    MoveToEx(canvas.dc, 100, 10 + ascent, nullptr);
    TextOutA(canvas.dc, 0, 0, "H", 1);
    TextOutA(canvas.dc, 0, 0, "H", 1);
    EXPECT_EQ(ink(canvas), at);
    POINT p;
    GetCurrentPositionEx(canvas.dc, &p);
    EXPECT_EQ(p, (POINT{ 100 + width, 10 + ascent }));
    SetTextAlign(canvas.dc, TA_RIGHT | TA_UPDATECP);
    TextOutA(canvas.dc, 0, 0, "HH", 2);
    GetCurrentPositionEx(canvas.dc, &p);
    EXPECT_EQ(p.x, 100);
}

TEST(Text, edges_are_soft_on_24_and_32_bits_only)
{
    for (int depth : { 1, 4, 8, 16, 24, 32 }) {
        for (bool smooth : { true, false }) {
            SetFontSmoothing(smooth);
            Canvas canvas(60, 30, depth);
            canvas.use(make_font("Liberation Serif", -20));
            TextOutA(canvas.dc, 0, 0, "Sag", 3);
            bool grey = false, black = false;
            for (const uint32_t c : canvas.colors()) {
                black |= c == 0;
                grey |= c != 0 && c != 0xFFFFFF;
            }
            EXPECT_TRUE(black);
            EXPECT_EQ(grey, smooth && depth >= 24) << depth;
        }
    }
    SetFontSmoothing(true);
}

TEST(Text, an_opaque_ground_is_the_cell)
{
    Canvas canvas(80, 40);
    canvas.use(make_font("Liberation Sans", -16));
    SetBkColor(canvas.dc, RGB(0, 255, 0));
    TextOutA(canvas.dc, 7, 5, "no", 2);
    EXPECT_EQ(ink(canvas),
              (RECT{ 7, 5, 7 + extent(canvas, "no"), 5 + metrics_of(canvas).tmHeight }));
    canvas.clear(RGB(255, 255, 255));
    EXPECT_TRUE(TextOutA(canvas.dc, 7, 5, nullptr, 0));
    EXPECT_FALSE(TextOutA(canvas.dc, 7, 5, nullptr, 2));
    EXPECT_FALSE(TextOutA(canvas.dc, 7, 5, "x", -1));
    EXPECT_EQ(ink(canvas).right, 0);
}

TEST(Text, gallery_of_styles)
{
    Canvas canvas(320, 150);
    SetBkMode(canvas.dc, TRANSPARENT);
    int y = 2;
    for (const char* face : { "Liberation Sans", "Liberation Serif", "Liberation Mono" }) {
        canvas.use(make_font(face, -16));
        TextOutA(canvas.dc, 4, y, "Hamburgefonts \xE4\xF6\xFC \x80", 19);
        canvas.use(make_font(face, -16, FW_BOLD, true));
        TextOutA(canvas.dc, 190, y, "Bold italic", 11);
        y += 24;
    }
    LOGFONTA font;
    font.lfHeight = -24;
    font.lfUnderline = font.lfStrikeOut = 1;
    strcpy(font.lfFaceName, "Liberation Sans");
    canvas.use(CreateFontIndirectA(font));
    SetTextColor(canvas.dc, RGB(160, 0, 0));
    TextOutA(canvas.dc, 4, y, "Struck and underlined", 21);
    SetFontSmoothing(false);
    canvas.use(make_font("Liberation Sans", -16));
    TextOutA(canvas.dc, 4, y + 34, "Hard edges, Hamburgefonts", 25);
    SetFontSmoothing(true);
    expect_golden(canvas, "text");
}

TEST(Text, bitmap_fonts_of_format_3)
{
    const std::vector<uint8_t> fnt = make_fnt();
    for (size_t size = 0; size < fnt.size() - 1; size++)
        AddFontMemory(std::vector<uint8_t>(fnt.begin(), fnt.begin() + ptrdiff_t(size)).data(),
                      size);
    EXPECT_TRUE(RemoveFontMemory("Tiny") || true);
    EXPECT_EQ(AddFontMemory(fnt.data(), fnt.size()), 1);
    Canvas canvas(14, 5);
    canvas.use(make_font("tiny", -4));
    EXPECT_EQ(extent(canvas, "AB"), 13);
    EXPECT_EQ(metrics_of(canvas).tmAscent, 3);
    SetBkMode(canvas.dc, TRANSPARENT);
    TextOutA(canvas.dc, 0, 0, "AB", 2);
    EXPECT_EQ(canvas.art(), "#############.\n"
                            "#.##........#.\n"
                            "####........#.\n"
                            "#.###########.\n"
                            "..............\n");
    canvas.use(make_font("Tiny", -8));  // twice the size: whole factors
    EXPECT_EQ(extent(canvas, "A"), 6);
    EXPECT_TRUE(RemoveFontMemory("TINY"));
    EXPECT_FALSE(RemoveFontMemory("Tiny"));
    std::vector<uint8_t> wild = fnt;
    wild[151] = 0xFF;  // the bits of A beyond the end
    EXPECT_EQ(AddFontMemory(wild.data(), wild.size()), 0);
}

static int collect(const LOGFONTA* font, const TEXTMETRICA* metrics, uint32_t, void* data)
{
    EXPECT_GT(metrics->tmHeight, 0);
    static_cast<std::vector<std::string>*>(data)->push_back(font->lfFaceName);
    return 1;
}

TEST(Text, faces_are_enumerated_once)
{
    Canvas canvas(2, 2);
    std::vector<std::string> names;
    EXPECT_EQ(EnumFontsA(canvas.dc, nullptr, collect, &names), 1);
    EXPECT_EQ(std::count(names.begin(), names.end(), "Liberation Sans"), 1);
    std::vector<std::string> one;
    EnumFontsA(canvas.dc, "liberation mono", collect, &one);
    EXPECT_EQ(one, (std::vector<std::string>{ "Liberation Mono" }));
}
