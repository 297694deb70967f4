#include "platform/characters.h"

#include <random>
#include <string>

#include <gtest/gtest.h>

TEST(characters, case_and_accents_fold_as_the_alphabet_says)
{
    struct Row {
        uint8_t c, upper, lower, bare, order;
    };
    const Row rows[] = {
        { 'a', 'A', 'a', 'a', 'A' },      { 'Z', 'Z', 'z', 'Z', 'Z' },
        { '@', '@', '@', '@', '@' },      { '[', '[', '[', '[', '[' },
        { 0xe9, 0xc9, 0xe9, 'e', 'E' },   { 0xc9, 0xc9, 0xe9, 'E', 'E' },
        { 0xe7, 0xc7, 0xe7, 'c', 'C' },   { 0xfc, 0xdc, 0xfc, 'u', 'U' },
        { 0xe6, 0xc6, 0xe6, 0xe6, 0xe6 }, { 0xf1, 0xd1, 0xf1, 0xf1, 0xf1 },
        { 0xd8, 0xd8, 0xf8, 0xd8, 0xd8 }, { 0xd7, 0xd7, 0xd7, 0xd7, 0xd7 },
        { 0xf7, 0xf7, 0xf7, 0xf7, 0xf7 }, { 0xd0, 0xd0, 0xd0, 0xd0, 0xd0 },
        { 0xf0, 0xf0, 0xf0, 0xf0, 0xf0 }, { 0xdd, 0xdd, 0xdd, 0xdd, 0xdd },
        { 0xff, 0xff, 0xff, 0xff, 0xff }, { 0xdf, 0xdf, 0xdf, 0xdf, 0xdf },
    };
    for (const Row& row : rows) {
        EXPECT_EQ(upper_table[row.c], row.upper) << int(row.c);
        EXPECT_EQ(lower_table[row.c], row.lower) << int(row.c);
        EXPECT_EQ(accent_table[row.c], row.bare) << int(row.c);
        EXPECT_EQ(order_table[row.c], row.order) << int(row.c);
    }
    for (int c = 0; c < 256; ++c)
        EXPECT_EQ(lower_table[upper_table[c]], lower_table[c]) << c;
}

TEST(characters, what_goes_from_mac_to_ansi_comes_back)
{
    int converted = 0;
    for (int c = 1; c < 256; ++c)
        if (mac_to_ansi[c]) {
            EXPECT_EQ(ansi_to_mac[mac_to_ansi[c]], c);
            ++converted;
        }
    EXPECT_EQ(converted, 4 + 95 + 103);
    for (int c = 0; c < 32; ++c) {
        const bool kept = c == 3 || c == 9 || c == 10 || c == 13;
        EXPECT_EQ(mac_to_ansi[c], kept ? c : 0);
        EXPECT_EQ(iso_to_mac[c], kept && c != 3 ? c : 0);
    }
    EXPECT_EQ(mac_to_ansi[0x7f], 0);
    EXPECT_EQ(iso_to_mac[0xe9], 0x8e);
    EXPECT_EQ(iso_to_mac[0x80], 0);
}

static std::string folded(const std::string& text)
{
    std::string result;
    for (const char c : text)
        result += static_cast<char>(order_table[c]);
    return result;
}

// The model: by the folded texts, and by the bytes where these are equal.
static int model(const std::string& a, const std::string& b)
{
    const int by_fold = folded(a).compare(folded(b));
    return by_fold ? by_fold : a.compare(b);
}

TEST(characters, collation_agrees_with_the_model)
{
    const auto sign = [](int i) { return i < 0 ? -1 : i > 0; };
    const std::string letters = "aAbBeE\xe9\xc9 \xe6\xff";
    std::mt19937 random(20);
    for (int round = 0; round < 20000; ++round) {
        std::string texts[2];
        for (std::string& text : texts)
            for (uint32_t n = random() % 5; n > 0; --n)
                text += letters[random() % letters.size()];
        EXPECT_EQ(sign(compare_collated(texts[0].c_str(), texts[1].c_str())),
                  sign(model(texts[0], texts[1])))
            << texts[0] << " against " << texts[1];
    }
}

TEST(characters, equality_through_a_table_ends_with_the_shorter)
{
    EXPECT_TRUE(equal_through(upper_table, "\xe9tat", "\xc9TAT"));
    EXPECT_FALSE(equal_through(upper_table, "\xe9tat", "etat"));
    EXPECT_TRUE(equal_through(order_table, "\xe9tat", "ETAT"));
    EXPECT_FALSE(equal_through(upper_table, "ab", "abc"));
    EXPECT_FALSE(equal_through(upper_table, "abc", "ab"));
}
