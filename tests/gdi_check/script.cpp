#include "script.h"

#include "sha1.h"

#include "platform/gdi.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <stdexcept>

static Tokens split(std::string line)
{
    line.resize(std::min(line.size(), line.find('#')));
    std::istringstream in(line);
    Tokens words;
    for (std::string word; in >> word;)
        words.push_back(word);
    return words;
}

bool read_formats(const std::string& path, Formats* formats)
{
    std::ifstream in(path);
    for (std::string line; std::getline(in, line);) {
        const Tokens words = split(line);
        if (words.size() < 2)
            continue;
        if (words[0] == "format")
            formats->surfaces[words[1]] = Tokens(words.begin() + 2, words.end());
        else if (words[0] == "palette")
            formats->palettes[words[1]] = Tokens(words.begin() + 2, words.end());
    }
    return in.eof();
}

bool read_cases(const std::string& path, std::vector<Case>* cases)
{
    std::ifstream in(path);
    int number = 0;
    bool inside = false;
    for (std::string line; std::getline(in, line);) {
        number++;
        const Tokens words = split(line);
        if (words.empty())
            continue;
        if (words[0] == "case" && words.size() > 1) {
            cases->push_back({ words[1], {} });
            inside = true;
        } else if (words[0] == "end") {
            inside = false;
        } else if (inside) {
            cases->back().statements.push_back({ number, words });
        }
    }
    return in.eof();
}

// ---- running

namespace {

struct Picture {
    HBITMAP handle;
    bool device = false;              // a CreateBitmap one
    std::vector<uint8_t> info;        // BITMAPINFO of a DIB
    uint8_t* bits = nullptr;          // of a DIB section
    size_t size = 0;
    size_t stride = 0;
};

class Runner {
public:
    Runner(const Formats& formats, const std::string& format);
    ~Runner();
    void step(const Tokens& words);
    std::string expect(const Tokens& words);
    std::string trouble;  // a step that answered something else than the script says
    void begin_path() { BeginPath(dc_); }

private:
    const std::string& word(size_t i) const;
    int number(size_t i) const { return int(strtoll(word(i).c_str(), nullptr, 10)); }
    uint32_t hex(size_t i) const { return uint32_t(strtoul(word(i).c_str(), nullptr, 16)); }
    COLORREF color(size_t i) const;
    Picture& picture(const std::string& name);
    void make_picture(const std::string& name, size_t first, bool device, bool filled);
    std::vector<uint8_t> contents(size_t first, const Picture& picture, int width, int bits) const;
    std::vector<uint8_t> read_bits(const Picture& picture) const;
    void write_bits(const Picture& picture, const std::vector<uint8_t>& bytes);
    void select(HGDIOBJ object);
    bool draw();
    bool set_state();
    void make_pen();
    void make_ext_pen();
    void make_brush();
    void make_region();
    void stretch_dib_bits();
    std::string check_hash();
    std::string check_dwords();
    std::string check_others();
    std::string check_path();
    std::string check_points() const;
    std::string check_region();
    std::string check_clip();

    const Formats& formats_;
    Tokens words_;
    HDC dc_;
    std::map<std::string, HDC> dcs_;
    std::map<std::string, Picture> pictures_;
    std::map<std::string, HRGN> regions_;
    std::map<std::string, std::vector<bool>> named_;  // dwords that expectations named
    std::vector<HGDIOBJ> objects_;
    std::vector<POINT> points_;
};

} // namespace

const std::string& Runner::word(size_t i) const
{
    if (i >= words_.size())
        throw std::runtime_error("a word is missing behind " + words_[0]);
    return words_[i];
}

static COLORREF rgb_word(const std::string& word)
{
    const uint32_t v = uint32_t(strtoul(word.c_str(), nullptr, 16));
    return RGB(v >> 16, v >> 8, v);
}

COLORREF Runner::color(size_t i) const
{
    const std::string& w = word(i);
    if (w.compare(0, 6, "index:") == 0)
        return PALETTEINDEX(uint32_t(atoi(w.c_str() + 6)));
    if (w.compare(0, 4, "dib:") == 0)
        return DIBINDEX(uint32_t(atoi(w.c_str() + 4)));
    return rgb_word(w);
}

