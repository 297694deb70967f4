// The shortest way from one text to another by whole lines. A line ends behind its carriage return or
// at the end of the text.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

// A run of lines that only one of the texts has, by byte offsets. at: the place in the first text,
// where an inserted run goes and a deleted one begins. first and end: the run itself, in the second
// text when inserted, in the first when deleted.
struct LineChange {
    bool inserted;
    uint32_t at;
    uint32_t first;
    uint32_t end;
};

// In the order of the texts, a deletion before the insertion that takes its place; none for equal
// texts.
std::vector<LineChange> compare_lines(const uint8_t* a, uint32_t a_length, const uint8_t* b,
                                      uint32_t b_length);
