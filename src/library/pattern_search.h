// Search for several byte patterns at once. A window as long as the shortest pattern moves over the
// text; a table tells from two of its bytes how far it may move without missing a match.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

enum class SearchDirection { forward, backward };

class PatternSearch {
public:
    // Empty patterns match nowhere. Where fold is given, bytes are equal that fold maps to the same.
    PatternSearch(std::vector<std::string> patterns, SearchDirection direction, const uint8_t* fold);

    struct Match {
        uint32_t pattern;  // its number in the list given
        uint32_t offset;   // of its first byte
    };

    // Says whether a match counts. It may raise.
    using Accept = bool (*)(void* context, const Match& match);

    // The match in text[start, end) that begins first, or, backward, that ends last; of those at one
    // place the pattern given first. False when there is none.
    bool find(const uint8_t* text, uint32_t start, uint32_t end, Match* match, Accept accept = nullptr,
              void* context = nullptr) const;

private:
    static constexpr uint32_t kHashBits = 12;
    static constexpr uint32_t kHashes = 1 << kHashBits;
    static constexpr uint32_t kLongestWindow = 255;

    uint32_t hash(const uint8_t* pair) const
    {
        return window_ == 1 ? *pair : (pair[0] << 4 ^ pair[1]) & (kHashes - 1);
    }

    const uint8_t* window_of(const std::string& pattern) const;
    void enter(const uint8_t* pair, uint32_t shift, int pattern);
    bool matches(const std::string& pattern, const uint8_t* text) const;
    uint32_t skip(const uint8_t* pairs, uint32_t at, uint32_t last, uint32_t width) const;
    bool find_forward(const uint8_t* text, uint32_t start, uint32_t end, Match* match, Accept accept,
                      void* context) const;
    bool find_backward(const uint8_t* text, uint32_t start, uint32_t end, Match* match, Accept accept,
                       void* context) const;

    const std::vector<std::string> patterns_;
    const SearchDirection direction_;
    const uint8_t* const fold_;
    uint32_t window_ = 0;               // bytes; 0 when there is nothing to look for
    uint8_t shifts_[kHashes];
    int32_t first_[kHashes];            // first entry of those whose window ends (begins) like this, or -1
    struct Entry {
        uint32_t pattern;
        int32_t next;
    };
    std::vector<Entry> entries_;
};
