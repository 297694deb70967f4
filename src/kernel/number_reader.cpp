// Decimal numbers from text, the same for `read` and for the conversions of strings.
#include <charconv>
#include <cmath>
#include <cstring>

#include "kernel/reader.h"

uint8_t dot_mark = '.';

static bool is_digit(char c)
{
    return c >= '0' && c <= '9';
}

static const char* skip_spaces(const char* text)
{
    while (*text == ' ')
        ++text;
    return text;
}

static const char* skip_digits(const char* text)
{
    while (is_digit(*text))
        ++text;
    return text;
}

// Spaces may stand around the number. nil past 4294967295, or below -2147483648.
Value read_integer(const char* text)
{
    text = skip_spaces(text);
    const bool negative = *text == '-';
    if (negative)
        ++text;
    if (!is_digit(*text))
        return nil;
    const uint64_t most = negative ? 0x80000000u : 0xffffffffu;
    uint64_t value = 0;
    for (; is_digit(*text); ++text) {
        value = value * 10 + (*text - '0');
        if (value > most)
            return nil;
    }
    if (*skip_spaces(text))
        return nil;
    if (negative)
        return make_integer(static_cast<int32_t>(-static_cast<int64_t>(value)));
    if (value <= 0x7fffffff)
        return make_integer(static_cast<int32_t>(value));
    return make_unsigned(static_cast<uint32_t>(value));
}

// [-]digits[mark digits][(e|E)[+|-]digits] and nothing else. The conversion does not depend on the
// host's locale; what is too large or too small for a double becomes infinite or 0.
static Value read_real(const char* text)
{
    constexpr size_t kLongest = 320;
    char plain[kLongest + 1];
    const size_t length = strlen(text);
    if (length > kLongest)
        return nil;

    const char* at = text + (*text == '-');
    if (!is_digit(*at))
        return nil;
    at = skip_digits(at);
    memcpy(plain, text, length + 1);
    if (*at && static_cast<uint8_t>(*at) == dot_mark) {
        plain[at - text] = '.';
        if (!is_digit(*++at))
            return nil;
        at = skip_digits(at);
    }
    bool tiny = false;
    if (*at == 'e' || *at == 'E') {
        ++at;
        tiny = *at == '-';
        if (*at == '+' || *at == '-')
            ++at;
        if (!is_digit(*at))
            return nil;
        at = skip_digits(at);
    }
    if (*at)
        return nil;

    double value = 0;
    const std::from_chars_result result = std::from_chars(plain, plain + length, value);
    if (result.ec == std::errc::result_out_of_range) {
        value = tiny ? 0.0 : HUGE_VAL;
        if (*plain == '-')
            value = -value;
    }
    return make_real(value);
}

Value read_number(const char* text)
{
    const Value integer = read_integer(text);
    return is_nil(integer) ? read_real(text) : integer;
}