Runner::Runner(const Formats& formats, const std::string& format) : formats_(formats)
{
    const auto found = formats.surfaces.find(format);
    if (found == formats.surfaces.end())
        throw std::runtime_error("no format " + format);
    words_ = found->second;
    const bool device = words_[0] == "ddb";
    make_picture("main", device ? 1 : 0, device, false);
    Picture& main = pictures_["main"];
    write_bits(main, std::vector<uint8_t>(main.size, 0xCC));
    dc_ = dcs_["main"] = CreateCompatibleDC(nullptr);
    SelectObject(dc_, main.handle);
}

Runner::~Runner()
{
    for (const auto& [name, dc] : dcs_)
        DeleteDC(dc);
    for (const auto& [name, picture] : pictures_)
        DeleteObject(picture.handle);
    for (const auto& [name, region] : regions_)
        DeleteObject(region);
    for (const HGDIOBJ object : objects_)
        DeleteObject(object);
}

Picture& Runner::picture(const std::string& name)
{
    const auto found = pictures_.find(name);
    if (found == pictures_.end())
        throw std::runtime_error("no bitmap " + name);
    return found->second;
}

// The words are W H BPP rgb|colors ..., and the contents behind them.
void Runner::make_picture(const std::string& name, size_t first, bool device, bool filled)
{
    Picture p;
    p.device = device;
    const int width = number(first), height = number(first + 1), bits = number(first + 2);
    size_t next = first + 3;
    if (device) {
        p.handle = CreateBitmap(width, height, 1, uint32_t(bits), nullptr);
        p.stride = size_t((width * bits + 15) / 16 * 2);
    } else {
        BITMAPINFO info = {};
        info.bmiHeader.biWidth = width;
        info.bmiHeader.biHeight = height;
        info.bmiHeader.biBitCount = uint16_t(bits);
        uint32_t colors = 0;
        const bool table = word(next++) == "colors";
        for (; table && next < words_.size() && words_[next].size() == 6
               && words_[next].find_first_not_of("0123456789abcdef") == std::string::npos;
             next++) {
            const uint32_t v = hex(next);
            info.bmiColors[colors++] = { uint8_t(v), uint8_t(v >> 8), uint8_t(v >> 16), 0 };
        }
        info.bmiHeader.biClrUsed = colors;
        void* memory = nullptr;
        p.handle = CreateDIBSection(nullptr, &info, DIB_RGB_COLORS, &memory);
        p.bits = static_cast<uint8_t*>(memory);
        p.stride = size_t((int64_t(width) * bits + 31) / 32 * 4);
        const uint8_t* bytes = reinterpret_cast<const uint8_t*>(&info);
        p.info.assign(bytes, bytes + sizeof(BITMAPINFOHEADER) + 4 * colors);
    }
    if (!p.handle)
        throw std::runtime_error("bitmap " + name + " was refused");
    p.size = p.stride * size_t(std::abs(height));
    if (filled)
        write_bits(p, contents(next, p, width, bits));
    const auto old = pictures_.find(name);
    if (old != pictures_.end())
        DeleteObject(old->second.handle);
    pictures_[name] = p;
}

static void generate(const std::string& how, std::vector<uint8_t>* out, size_t stride, int width,
                     int bits)
{
    const int rows = int(out->size() / stride);
    for (int y = 0; y < rows; y++) {
        for (int x = 0; x < width; x++) {
            uint8_t* row = out->data() + stride * size_t(y);
            if (how == "argbramp") {
                const uint32_t a = uint8_t(2 * (x + y));
                const uint32_t r = uint8_t(y + 2 * x) * a / 255, g = uint8_t(x + y / 3) * a / 255,
                               b = uint8_t(x / 3 + 2 * y) * a / 255;
                const uint32_t v = a << 24 | b << 16 | g << 8 | r;
                memcpy(row + 4 * x, &v, 4);
            } else if (how == "lin24") {
                row[3 * x] = uint8_t(x + 3 * y);
                row[3 * x + 1] = uint8_t(2 * x + 7 * y);
                row[3 * x + 2] = uint8_t(5 * x + 12 * y);
            } else if (how == "mix16") {
                const uint16_t v = uint16_t(x | x << 4 | x << 8 | y << 3 | y << 7);
                memcpy(row + 2 * x, &v, 2);
            } else if (how == "lin8") {
                row[x] = uint8_t(3 * x + 5 * y);
            } else if (how == "lin4") {
                if (x % 2 == 0)
                    row[x / 2] = uint8_t(7 * x + 3 * y);
            } else if (x % (8 / bits) == 0) {
                row[x / 8] = uint8_t(7 * x + 3 * y);
            }
        }
    }
}

