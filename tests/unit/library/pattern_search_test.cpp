// The search against the plainest one: try every pattern at every place.
#include "library/pattern_search.h"

#include <gtest/gtest.h>
#include <cstring>
#include <random>

#include "platform/characters.h"

using Match = PatternSearch::Match;

static bool equal_bytes(uint8_t a, uint8_t b, const uint8_t* fold)
{
    return fold ? fold[a] == fold[b] : a == b;
}

static bool fits(const std::string& pattern, const std::string& text, size_t at, const uint8_t* fold)
{
    for (size_t i = 0; i < pattern.size(); ++i)
        if (!equal_bytes(static_cast<uint8_t>(pattern[i]), static_cast<uint8_t>(text[at + i]), fold))
            return false;
    return true;
}

static bool plain_search(const std::vector<std::string>& patterns, const std::string& text, size_t start,
                         size_t end, bool backward, const uint8_t* fold, PatternSearch::Accept accept, Match* match)
{
    for (size_t n = 0; n <= end - start; ++n)
        for (uint32_t p = 0; p < patterns.size(); ++p) {
            const size_t length = patterns[p].size();
            if (length == 0 || length > end - start)
                continue;
            if (backward ? end - n < start + length : start + n + length > end)
                continue;
            const size_t at = backward ? end - n - length : start + n;
            *match = { p, static_cast<uint32_t>(at) };
            if (fits(patterns[p], text, at, fold) && (!accept || accept(nullptr, *match)))
                return true;
        }
    return false;
}

static std::string random_text(std::mt19937& random, size_t length, const char* letters)
{
    std::string text;
    const size_t count = strlen(letters);
    while (text.size() < length)
        text.push_back(letters[random() % count]);
    return text;
}

static bool at_even_place(void*, const Match& match)
{
    return match.offset % 2 == 0;
}

static void compare_with_plain_search(std::mt19937& random, const char* letters, size_t longest, size_t text_length)
{
    std::vector<std::string> patterns(1 + random() % 6);
    for (std::string& pattern : patterns)
        pattern = random_text(random, random() % longest + (random() % 8 != 0), letters);
    const std::string text = random_text(random, random() % text_length, letters);
    size_t start = random() % (text.size() + 1);
    size_t end = random() % (text.size() + 1);
    if (start > end)
        std::swap(start, end);
    const bool backward = random() % 2;
    const uint8_t* const fold = random() % 2 ? lower_table.at : nullptr;
    const PatternSearch::Accept accept = random() % 2 ? at_even_place : nullptr;

    Match wanted = {};
    const bool there = plain_search(patterns, text, start, end, backward, fold, accept, &wanted);
    const PatternSearch search(patterns, backward ? SearchDirection::backward : SearchDirection::forward, fold);
    Match found = {};
    ASSERT_EQ(search.find(reinterpret_cast<const uint8_t*>(text.data()), static_cast<uint32_t>(start),
                          static_cast<uint32_t>(end), &found, accept),
              there);
    if (there) {
        ASSERT_EQ(found.offset, wanted.offset) << text;
        ASSERT_EQ(found.pattern, wanted.pattern) << text;
    }
}

TEST(pattern_search, agrees_with_the_plain_search)
{
    std::mt19937 random(20240501);
    for (int i = 0; i < 40000 && !HasFatalFailure(); ++i) {
        compare_with_plain_search(random, "ab", 5, 40);
        compare_with_plain_search(random, "aAbB\xe9\xc9", 4, 60);
        compare_with_plain_search(random, "abcdefghijklmnop \x01\xff", 3, 200);
    }
}

TEST(pattern_search, long_patterns_are_compared_to_their_end)
{
    std::mt19937 random(7);
    for (int i = 0; i < 2000 && !HasFatalFailure(); ++i)
        compare_with_plain_search(random, "a", 600, 1500);
    const std::string pattern = std::string(400, 'x') + 'y';
    const std::string text = std::string(1000, 'x') + "y" + std::string(10, 'x');
    Match match = {};
    const PatternSearch search({ pattern }, SearchDirection::forward, nullptr);
    ASSERT_TRUE(search.find(reinterpret_cast<const uint8_t*>(text.data()), 0, static_cast<uint32_t>(text.size()), &match));
    EXPECT_EQ(match.offset, 600u);
}

TEST(pattern_search, of_two_at_one_place_the_first_given_is_found)
{
    const std::string text = "xabcx";
    for (const auto& patterns : { std::vector<std::string>{ "ab", "abc" }, { "abc", "ab" } }) {
        Match match = {};
        const PatternSearch search(patterns, SearchDirection::forward, nullptr);
        ASSERT_TRUE(search.find(reinterpret_cast<const uint8_t*>(text.data()), 0, 5, &match));
        EXPECT_EQ(match.pattern, 0u);
        EXPECT_EQ(match.offset, 1u);
    }
}
