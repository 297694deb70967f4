// The script is sound (it makes the second text of the first) and shortest (against the table of
// longest common subsequences), on small alphabets and on texts that share little.
#include "library/line_compare.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <random>
#include <string>

static std::vector<LineChange> compare(const std::string& a, const std::string& b)
{
    return compare_lines(reinterpret_cast<const uint8_t*>(a.data()), static_cast<uint32_t>(a.size()),
                         reinterpret_cast<const uint8_t*>(b.data()), static_cast<uint32_t>(b.size()));
}

static std::string apply(const std::string& a, const std::string& b, const std::vector<LineChange>& changes)
{
    std::string result;
    uint32_t at = 0;
    for (const LineChange& change : changes) {
        result.append(a, at, change.at - at);
        at = change.at;
        if (change.inserted)
            result.append(b, change.first, change.end - change.first);
        else
            at = change.end;
    }
    return result.append(a, at, std::string::npos);
}

static std::vector<std::string> lines_of(const std::string& text)
{
    std::vector<std::string> lines;
    for (size_t at = 0; at < text.size();) {
        const size_t end = std::min(text.find('\r', at), text.size() - 1) + 1;
        lines.push_back(text.substr(at, end - at));
        at = end;
    }
    return lines;
}

static size_t common_lines(const std::string& a, const std::string& b)
{
    const std::vector<std::string> x = lines_of(a);
    const std::vector<std::string> y = lines_of(b);
    std::vector<std::vector<size_t>> best(x.size() + 1, std::vector<size_t>(y.size() + 1, 0));
    for (size_t i = 0; i < x.size(); ++i)
        for (size_t j = 0; j < y.size(); ++j)
            best[i + 1][j + 1] = x[i] == y[j] ? best[i][j] + 1 : std::max(best[i][j + 1], best[i + 1][j]);
    return best[x.size()][y.size()];
}

static size_t changed_lines(const std::string& a, const std::string& b, const std::vector<LineChange>& changes)
{
    size_t count = 0;
    for (const LineChange& change : changes)
        count += lines_of((change.inserted ? b : a).substr(change.first, change.end - change.first)).size();
    return count;
}

static void expect_shortest_script(const std::string& a, const std::string& b)
{
    const std::vector<LineChange> changes = compare(a, b);
    ASSERT_EQ(apply(a, b, changes), b);
    const size_t kept = common_lines(a, b);
    ASSERT_EQ(changed_lines(a, b, changes), lines_of(a).size() + lines_of(b).size() - 2 * kept);
}

static std::string random_lines(std::mt19937& random, size_t count, unsigned different)
{
    std::string text;
    for (size_t i = 0; i < count; ++i)
        text += "line " + std::to_string(random() % different) + '\r';
    if (!text.empty() && random() % 3 == 0)
        text.pop_back();
    return text;
}

TEST(line_compare, gives_runs_with_their_places)
{
    EXPECT_TRUE(compare("", "").empty());
    EXPECT_TRUE(compare("a\rb", "a\rb").empty());
    const auto inserted = compare("a\rc\r", "a\rb\rc\r");
    ASSERT_EQ(inserted.size(), 1u);
    EXPECT_TRUE(inserted[0].inserted && inserted[0].at == 2 && inserted[0].first == 2 && inserted[0].end == 4);
    const auto replaced = compare("a\rb\rc\r", "a\rxyz\rc\r");
    ASSERT_EQ(replaced.size(), 2u);
    EXPECT_TRUE(!replaced[0].inserted && replaced[0].at == 2 && replaced[0].first == 2 && replaced[0].end == 4);
    EXPECT_TRUE(replaced[1].inserted && replaced[1].at == 4 && replaced[1].first == 2 && replaced[1].end == 6);
    // A last line without its end is another line than one with it.
    EXPECT_EQ(compare("a", "a\r").size(), 2u);
}

TEST(line_compare, is_shortest_on_random_texts)
{
    std::mt19937 random(99);
    for (int i = 0; i < 4000 && !HasFatalFailure(); ++i) {
        const unsigned different = 1 + random() % 12;
        expect_shortest_script(random_lines(random, random() % 30, different), random_lines(random, random() % 30, different));
    }
}

TEST(line_compare, is_shortest_after_a_few_edits)
{
    std::mt19937 random(5);
    for (int i = 0; i < 60 && !HasFatalFailure(); ++i) {
        std::vector<std::string> lines = lines_of(random_lines(random, 300, 150));
        std::string a;
        for (const std::string& line : lines)
            a += line;
        for (int edits = random() % 40; edits > 0; --edits) {
            const size_t at = random() % lines.size();
            if (random() % 2)
                lines.erase(lines.begin() + static_cast<long>(at));
            else
                lines.insert(lines.begin() + static_cast<long>(at), "line " + std::to_string(random() % 300) + '\r');
        }
        std::string b;
        for (const std::string& line : lines)
            b += line;
        expect_shortest_script(a, b);
    }
}

// Far apart, with all lines in both: the search by matches.
TEST(line_compare, is_shortest_on_shuffled_lines)
{
    std::mt19937 random(3);
    std::vector<int> order(1500);
    for (size_t i = 0; i < order.size(); ++i)
        order[i] = static_cast<int>(i);
    std::string texts[2];
    for (std::string& text : texts) {
        std::shuffle(order.begin(), order.end(), random);
        for (const int n : order)
            text += std::to_string(n % 1200) + '\r';
    }
    expect_shortest_script(texts[0], texts[1]);
}