std::vector<uint8_t> Runner::contents(size_t first, const Picture& p, int width, int bits) const
{
    std::vector<uint8_t> out(p.size, 0);
    const std::string& kind = word(first);
    if (kind == "bytes") {
        const std::string& digits = word(first + 1);
        for (size_t i = 0; i < out.size() && 2 * i + 1 < digits.size(); i++)
            out[i] = uint8_t(strtoul(digits.substr(2 * i, 2).c_str(), nullptr, 16));
    } else if (kind == "dwords") {
        for (size_t i = 0; first + 1 + i < words_.size() && 4 * i + 4 <= out.size(); i++) {
            const uint32_t v = hex(first + 1 + i);
            memcpy(&out[4 * i], &v, 4);
        }
    } else if (kind == "gen") {
        generate(word(first + 1), &out, p.stride, width, bits);
    }
    return out;
}

std::vector<uint8_t> Runner::read_bits(const Picture& p) const
{
    std::vector<uint8_t> bytes(p.size);
    if (p.device)
        GetBitmapBits(p.handle, int(bytes.size()), bytes.data());
    else
        memcpy(bytes.data(), p.bits, bytes.size());
    return bytes;
}

void Runner::write_bits(const Picture& p, const std::vector<uint8_t>& bytes)
{
    if (p.device)
        SetBitmapBits(p.handle, int(bytes.size()), bytes.data());
    else
        memcpy(p.bits, bytes.data(), bytes.size());
}

void Runner::select(HGDIOBJ object)
{
    if (!object || !SelectObject(dc_, object))
        throw std::runtime_error(words_[0] + " was refused");
    objects_.push_back(object);
}

static int index_in(const std::string& word, std::initializer_list<const char*> names)
{
    int i = 0;
    for (const char* name : names) {
        if (word == name)
            return i;
        i++;
    }
    throw std::runtime_error("unknown word " + word);
}

static int pen_style(const std::string& word)
{
    return index_in(word, { "solid", "dash", "dot", "dashdot", "dashdotdot", "null", "insideframe",
                            "userstyle", "alternate" });
}

void Runner::make_pen()
{
    if (word(1) == "null")
        select(CreatePen(PS_NULL, 0, 0));
    else
        select(CreatePen(pen_style(word(1)), number(2), color(3)));
}

void Runner::make_ext_pen()
{
    uint32_t style = word(1) == "geometric" ? uint32_t(PS_GEOMETRIC) : uint32_t(PS_COSMETIC);
    style |= uint32_t(pen_style(word(2)));
    style |= uint32_t(index_in(word(4), { "round", "square", "flat" })) << 8;
    style |= uint32_t(index_in(word(5), { "round", "bevel", "miter" })) << 12;
    LOGBRUSH brush;
    if (word(6) == "pattern") {
        brush.lbStyle = BS_PATTERN;
        brush.lbHatch = picture(word(7)).handle.value;
    } else {
        brush.lbColor = color(7);
    }
    select(ExtCreatePen(style, uint32_t(number(3)), brush, 0, nullptr));
}

void Runner::make_brush()
{
    const std::string& kind = word(1);
    if (kind == "null") {
        LOGBRUSH none;
        none.lbStyle = BS_NULL;
        select(CreateBrushIndirect(none));
    } else if (kind == "solid") {
        select(CreateSolidBrush(color(2)));
    } else if (kind == "hatch") {
        select(CreateHatchBrush(index_in(word(2), { "horizontal", "vertical", "fdiagonal",
                                                    "bdiagonal", "cross", "diagcross" }),
                                color(3)));
    } else if (kind == "pattern") {
        select(CreatePatternBrush(picture(word(2)).handle));
    } else {
        const Picture& p = picture(word(2));
        std::vector<uint8_t> packed = p.info;
        const std::vector<uint8_t> bits = read_bits(p);
        packed.insert(packed.end(), bits.begin(), bits.end());
        select(CreateDIBPatternBrushPt(packed.data(), DIB_RGB_COLORS));
    }
}

static int combine_mode(const std::string& word)
{
    return 1 + index_in(word, { "and", "or", "xor", "diff", "copy" });
}

