#include "library/pattern_search.h"

#include <algorithm>
#include <cstring>

static const uint8_t* bytes_of(const std::string& text)
{
    return reinterpret_cast<const uint8_t*>(text.data());
}

PatternSearch::PatternSearch(std::vector<std::string> patterns, SearchDirection direction, const uint8_t* fold)
    : patterns_(std::move(patterns)), direction_(direction), fold_(fold)
{
    size_t shortest = SIZE_MAX;
    for (const std::string& pattern : patterns_)
        if (!pattern.empty())
            shortest = std::min(shortest, pattern.size());
    if (shortest == SIZE_MAX)
        return;
    window_ = static_cast<uint32_t>(std::min<size_t>(shortest, kLongestWindow));

    memset(shifts_, static_cast<int>(std::max(1u, window_ - 1)), sizeof shifts_);
    std::fill(first_, first_ + kHashes, -1);
    // From the last pattern to the first, since each goes in front of its chain.
    for (size_t i = patterns_.size(); i-- > 0;) {
        if (patterns_[i].empty())
            continue;
        const uint8_t* const window = window_of(patterns_[i]);
        if (window_ == 1)
            enter(window, 0, static_cast<int>(i));
        for (uint32_t at = 0; at + 1 < window_; ++at) {
            const uint32_t shift = direction_ == SearchDirection::forward ? window_ - 2 - at : at;
            enter(window + at, shift, shift == 0 ? static_cast<int>(i) : -1);
        }
    }
}

// The bytes of a pattern that the window is laid over: its first ones, or backward its last.
const uint8_t* PatternSearch::window_of(const std::string& pattern) const
{
    const size_t skip = direction_ == SearchDirection::forward ? 0 : pattern.size() - window_;
    return bytes_of(pattern) + skip;
}

// Notes the shift of a pair of bytes in all its spellings, and which pattern to try where it is 0.
void PatternSearch::enter(const uint8_t* pair, uint32_t shift, int pattern)
{
    const auto spellings = [this](uint8_t byte, uint8_t* found) {
        int count = 0;
        for (int c = 0; c < 256; ++c)
            if (fold_ ? fold_[c] == fold_[byte] : c == byte)
                found[count++] = static_cast<uint8_t>(c);
        return count;
    };
    uint8_t left[256];
    uint8_t right[256] = {};
    const int lefts = spellings(pair[0], left);
    const int rights = window_ == 1 ? 1 : spellings(pair[1], right);
    for (int l = 0; l < lefts; ++l)
        for (int r = 0; r < rights; ++r) {
            const uint8_t spelt[2] = { left[l], right[r] };
            const uint32_t h = hash(spelt);
            shifts_[h] = static_cast<uint8_t>(std::min<uint32_t>(shifts_[h], shift));
            const bool listed = first_[h] >= 0 && static_cast<int>(entries_[first_[h]].pattern) == pattern;
            if (pattern < 0 || listed)
                continue;
            entries_.push_back({ static_cast<uint32_t>(pattern), first_[h] });
            first_[h] = static_cast<int32_t>(entries_.size() - 1);
        }
}

bool PatternSearch::matches(const std::string& pattern, const uint8_t* text) const
{
    if (!fold_)
        return memcmp(pattern.data(), text, pattern.size()) == 0;
    const uint8_t* const bytes = bytes_of(pattern);
    for (size_t i = 0; i < pattern.size(); ++i)
        if (fold_[bytes[i]] != fold_[text[i]])
            return false;
    return true;
}

bool PatternSearch::find(const uint8_t* text, uint32_t start, uint32_t end, Match* match, Accept accept,
                         void* context) const
{
    if (window_ == 0 || start > end || end - start < window_)
        return false;
    return direction_ == SearchDirection::forward ? find_forward(text, start, end, match, accept, context)
                                                  : find_backward(text, start, end, match, accept, context);
}

// Goes on while four windows in a row are passed at full width: these four are looked at side by side,
// where one after the other each would wait for the shift before it.
uint32_t PatternSearch::skip(const uint8_t* pairs, uint32_t at, uint32_t last, uint32_t width) const
{
    const auto passes = [&](uint32_t place) { return shifts_[hash(pairs + place)] == width; };
    while (last >= 4 * width && at <= last - 4 * width &&
           (passes(at) & passes(at + width) & passes(at + 2 * width) & passes(at + 3 * width)))
        at += 4 * width;
    return at;
}

bool PatternSearch::find_forward(const uint8_t* text, uint32_t start, uint32_t end, Match* match,
                                 Accept accept, void* context) const
{
    // at is where the window begins, pair the place of its last two bytes (or its only one).
    const uint32_t pair = window_ == 1 ? 0 : window_ - 2;
    const uint32_t last = end - window_;
    const uint32_t widest = std::max(1u, window_ - 1);
    for (uint32_t at = start; at <= last;) {
        const uint32_t h = hash(text + at + pair);
        const uint32_t shift = shifts_[h];
        if (shift > 0) {
            at += shift;
            if (shift == widest)
                at = skip(text + pair, at, last, widest);
            continue;
        }
        for (int i = first_[h]; i >= 0; i = entries_[i].next) {
            const std::string& pattern = patterns_[entries_[i].pattern];
            if (pattern.size() > end - at || !matches(pattern, text + at))
                continue;
            *match = { entries_[i].pattern, at };
            if (!accept || accept(context, *match))
                return true;
        }
        ++at;
    }
    return false;
}

bool PatternSearch::find_backward(const uint8_t* text, uint32_t start, uint32_t end, Match* match,
                                  Accept accept, void* context) const
{
    // stop is where the window ends.
    for (uint32_t stop = end; stop >= start + window_;) {
        const uint32_t h = hash(text + stop - window_);
        const uint32_t shift = shifts_[h];
        if (shift > 0) {
            if (shift > stop - start)
                return false;
            stop -= shift;
            continue;
        }
        for (int i = first_[h]; i >= 0; i = entries_[i].next) {
            const std::string& pattern = patterns_[entries_[i].pattern];
            if (pattern.size() > stop - start || !matches(pattern, text + stop - pattern.size()))
                continue;
            *match = { entries_[i].pattern, stop - static_cast<uint32_t>(pattern.size()) };
            if (!accept || accept(context, *match))
                return true;
        }
        --stop;
    }
    return false;
}
