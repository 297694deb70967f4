// Lines are numbered so that equal ones have equal numbers; those that only one text has are changes at
// once. The rest is compared by the greedy search on diagonals from both ends at a time, which splits
// the problem in the middle of a shortest script. Where the texts have little in common that search
// is slow, and the longest common chain of matching lines is looked for instead.
#include "library/line_compare.h"

#include <algorithm>
#include <cstring>

// ---- Lines

static std::vector<uint32_t> line_starts(const uint8_t* text, uint32_t length)
{
    std::vector<uint32_t> starts;
    for (uint32_t at = 0; at < length;) {
        starts.push_back(at);
        const void* const end = memchr(text + at, '\r', length - at);
        at = end ? static_cast<uint32_t>(static_cast<const uint8_t*>(end) - text) + 1 : length;
    }
    starts.push_back(length);
    return starts;
}

static uint64_t hash_bytes(const uint8_t* bytes, uint32_t length)
{
    constexpr uint64_t kFactor = 0x9e3779b97f4a7c15;
    uint64_t h = length;
    uint64_t word;
    for (; length >= 8; bytes += 8, length -= 8) {
        memcpy(&word, bytes, 8);
        h = (h ^ word) * kFactor;
        h ^= h >> 29;
    }
    word = 0;
    memcpy(&word, bytes, length);
    h = (h ^ word) * kFactor;
    return h ^ h >> 32;
}

// Numbers lines in the order in which they first appear.
class LineNumbers {
public:
    explicit LineNumbers(size_t most)
    {
        size_t size = 64;
        while (size < 2 * most)
            size *= 2;
        table_.assign(size, -1);
    }

    int number(const uint8_t* bytes, uint32_t length)
    {
        const uint64_t h = hash_bytes(bytes, length);
        size_t at = h & (table_.size() - 1);
        for (; table_[at] >= 0; at = (at + 1) & (table_.size() - 1)) {
            const Line& line = lines_[table_[at]];
            if (line.hash == h && line.length == length && memcmp(line.bytes, bytes, length) == 0)
                return table_[at];
        }
        table_[at] = static_cast<int>(lines_.size());
        lines_.push_back({ bytes, length, h });
        return table_[at];
    }

    size_t count() const { return lines_.size(); }

private:
    struct Line {
        const uint8_t* bytes;
        uint32_t length;
        uint64_t hash;
    };
    std::vector<Line> lines_;
    std::vector<int> table_;
};

// One text as numbers. changed has one flag for each line; kept names the lines that are compared.
struct LineText {
    LineText(const uint8_t* text, uint32_t length) : starts(line_starts(text, length))
    {
        changed.assign(starts.size() - 1, 0);
    }

    void number_lines(const uint8_t* text, LineNumbers& names)
    {
        for (size_t i = 0; i + 1 < starts.size(); ++i)
            numbers.push_back(names.number(text + starts[i], starts[i + 1] - starts[i]));
    }

    size_t count() const { return changed.size(); }

    std::vector<uint32_t> starts;  // with the text's end
    std::vector<int> numbers;
    std::vector<char> changed;
    std::vector<int> kept;
};

// ---- The comparison

class LineCompare {
public:
    LineCompare(LineText& a, LineText& b, size_t names) : a_(a), b_(b), names_(names)
    {
        for (const int i : a.kept)
            a_numbers_.push_back(a.numbers[i]);
        for (const int i : b.kept)
            b_numbers_.push_back(b.numbers[i]);
        const size_t diagonals = a.kept.size() + b.kept.size() + 3;
        forward_.resize(diagonals);
        backward_.resize(diagonals);
    }

    void run() { compare({ 0, static_cast<int>(a_numbers_.size()), 0, static_cast<int>(b_numbers_.size()) }); }

private:
    // Lines a0 to a1 of the one against b0 to b1 of the other.
    struct Box {
        int a0, a1, b0, b1;
    };
    struct Place {
        int a, b;
    };

    // Rounds of the greedy search before it is worth asking how many lines match at all.
    static constexpr int kPatience = 256;
    static constexpr uint64_t kMostMatches = 1 << 22;

    bool equal(int i, int j) const { return a_numbers_[i] == b_numbers_[j]; }
    void compare(Box box);
    bool split(const Box& box, Place* place);
    bool few_matches(const Box& box);
    void compare_by_matches(const Box& box);
    void count_matches(const Box& box);

