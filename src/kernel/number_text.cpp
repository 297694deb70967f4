#include "kernel/number_text.h"

#include <charconv>
#include <cstring>

#include "kernel/reader.h"
#include "kernel/spaces.h"

uint32_t integer_text(int32_t i, char* text)
{
    char* end = std::to_chars(text, text + kNumberTextSize, i).ptr;
    *end = 0;
    return static_cast<uint32_t>(end - text);
}

uint32_t unsigned_text(uint32_t u, char* text)
{
    char* end = std::to_chars(text, text + kNumberTextSize, u).ptr;
    *end = 0;
    return static_cast<uint32_t>(end - text);
}

// to_chars prints as "%.15g" does, whatever the process's locale says of decimal points.
uint32_t real_text(double d, char* text)
{
    char* end = std::to_chars(text, text + kNumberTextSize, d, std::chars_format::general, 15).ptr;
    bool marked = false;
    for (char* at = text; at < end; ++at) {
        marked |= *at == '.' || *at == 'e';
        if (*at == '.')
            *at = static_cast<char>(dot_mark);
    }
    if (!marked) {
        *end++ = static_cast<char>(dot_mark);
        *end++ = '0';
    }
    *end = 0;
    return static_cast<uint32_t>(end - text);
}

uint32_t number_text(Value v, char* text)
{
    switch (v.tag()) {
    case kTagReal:
        return real_text(real_of(v), text);
    case kTagUnsignedLong:
        return unsigned_text(unsigned_value(v), text);
    case kTagLong:
        return integer_text(integer_value(v), text);
    default:
        return integer_text(fixnum_value(v), text);
    }
}
