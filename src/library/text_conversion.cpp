#include "library/text_conversion.h"

#include <algorithm>
#include <cstring>

#include "kernel/syntax_table.h"

constexpr uint8_t kReturn = 13;
constexpr uint8_t kLineFeed = 10;

// Bytes that belong to a code of the compact form.
static uint32_t compact_operands(uint8_t c)
{
    switch (syntax_table[c]) {
    case kSyntaxNearSymbol:
    case kSyntaxByte:
        return 1;
    case kSyntaxFarSymbol:
    case kSyntaxWord:
    case kSyntaxVariable:
        return 2;
    default:
        return 0;
    }
}

// Calls change for each byte that has an equivalent; the first that has none ends it.
template <class Change>
static int walk_text(const CharacterTable& table, const uint8_t* text, uint32_t length,
                     CompactText compact, Change change)
{
    for (uint32_t i = 0; i < length; ++i) {
        if (table[text[i]] != 0)
            change(i);
        else if (compact == CompactText::yes && text[i] < 0x20)
            i += compact_operands(text[i]);
        else
            return text[i];
    }
    return kAllConverted;
}

int translate_text(const CharacterTable& table, uint8_t* text, uint32_t length, CompactText compact)
{
    const int bad = walk_text(table, text, length, compact, [](uint32_t) {});
    if (bad == kAllConverted)
        walk_text(table, text, length, compact, [&](uint32_t i) { text[i] = table[text[i]]; });
    return bad;
}

bool has_line_feed(const uint8_t* text, uint32_t length)
{
    return length > 0 && memchr(text, kLineFeed, length) != nullptr;
}

uint32_t length_with_line_feeds(const uint8_t* text, uint32_t length)
{
    return length + static_cast<uint32_t>(std::count(text, text + length, kReturn));
}

int convert_mac_text(uint8_t* text, uint32_t length, CompactText compact)
{
    const auto stays = [&](uint8_t c) { return compact == CompactText::yes && c < 0x20; };
    for (uint32_t i = length; i-- > 0;)
        if (mac_to_ansi[text[i]] == 0 && !stays(text[i]))
            return text[i];
    uint32_t to = length_with_line_feeds(text, length);
    for (uint32_t i = length; i-- > 0;) {
        const uint8_t c = text[i];
        if (c == kReturn)
            text[--to] = kLineFeed;
        text[--to] = stays(c) ? c : mac_to_ansi[c];
    }
    return kAllConverted;
}

uint32_t convert_ansi_text(uint8_t* text, uint32_t length)
{
    uint32_t to = 0;
    uint8_t before = 0;
    for (uint32_t i = 0; i < length; ++i) {
        const uint8_t c = text[i];
        const uint8_t after = i + 1 < length ? text[i + 1] : 0;
        if (c != kLineFeed)
            text[to++] = ansi_to_mac[c];
        else if (before != kReturn && after != kReturn)
            text[to++] = kReturn;
        before = c;
    }
    return to;
}

uint32_t remove_line_feeds(uint8_t* text, uint32_t length)
{
    return static_cast<uint32_t>(std::remove(text, text + length, kLineFeed) - text);
}
