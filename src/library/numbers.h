// Helpers of the number primitives. Integer arithmetic is that of 32 bits with wrap-around, done on
// unsigned words.
#pragma once

#include <cmath>

#include "kernel/spaces.h"

constexpr bool is_real(Value v)
{
    return v.tag() == kTagReal;
}
constexpr bool is_unsigned_long(Value v)
{
    return v.tag() == kTagUnsignedLong;
}
constexpr bool is_integer(Value v)
{
    return is_fixnum(v) || v.tag() == kTagLong;
}

// The 32 bits of a word as an integer Value.
inline Value make_wrapped(uint32_t bits)
{
    return make_integer(static_cast<int32_t>(bits));
}

// The low 32 bits of the whole part; 0 for what is not finite.
Value integer_of_double(double d);

void init_number_functions();