void Runner::make_region()
{
    HRGN made;
    if (word(2) == "rect") {
        made = CreateRectRgn(number(3), number(4), number(5), number(6));
    } else if (word(2) == "polypolygon") {
        const int count = number(4);
        std::vector<int> counts;
        std::vector<POINT> points;
        for (int i = 0; i < count; i++)
            counts.push_back(number(5 + size_t(i)));
        for (size_t i = 5 + size_t(count); i + 1 < words_.size(); i += 2)
            points.push_back({ number(i), number(i + 1) });
        made = CreatePolyPolygonRgn(points.data(), counts.data(), count,
                                    word(3) == "winding" ? WINDING : ALTERNATE);
    } else {
        made = CreateRectRgn(0, 0, 0, 0);
        const HRGN a = regions_[word(3)], b = words_.size() > 4 ? regions_[word(4)] : HRGN();
        CombineRgn(made, a, b, combine_mode(word(2)));
    }
    HRGN& place = regions_[word(1)];
    DeleteObject(place);
    place = made;
}

void Runner::stretch_dib_bits()
{
    const Picture& p = picture(word(9));
    const std::vector<uint8_t> bits = read_bits(p);
    const int result = StretchDIBits(dc_, number(1), number(2), number(3), number(4), number(5),
                                     number(6), number(7), number(8), bits.data(),
                                     reinterpret_cast<const BITMAPINFO*>(p.info.data()),
                                     DIB_RGB_COLORS, hex(10));
    if (words_.size() > 12 && result != number(12))
        trouble = "stretchdibits answered " + std::to_string(result);
}

static void take_point(int x, int y, void* points)
{
    static_cast<std::vector<POINT>*>(points)->push_back({ x, y });
}

static int region_type(const std::string& word)
{
    return index_in(word, { "error", "null", "simple", "complex" });
}

bool Runner::set_state()
{
    const std::string& op = words_[0];
    if (op == "dc") {
        HDC& dc = dcs_[word(1)];
        if (!dc)
            dc = CreateCompatibleDC(nullptr);
        dc_ = dc;
    } else if (op == "select") {
        if (!SelectObject(dc_, picture(word(1)).handle))
            throw std::runtime_error("select was refused");
    } else if (op == "pen") {
        make_pen();
    } else if (op == "extpen") {
        make_ext_pen();
    } else if (op == "brush") {
        make_brush();
    } else if (op == "brushorg") {
        SetBrushOrgEx(dc_, number(1), number(2), nullptr);
    } else if (op == "rop2") {
        SetROP2(dc_, number(1));
    } else if (op == "textcolor") {
        SetTextColor(dc_, color(1));
    } else if (op == "bkcolor") {
        SetBkColor(dc_, color(1));
    } else if (op == "bkmode") {
        SetBkMode(dc_, word(1) == "opaque" ? OPAQUE : TRANSPARENT);
    } else if (op == "stretchmode") {
        SetStretchBltMode(dc_, number(1));
    } else if (op == "arcdir") {
        SetArcDirection(dc_, word(1) == "clockwise" ? AD_CLOCKWISE : AD_COUNTERCLOCKWISE);
    } else if (op == "palette") {
        std::vector<PALETTEENTRY> entries;
        for (const std::string& w : formats_.palettes.at(word(1))) {
            const COLORREF c = rgb_word(w);
            entries.push_back({ uint8_t(c), uint8_t(c >> 8), uint8_t(c >> 16), 0 });
        }
        const HPALETTE palette = CreatePalette(entries.data(), int(entries.size()));
        SelectPalette(dc_, palette, false);
        objects_.push_back(palette);
    } else if (op == "region") {
        make_region();
    } else if (op == "clip") {
        SelectClipRgn(dc_, regions_[word(1)]);
    } else if (op == "cliprgn") {
        const HRGN region = word(1) == "null" ? HRGN() : regions_[word(1)];
        const int type = ExtSelectClipRgn(dc_, region, combine_mode(word(2)));
        if (type != region_type(word(4)))
            trouble = "cliprgn answered " + std::to_string(type);
    } else if (op == "bitmap" || op == "ddb") {
        make_picture(word(1), 2, op == "ddb", true);
    } else if (op == "setdwords") {
        const Picture& p = picture(word(1));
        std::vector<uint8_t> bytes = read_bits(p);
        for (size_t i = 3; i < words_.size(); i++) {
            const uint32_t v = hex(i);
            memcpy(&bytes.at((size_t(number(2)) + i - 3) * 4), &v, 4);
        }
        write_bits(p, bytes);
    } else if (op == "pokerow") {
        const Picture& main = picture("main");
        const std::vector<uint8_t> row = read_bits(picture(word(2)));
        std::vector<uint8_t> bytes = read_bits(main);
        const size_t at = size_t(number(1)) * main.stride;
        std::copy_n(row.begin(), std::min(row.size(), bytes.size() - std::min(at, bytes.size())),
                    bytes.begin() + ptrdiff_t(std::min(at, bytes.size())));
        write_bits(main, bytes);
    } else {
        return false;
    }
    return true;
}

