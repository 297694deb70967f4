// What a Value of each tag points to.
#pragma once

#include "kernel/value.h"

constexpr uint32_t kShapeNone = 0;        // no node
constexpr uint32_t kShapeNode = 0xffffffff;  // any node; otherwise a node with that header tag

extern const uint32_t value_shape[64];

inline uint32_t shape_of(Value v)
{
    return value_shape[v.tag() & 0x3f];
}

// Whether a tag is the header of a node that is no plain pair of words.
inline bool is_header(uint32_t tag)
{
    constexpr uint64_t kHeaders = 1ull << kHeaderArray | 1ull << kHeaderBox | 1ull << kHeaderHashTable |
                                  1ull << kHeaderVector | 1ull << kHeaderReal | 1ull << kHeaderString |
                                  1ull << kHeaderPointer | 1ull << kHeaderSlotData |
                                  1ull << kHeaderClass | 1ull << kHeaderInstance | 1ull << kHeaderBlock;
    return kHeaders >> tag & 1;
}
