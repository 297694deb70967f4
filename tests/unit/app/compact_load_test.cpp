#include "app/compact_load.h"

#include <gtest/gtest.h>

using namespace std::string_literals;

static std::string compact(const std::string& text)
{
    SymbolTable symbols;
    return compact_load(text, &symbols);
}

TEST(CompactLoad, names_integers_and_variables_become_bytes)
{
    EXPECT_EQ(compact("(define x 5)"), "(\0\x0f\0\x0b\x05)"s);
    EXPECT_EQ(compact("-129 32767 -1"), "\x0c\xff\x7f\x0c\x7f\xff\x0b\xff"s);
    EXPECT_EQ(compact("_x :k"), "\x0e\0\x08\x0f\x01"s);
    EXPECT_EQ(compact("'a ; gone\r b"), "'\x0f\0\x0f\x01"s);
}

TEST(CompactLoad, what_cannot_be_replaced_safely_stays_text)
{
    for (const char* text : { "32768", "1.5", "1e5", "+5", "e5", "a\\ b", "\"a ; (b\\\"\"",
                              "#\\space", "#\\(", "`", ",a", ".", "1.5.5" })
        EXPECT_EQ(compact(text), text);
    EXPECT_EQ(compact("1.5 2.5 \"x\" y"), "1.5 2.5\"x\"\x0f\0"s);
    EXPECT_EQ(compact("#\\a #\\b"), "#\\a#\\b");
}

TEST(CompactLoad, references_past_the_short_ones_take_two_bytes)
{
    SymbolTable symbols;
    for (int i = 0; i < 4352; i++)
        ASSERT_EQ(symbols.index_of("n" + std::to_string(i)), i + 8);
    EXPECT_EQ(compact_load("n4351", &symbols), "\x1f\xff"s);
    EXPECT_EQ(compact_load("last", &symbols), "\x08\x11\x08"s);
    EXPECT_EQ(symbols.count(), 4353u);
    EXPECT_EQ(symbols.resource().substr(0, 5), "\x11\x01n0\0"s);
}

TEST(CompactLoad, a_check_finds_references_that_lead_nowhere)
{
    EXPECT_EQ(check_compact_load("(\x07 \x0f\x00 \"\x0f\" ; \x0f\r #\\\x0f)"s, 1), nullptr);
    for (const std::string& load :
         { "\x0f"s, "\x0f\x01"s, "\x0e\x00"s, "\x08\x00\x09"s, "\x0b"s, "\"abc"s })
        EXPECT_NE(check_compact_load(load, 1), nullptr) << load;
}
