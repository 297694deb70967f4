#include "library/text_conversion.h"

#include <algorithm>
#include <cstring>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "kernel/syntax_table.h"

static uint8_t* bytes_of(std::string& text)
{
    return reinterpret_cast<uint8_t*>(text.data());
}

// Text of characters that a table knows, with some of its control characters.
static std::string random_text(std::mt19937& random, const CharacterTable& table, const char* extra)
{
    std::string text;
    for (uint32_t n = random() % 40; n > 0; --n) {
        const uint8_t c = static_cast<uint8_t>(random());
        if (random() % 5 == 0)
            text += extra[random() % strlen(extra)];
        else if (c >= 0x20 && table[c] != 0)
            text += static_cast<char>(c);
    }
    return text;
}

TEST(text_conversion, mac_text_comes_back_whole)
{
    std::mt19937 random(3);
    for (int round = 0; round < 5000; ++round) {
        const std::string text = random_text(random, mac_to_ansi, "\r\t\x03");
        std::string work = text;
        const uint32_t length = static_cast<uint32_t>(text.size());
        const uint32_t longer = length_with_line_feeds(bytes_of(work), length);
        ASSERT_EQ(longer, length + std::count(text.begin(), text.end(), '\r'));
        work.resize(longer, '?');
        ASSERT_EQ(convert_mac_text(bytes_of(work), length, CompactText::no), kAllConverted);
        // Each carriage return has a line feed behind it, and there are no others.
        for (size_t i = 0; i < work.size(); ++i)
            EXPECT_EQ(work[i] == '\r', i + 1 < work.size() && work[i + 1] == '\n');
        const uint32_t back = convert_ansi_text(bytes_of(work), longer);
        EXPECT_EQ(work.substr(0, back), text);
    }
}

// The model: line feeds beside a carriage return vanish, others become one.
static std::string model_mac_text(const std::string& text)
{
    std::string result;
    for (size_t i = 0; i < text.size(); ++i) {
        const bool beside = (i > 0 && text[i - 1] == '\r') ||
                            (i + 1 < text.size() && text[i + 1] == '\r');
        if (text[i] != '\n')
            result += static_cast<char>(ansi_to_mac[text[i]]);
        else if (!beside)
            result += '\r';
    }
    return result;
}

TEST(text_conversion, line_ends_of_any_kind_become_carriage_returns)
{
    std::mt19937 random(4);
    for (int round = 0; round < 5000; ++round) {
        const std::string text = random_text(random, ansi_to_mac, "\r\n");
        std::string work = text;
        const uint32_t length =
            convert_ansi_text(bytes_of(work), static_cast<uint32_t>(text.size()));
        EXPECT_EQ(work.substr(0, length), model_mac_text(text));
        work = text;
        const uint32_t left = remove_line_feeds(bytes_of(work), static_cast<uint32_t>(text.size()));
        EXPECT_EQ(work.substr(0, left).find('\n'), std::string::npos);
        EXPECT_EQ(left, text.size() - std::count(text.begin(), text.end(), '\n'));
    }
}

TEST(text_conversion, a_text_that_cannot_be_converted_is_left_alone)
{
    const std::string text = "a\x8e\r\xad z\xb0\r";
    std::string work = text + "  ";
    EXPECT_EQ(convert_mac_text(bytes_of(work), 8, CompactText::no), 0xb0);
    EXPECT_EQ(work, text + "  ");
    EXPECT_EQ(translate_text(mac_to_ansi, bytes_of(work), 8, CompactText::no), 0xad);
    EXPECT_EQ(work, text + "  ");
    EXPECT_EQ(translate_text(iso_to_mac, bytes_of(work), 8, CompactText::no), 0x8e);
    EXPECT_EQ(translate_text(mac_to_ansi, bytes_of(work), 3, CompactText::no), kAllConverted);
    EXPECT_EQ(work.substr(0, 3), "a\xe9\r");
}

TEST(text_conversion, codes_of_the_compact_form_keep_their_operands)
{
    reset_syntax_table();
    struct Row {
        const char* text;
        size_t length;
        const char* wanted;
    };
    const Row rows[] = {
        { "\x8e\x01\x8e", 3, "\xe9\x01\xe9" },              // fixed entries have no operands
        { "\x10\xad\x8e", 3, "\x10\xad\xe9" },              // a near symbol has one
        { "\x08\xad\xad\x8e", 4, "\x08\xad\xad\xe9" },      // a far one two
        { "\x0b\xff\x8e", 3, "\x0b\xff\xe9" },
        { "\x0c\xff\x01\x8e", 4, "\x0c\xff\x01\xe9" },
        { "\x0e\xad\x0c\x8e", 4, "\x0e\xad\x0c\xe9" },
        { "\x8e\x0c", 2, "\xe9\x0c" },                      // cut off
        { "\x03\x8e", 2, "\x03\xe9" },                      // 3 has an equivalent
    };
    for (const Row& row : rows) {
        std::string work(row.text, row.length);
        const uint32_t length = static_cast<uint32_t>(row.length);
        EXPECT_EQ(translate_text(mac_to_ansi, bytes_of(work), length, CompactText::yes),
                  kAllConverted);
        EXPECT_EQ(work, row.wanted);
    }
    std::string bad("\x10\xad\xad", 3);
    EXPECT_EQ(translate_text(mac_to_ansi, bytes_of(bad), 3, CompactText::yes), 0xad);
}
