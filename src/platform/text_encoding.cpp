#include "platform/text_encoding.h"

#include <cstdio>
#include <cstdlib>

#include "platform/characters.h"

// What the bytes 0x80 to 0x9f stand for; all others stand for the code point of their number.
static constexpr uint16_t kUpperCodes[32] = {
    0x20ac, 0x81,   0x201a, 0x192,  0x201e, 0x2026, 0x2020, 0x2021, 0x2c6,  0x2030, 0x160,
    0x2039, 0x152,  0x8d,   0x17d,  0x8f,   0x90,   0x2018, 0x2019, 0x201c, 0x201d, 0x2022,
    0x2013, 0x2014, 0x2dc,  0x2122, 0x161,  0x203a, 0x153,  0x9d,   0x17e,  0x178
};

bool ansi_equal_without_case(std::string_view first, std::string_view second)
{
    if (first.size() != second.size())
        return false;
    for (size_t i = 0; i < first.size(); i++) {
        if (upper_table[static_cast<uint8_t>(first[i])] !=
            upper_table[static_cast<uint8_t>(second[i])])
            return false;
    }
    return true;
}

static uint32_t code_of_ansi(uint8_t byte)
{
    return byte >= 0x80 && byte < 0xa0 ? kUpperCodes[byte - 0x80] : byte;
}

// The byte of a code point, -1 when there is none.
static int ansi_of_code(uint32_t code)
{
    if (code < 0x80 || (code >= 0xa0 && code <= 0xff))
        return static_cast<int>(code);
    for (int i = 0; i < 32; i++) {
        if (kUpperCodes[i] == code)
            return 0x80 + i;
    }
    return -1;
}

static void append_utf8(std::string& text, uint32_t code)
{
    if (code < 0x80) {
        text += static_cast<char>(code);
    } else if (code < 0x800) {
        text += static_cast<char>(0xc0 | code >> 6);
        text += static_cast<char>(0x80 | (code & 0x3f));
    } else if (code < 0x10000) {
        text += static_cast<char>(0xe0 | code >> 12);
        text += static_cast<char>(0x80 | (code >> 6 & 0x3f));
        text += static_cast<char>(0x80 | (code & 0x3f));
    } else {
        text += static_cast<char>(0xf0 | code >> 18);
        text += static_cast<char>(0x80 | (code >> 12 & 0x3f));
        text += static_cast<char>(0x80 | (code >> 6 & 0x3f));
        text += static_cast<char>(0x80 | (code & 0x3f));
    }
}

struct Decoded {
    uint32_t code;
    size_t length;
    bool good; // else code is the byte itself
};

static Decoded decode_utf8(std::string_view text, size_t at)
{
    const uint8_t lead = static_cast<uint8_t>(text[at]);
    if (lead < 0x80)
        return { lead, 1, true };
    const size_t length = lead >= 0xf0 ? 4 : lead >= 0xe0 ? 3 : 2;
    const Decoded bad = { lead, 1, false };
    if (lead < 0xc2 || lead > 0xf4 || at + length > text.size())
        return bad;
    uint32_t code = lead & (0x7f >> length);
    for (size_t i = 1; i < length; i++) {
        const uint8_t next = static_cast<uint8_t>(text[at + i]);
        if ((next & 0xc0) != 0x80)
            return bad;
        code = code << 6 | (next & 0x3f);
    }
    constexpr uint32_t kLeast[5] = { 0, 0, 0x80, 0x800, 0x10000 };
    if (code < kLeast[length] || code > 0x10ffff || (code >= 0xd800 && code < 0xe000))
        return bad;
    return { code, length, true };
}

std::string utf8_from_ansi(std::string_view ansi)
{
    std::string text;
    text.reserve(ansi.size());
    for (const char byte : ansi)
        append_utf8(text, code_of_ansi(static_cast<uint8_t>(byte)));
    return text;
}

std::string ansi_from_utf8(std::string_view utf8, char substitute)
{
    std::string text;
    text.reserve(utf8.size());
    for (size_t at = 0; at < utf8.size();) {
        const Decoded got = decode_utf8(utf8, at);
        const int byte = got.good ? ansi_of_code(got.code) : -1;
        text += byte < 0 ? substitute : static_cast<char>(byte);
        at += got.length;
    }
    return text;
}

std::string ansi_file_name(std::string_view host_name)
{
    std::string name;
    for (size_t at = 0; at < host_name.size();) {
        const Decoded got = decode_utf8(host_name, at);
        const int byte = got.good ? ansi_of_code(got.code) : -1;
        if (byte >= 0 && byte != '<' && byte != '\\' && byte != ':') {
            name += static_cast<char>(byte);
        } else {
            char escape[16];
            snprintf(escape, sizeof escape, got.good ? "<%X>" : "<x%X>", got.code);
            name += escape;
        }
        at += got.length;
    }
    return name;
}

// Takes an escape at the head of the text apart; 0 when there is none, else its length.
static size_t read_escape(std::string_view text, std::string& into)
{
    const size_t end = text.find('>');
    if (end == std::string_view::npos || end < 2 || end > 8)
        return 0;
    const bool raw = text[1] == 'x';
    const std::string digits(text.substr(raw ? 2 : 1, end - (raw ? 2 : 1)));
    if (digits.empty() || digits.find_first_not_of("0123456789ABCDEF") != std::string::npos)
        return 0;
    const unsigned long code = strtoul(digits.c_str(), nullptr, 16);
    if (code == 0 || code == '/' || code > 0x10ffff || (raw && code > 0xff))
        return 0;
    if (raw)
        into += static_cast<char>(code);
    else
        append_utf8(into, static_cast<uint32_t>(code));
    return end + 1;
}

std::string host_file_name(std::string_view ansi_name)
{
    std::string name;
    for (size_t at = 0; at < ansi_name.size();) {
        const size_t escape = ansi_name[at] == '<' ? read_escape(ansi_name.substr(at), name) : 0;
        if (escape == 0)
            append_utf8(name, code_of_ansi(static_cast<uint8_t>(ansi_name[at])));
        at += escape == 0 ? 1 : escape;
    }
    return name;
}
