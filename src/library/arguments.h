// Readers of arguments: each checks, converts and raises error 2 with the value, so that all
// primitives refuse the same things alike. integer_value, unsigned_value, short_value and
// real_value of the kernel are of the family.
#pragma once

#include "kernel/errors.h"
#include "kernel/spaces.h"

inline Value typed_argument(Value v, Tag tag)
{
    if (v.tag() != tag)
        raise_error(kErrorType, v);
    return v;
}

inline Value symbol_argument(Value v)
{
    return typed_argument(v, kTagSymbol);
}
inline Value vector_argument(Value v)
{
    return typed_argument(v, kTagVector);
}

// An integer from 0 up.
inline uint32_t length_argument(Value v)
{
    const int32_t length = integer_value(v);
    if (length < 0)
        raise_error(kErrorType, v);
    return static_cast<uint32_t>(length);
}

// The code of a character, 0 to 255.
inline uint8_t character_argument(Value v)
{
    const int32_t c = integer_value(v);
    if (c < 0 || c > 255)
        raise_error(kErrorType, v);
    return static_cast<uint8_t>(c);
}

// A pair: nil is refused too.
inline Value pair_argument(Value v)
{
    if (!is_pair(v))
        raise_error(kErrorType, v);
    return v;
}

// The bytes of a string: stale after the next allocation.
inline char* string_argument(Value v)
{
    return string_chars(typed_argument(v, kTagString));
}

// Values of a run up to its end marker.
inline uint32_t run_length(const Value* run)
{
    uint32_t count = 0;
    while (!is_end(run[count]))
        ++count;
    return count;
}