    LineText& a_;
    LineText& b_;
    const size_t names_;
    std::vector<int> a_numbers_;
    std::vector<int> b_numbers_;
    std::vector<int> forward_;   // furthest a for each diagonal a - b, by the offset of the box
    std::vector<int> backward_;
    std::vector<int> counts_;    // of each number in b's part of the box
};

void LineCompare::compare(Box box)
{
    for (;;) {
        while (box.a0 < box.a1 && box.b0 < box.b1 && equal(box.a0, box.b0))
            ++box.a0, ++box.b0;
        while (box.a0 < box.a1 && box.b0 < box.b1 && equal(box.a1 - 1, box.b1 - 1))
            --box.a1, --box.b1;
        if (box.a0 == box.a1 || box.b0 == box.b1)
            break;
        Place middle;
        if (!split(box, &middle)) {
            compare_by_matches(box);
            return;
        }
        compare({ box.a0, middle.a, box.b0, middle.b });
        box.a0 = middle.a;
        box.b0 = middle.b;
    }
    for (int i = box.a0; i < box.a1; ++i)
        a_.changed[a_.kept[i]] = 1;
    for (int j = box.b0; j < box.b1; ++j)
        b_.changed[b_.kept[j]] = 1;
}

// A place on a shortest script, strictly inside it. False when the search by matches is to be used.
// Both ends of the box differ, so that a script has at least two steps.
bool LineCompare::split(const Box& box, Place* place)
{
    const int low = box.a0 - box.b1;   // least diagonal
    const int high = box.a1 - box.b0;  // greatest
    const int start = box.a0 - box.b0;
    const int end = box.a1 - box.b1;
    const bool odd = (start - end) & 1;
    int* const forward = forward_.data() - low + 1;
    int* const backward = backward_.data() - low + 1;
    int forward_low = start, forward_high = start;
    int backward_low = end, backward_high = end;
    forward[start] = box.a0;
    backward[end] = box.a1;

    for (int d = 1;; ++d) {
        if (d == kPatience && few_matches(box))
            return false;

        // One more step from the beginning.
        if (forward_low > low)
            forward[--forward_low - 1] = -1;
        else
            ++forward_low;
        if (forward_high < high)
            forward[++forward_high + 1] = -1;
        else
            --forward_high;
        for (int k = forward_high; k >= forward_low; k -= 2) {
            const int deleted = forward[k - 1];
            const int inserted = forward[k + 1];
            int i = deleted >= inserted ? deleted + 1 : inserted;
            while (i < box.a1 && i - k < box.b1 && equal(i, i - k))
                ++i;
            forward[k] = i;
            if (odd && k >= backward_low && k <= backward_high && backward[k] <= i) {
                *place = { i, i - k };
                return true;
            }
        }

        // And one from the end.
        if (backward_low > low)
            backward[--backward_low - 1] = INT32_MAX;
        else
            ++backward_low;
        if (backward_high < high)
            backward[++backward_high + 1] = INT32_MAX;
        else
            --backward_high;
        for (int k = backward_high; k >= backward_low; k -= 2) {
            const int inserted = backward[k - 1];
            const int deleted = backward[k + 1];
            int i = inserted < deleted ? inserted : deleted - 1;
            while (i > box.a0 && i - k > box.b0 && equal(i - 1, i - k - 1))
                --i;
            backward[k] = i;
            if (!odd && k >= forward_low && k <= forward_high && i <= forward[k]) {
                *place = { i, i - k };
                return true;
            }
        }
    }
}

void LineCompare::count_matches(const Box& box)
{
    counts_.assign(names_, 0);
    for (int j = box.b0; j < box.b1; ++j)
        ++counts_[b_numbers_[j]];
}

bool LineCompare::few_matches(const Box& box)
{
    count_matches(box);
    uint64_t matches = 0;
    for (int i = box.a0; i < box.a1; ++i)
        matches += static_cast<uint64_t>(counts_[a_numbers_[i]]);
    return matches <= kMostMatches;
}