bool Runner::draw()
{
    const std::string& op = words_[0];
    const auto n = [this](size_t i) { return number(i); };
    if (op == "moveto") {
        MoveToEx(dc_, n(1), n(2), nullptr);
    } else if (op == "lineto") {
        LineTo(dc_, n(1), n(2));
    } else if (op == "polyline") {
        std::vector<POINT> points;
        for (size_t i = 1; i + 1 < words_.size(); i += 2)
            points.push_back({ n(i), n(i + 1) });
        Polyline(dc_, points.data(), int(points.size()));
    } else if (op == "rectangle") {
        Rectangle(dc_, n(1), n(2), n(3), n(4));
    } else if (op == "roundrect") {
        RoundRect(dc_, n(1), n(2), n(3), n(4), n(5), n(6));
    } else if (op == "ellipse") {
        Ellipse(dc_, n(1), n(2), n(3), n(4));
    } else if (op == "arcto") {
        ArcTo(dc_, n(1), n(2), n(3), n(4), n(5), n(6), n(7), n(8));
    } else if (op == "linedda") {
        LineDDA(n(1), n(2), n(3), n(4), take_point, &points_);
    } else if (op == "patblt") {
        PatBlt(dc_, n(1), n(2), n(3), n(4), hex(5));
    } else if (op == "setpixel") {
        SetPixel(dc_, n(1), n(2), color(3));
    } else if (op == "paintrgn") {
        PaintRgn(dc_, regions_[word(1)]);
    } else if (op == "bitblt") {
        BitBlt(dc_, n(1), n(2), n(3), n(4), dcs_[word(5)], n(6), n(7), hex(8));
    } else if (op == "stretchblt") {
        StretchBlt(dc_, n(1), n(2), n(3), n(4), dcs_[word(5)], n(6), n(7), n(8), n(9), hex(10));
    } else if (op == "stretchdibits") {
        stretch_dib_bits();
    } else if (op == "solidfill") {
        const HBRUSH brush = CreateSolidBrush(color(5));
        const HGDIOBJ old = SelectObject(dc_, brush);
        PatBlt(dc_, n(1), n(2), n(3), n(4), PATCOPY);
        SelectObject(dc_, old);
        DeleteObject(brush);
    } else {
        return false;
    }
    return true;
}

void Runner::step(const Tokens& words)
{
    words_ = words;
    if (!set_state() && !draw())
        throw std::runtime_error("unknown operation " + words_[0]);
}

// ---- expectations; `words_` is the line without its first word

std::string Runner::expect(const Tokens& words)
{
    words_ = Tokens(words.begin() + 1, words.end());
    const std::string& kind = word(0);
    if (kind == "dwords")
        return check_dwords();
    if (kind == "others")
        return check_others();
    if (kind == "points")
        return check_points();
    if (kind == "path")
        return check_path();
    if (kind == "rectin" || kind == "rgnbox")
        return check_region();
    if (kind == "cliprgn" || kind == "rectvisible")
        return check_clip();
    return check_hash();
}

std::string Runner::check_hash()
{
    const std::vector<uint8_t> bytes = read_bits(picture("main"));
    const std::string hash = sha1_hex(bytes.data(), bytes.size());
    if (const char* folder = getenv("GDI_CHECK_DUMP")) {
        std::ofstream out(std::string(folder) + "/" + word(2) + ".bin", std::ios::binary);
        out.write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
    }
    for (size_t i = 2; i < words_.size(); i += 2)
        if (words_[i] == hash)
            return {};
    return "sha1 " + hash;
}

std::string Runner::check_dwords()
{
    const std::vector<uint8_t> bytes = read_bits(picture(word(1)));
    std::vector<bool>& named = named_[word(1)];
    named.resize(bytes.size() / 4);
    const size_t first = size_t(number(2));
    std::string wrong;
    for (size_t i = 3; i < words_.size(); i++) {
        uint32_t v = 0;
        const size_t at = first + i - 3;
        if (at >= named.size())
            return "no such dword";
        memcpy(&v, &bytes[at * 4], 4);
        named[at] = true;
        if (v != hex(i)) {
            char text[64];
            snprintf(text, sizeof text, "dword %zu is %08x ", at, v);
            wrong += text;
        }
    }
    return wrong;
}