// The longest chain of matching lines that rises in both texts. chains_end[n] is the match with the
// least line of b that ends a chain of n + 1; each match knows the one before it.
void LineCompare::compare_by_matches(const Box& box)
{
    struct Link {
        int i, j, before;
    };
    count_matches(box);
    std::vector<int> first(names_ + 1, 0);  // places in by_number where a number's lines begin
    for (size_t n = 0; n < names_; ++n)
        first[n + 1] = first[n] + counts_[n];
    std::vector<int> by_number(static_cast<size_t>(box.b1 - box.b0));
    std::vector<int> next = first;
    for (int j = box.b0; j < box.b1; ++j)
        by_number[next[b_numbers_[j]]++] = j;

    std::vector<Link> links;
    std::vector<int> chain_ends;  // indexes of links
    std::vector<int> least;       // their lines of b
    for (int i = box.a0; i < box.a1; ++i) {
        const int n = a_numbers_[i];
        // From the last line of b to the first, so that no two matches of one line are chained.
        for (int m = first[n + 1]; m-- > first[n];) {
            const int j = by_number[m];
            const size_t at = std::lower_bound(least.begin(), least.end(), j) - least.begin();
            if (at < least.size() && least[at] == j)
                continue;
            links.push_back({ i, j, at > 0 ? chain_ends[at - 1] : -1 });
            const int link = static_cast<int>(links.size()) - 1;
            if (at == least.size()) {
                least.push_back(j);
                chain_ends.push_back(link);
            } else {
                least[at] = j;
                chain_ends[at] = link;
            }
        }
    }

    for (int i = box.a0; i < box.a1; ++i)
        a_.changed[a_.kept[i]] = 1;
    for (int j = box.b0; j < box.b1; ++j)
        b_.changed[b_.kept[j]] = 1;
    for (int link = chain_ends.empty() ? -1 : chain_ends.back(); link >= 0; link = links[link].before) {
        a_.changed[a_.kept[links[link].i]] = 0;
        b_.changed[b_.kept[links[link].j]] = 0;
    }
}

// ---- From texts to changes

// Marks as changed what the other text does not have, and keeps the rest for the comparison.
static void keep_shared(LineText& text, const std::vector<char>& other, size_t begin, size_t end)
{
    for (size_t i = begin; i < end; ++i) {
        if (other[text.numbers[i]])
            text.kept.push_back(static_cast<int>(i));
        else
            text.changed[i] = 1;
    }
}

static std::vector<char> numbers_in(const LineText& text, size_t names, size_t begin, size_t end)
{
    std::vector<char> there(names, 0);
    for (size_t i = begin; i < end; ++i)
        there[text.numbers[i]] = 1;
    return there;
}

static std::vector<LineChange> changes_of(const LineText& a, const LineText& b)
{
    std::vector<LineChange> changes;
    size_t i = 0;
    size_t j = 0;
    while (i < a.count() || j < b.count()) {
        const size_t a_first = i;
        const size_t b_first = j;
        while (i < a.count() && a.changed[i])
            ++i;
        while (j < b.count() && b.changed[j])
            ++j;
        if (i > a_first)
            changes.push_back({ false, a.starts[a_first], a.starts[a_first], a.starts[i] });
        if (j > b_first)
            changes.push_back({ true, a.starts[i], b.starts[b_first], b.starts[j] });
        while (i < a.count() && j < b.count() && !a.changed[i] && !b.changed[j])
            ++i, ++j;
    }
    return changes;
}

std::vector<LineChange> compare_lines(const uint8_t* a_text, uint32_t a_length, const uint8_t* b_text,
                                      uint32_t b_length)
{
    LineText a(a_text, a_length);
    LineText b(b_text, b_length);
    LineNumbers names(a.count() + b.count());
    a.number_lines(a_text, names);
    b.number_lines(b_text, names);

    size_t begin = 0;
    while (begin < a.count() && begin < b.count() && a.numbers[begin] == b.numbers[begin])
        ++begin;
    size_t same = 0;  // lines at the end
    while (begin + same < a.count() && begin + same < b.count() &&
           a.numbers[a.count() - 1 - same] == b.numbers[b.count() - 1 - same])
        ++same;
    const std::vector<char> in_a = numbers_in(a, names.count(), begin, a.count() - same);
    const std::vector<char> in_b = numbers_in(b, names.count(), begin, b.count() - same);
    keep_shared(a, in_b, begin, a.count() - same);
    keep_shared(b, in_a, begin, b.count() - same);
    LineCompare(a, b, names.count()).run();
    return changes_of(a, b);
}