std::string Runner::check_others()
{
    const std::vector<uint8_t> bytes = read_bits(picture(word(1)));
    const std::vector<bool>& named = named_[word(1)];
    for (size_t i = 0; i < bytes.size() / 4; i++) {
        uint32_t v;
        memcpy(&v, &bytes[i * 4], 4);
        if ((i >= named.size() || !named[i]) && v != hex(2)) {
            char text[64];
            snprintf(text, sizeof text, "dword %zu is %08x", i, v);
            return text;
        }
    }
    return {};
}

std::string Runner::check_points() const
{
    Tokens got;
    for (const POINT& p : points_)
        got.push_back(std::to_string(p.x) + "," + std::to_string(p.y));
    if (got == Tokens(words_.begin() + 1, words_.end()))
        return {};
    std::string out = "points";
    for (const std::string& w : got)
        out += " " + w;
    return out;
}

std::string Runner::check_path()
{
    EndPath(dc_);
    const int count = GetPath(dc_, nullptr, nullptr, 0);
    std::vector<POINT> points(size_t(std::max(count, 0)));
    std::vector<uint8_t> types(points.size());
    if (count > 0)
        GetPath(dc_, points.data(), types.data(), count);
    std::string got;
    size_t at = 3;  // behind "path tol N"
    bool good = true;
    int bezier = 0;
    const int tolerance = number(2);
    const auto next = [&]() { return at < words_.size() ? words_[at++] : std::string(); };
    for (size_t i = 0; i < points.size(); i++) {
        const int kind = types[i] & ~PT_CLOSEFIGURE;
        std::string letter = kind == PT_MOVETO ? "M" : kind == PT_LINETO ? "L" : "";
        if (kind == PT_BEZIERTO)
            letter = bezier++ % 3 == 0 ? "B" : "";
        std::string w = next();
        int x = 0, y = 0;
        good = good && w.compare(0, letter.size(), letter) == 0
               && sscanf(w.c_str() + std::min(letter.size(), w.size()), "%d,%d", &x, &y) == 2
               && std::abs(x - points[i].x) <= tolerance && std::abs(y - points[i].y) <= tolerance;
        got += " " + letter + std::to_string(points[i].x) + "," + std::to_string(points[i].y);
        if (types[i] & PT_CLOSEFIGURE) {
            got += " Z";
            good = next() == "Z" && good;
        }
    }
    if (points.empty())
        good = next() == "none";
    return good && at >= words_.size() ? "" : "path" + got;
}

std::string Runner::check_region()
{
    if (word(0) == "rectin") {
        const bool in = RectInRegion(regions_[word(1)],
                                     { number(2), number(3), number(4), number(5) });
        return in == (number(6) != 0) ? "" : "rectin " + std::to_string(in);
    }
    RECT box;
    const int type = GetRgnBox(regions_[word(1)], &box);
    const RECT wanted = { number(3), number(4), number(5), number(6) };
    return type == region_type(word(2)) && box == wanted ? "" : "type " + std::to_string(type);
}

std::string Runner::check_clip()
{
    if (word(0) == "rectvisible") {
        const bool seen = RectVisible(dc_, { number(1), number(2), number(3), number(4) });
        return seen == (number(5) != 0) ? "" : "rectvisible " + std::to_string(seen);
    }
    const HRGN region = CreateRectRgn(0, 0, 0, 0);
    const int result = GetClipRgn(dc_, region);
    RECT box;
    const int type = GetRgnBox(region, &box);
    DeleteObject(region);
    if (result != number(1))
        return "cliprgn " + std::to_string(result);
    if (result == 0)
        return {};
    const RECT wanted = { number(3), number(4), number(5), number(6) };
    return type == region_type(word(2)) && box == wanted ? "" : "type " + std::to_string(type);
}

std::string run_case(const Case& script, const Formats& formats, const std::string& format,
                     size_t stop)
{
    try {
        Runner runner(formats, format);
        // A path is gathered from the case's start, when that is what is asked for.
        const Tokens& last = script.statements[stop].words;
        if (last.size() > 1 && last[1] == "path")
            runner.begin_path();
        for (size_t i = 0; i < stop; i++) {
            const Tokens& words = script.statements[i].words;
            if (words[0] != "expect")
                runner.step(words);
            else if (words.size() > 1 && words[1] == "dwords" && last[1] == "others")
                runner.expect(words);  // it names dwords
        }
        const std::string wrong = runner.expect(last);
        return wrong.empty() ? runner.trouble : wrong;
    } catch (const std::exception& e) {
        return e.what();
    }
}
