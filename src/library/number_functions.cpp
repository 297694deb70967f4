// Predicates and functions of one number or two: rounding, division, transcendental functions,
// bits, `random`.
#include <cstdlib>

#include "kernel/evaluator.h"
#include "kernel/primitive.h"
#include "kernel/symbols.h"
#include "library/numbers.h"
#include "platform/clock.h"

// ---- Predicates

static bool is_number(Value v)
{
    return is_integer(v) || is_real(v);
}

static Value number_p(Value v)
{
    return boolean(is_number(v));
}

static Value rational_p(Value)
{
    return nil;
}

static Value integer_p(Value v)
{
    return boolean(is_integer(v));
}

static Value inexact_p(Value v)
{
    return boolean(!is_integer(v));
}

static Value zero_p(Value x)
{
    return boolean(is_fixnum(x) ? fixnum_value(x) == 0 : real_value(x) == 0);
}

static Value positive_p(Value x)
{
    return boolean(is_fixnum(x) ? fixnum_value(x) > 0 : real_value(x) > 0);
}

static Value negative_p(Value x)
{
    return boolean(is_fixnum(x) ? fixnum_value(x) < 0 : real_value(x) < 0);
}

static Value even_p(Value x)
{
    return boolean((integer_value(x) & 1) == 0);
}

static Value odd_p(Value x)
{
    return boolean((integer_value(x) & 1) != 0);
}

// ---- Rounding

Value integer_of_double(double d)
{
    if (!std::isfinite(d))
        return make_fixnum(0);
    const double whole = std::trunc(d);
    // A double of 2^64 or more keeps what its low 32 bits are: fmod is exact.
    const double low = std::fmod(whole, 4294967296.0);
    return make_wrapped(static_cast<uint32_t>(static_cast<int64_t>(low)));
}

static double half_up(double d)
{
    return std::floor(d + 0.5);
}

// Integers stay as they are without a divisor.
template <double (*rounding)(double)> static Value rounded(Value x, Value divisor)
{
    if (divisor != nil) {
        const double dividend = real_value(x);
        return integer_of_double(rounding(dividend / real_value(divisor)));
    }
    const double value = real_value(x);
    return is_real(x) ? integer_of_double(rounding(value)) : x;
}

static Value round_float(Value x, Value digits)
{
    const double factor = digits == nil ? 1 : std::pow(10.0, real_value(digits));
    return make_real(half_up(real_value(x) * factor) / factor);
}

// ---- Division

static Value abs_(Value x)
{
    if (is_real(x))
        return make_real(std::fabs(real_of(x)));
    if (is_unsigned_long(x))
        return x;
    const int32_t i = integer_value(x);
    return i < 0 ? make_wrapped(0 - static_cast<uint32_t>(i)) : x;
}

static Value relate(Value a, Value b)
{
    const int32_t x = integer_value(a);
    const int32_t y = integer_value(b);
    return make_fixnum((x > y) - (x < y));
}

// Zero divisors are refused. -1 is taken apart, as the least integer has no opposite.
static int32_t divisor_value(Value v)
{
    const int32_t divisor = integer_value(v);
    if (divisor == 0)
        raise_error(kErrorZeroDivisor);
    return divisor;
}

static Value quotient(Value a, Value b)
{
    const int32_t dividend = integer_value(a);
    const int32_t divisor = divisor_value(b);
    return divisor == -1 ? make_wrapped(0 - static_cast<uint32_t>(dividend))
                         : make_integer(dividend / divisor);
}

static int32_t remainder_of(Value a, Value b)
{
    const int32_t dividend = integer_value(a);
    const int32_t divisor = divisor_value(b);
    return divisor == -1 ? 0 : dividend % divisor;
}

static double real_remainder(double dividend, double divisor)
{
    if (divisor == 0)
        raise_error(kErrorZeroDivisor);
    return std::fmod(dividend, divisor);
}

static Value remainder_(Value a, Value b)
{
    if (!is_real(a) && !is_real(b))
        return make_integer(remainder_of(a, b));
    return make_real(real_remainder(real_value(a), real_value(b)));
}

static Value modulo(Value a, Value b)
{
    if (!is_real(a) && !is_real(b)) {
        const int32_t rest = remainder_of(a, b);
        const int32_t divisor = integer_value(b);
        return make_integer(rest != 0 && (rest < 0) != (divisor < 0) ? rest + divisor : rest);
    }
    const double divisor = real_value(b);
    const double rest = real_remainder(real_value(a), divisor);
    return make_real(rest != 0 && (rest < 0) != (divisor < 0) ? rest + divisor : rest);
}

// ---- Functions of doubles

template <double (*function)(double)> static Value real_function(Value x)
{
    return make_real(function(real_value(x)));
}

static Value expt(Value a, Value b)
{
    const double base = real_value(a);
    return make_real(std::pow(base, real_value(b)));
}

static Value atan_(Value y, Value x)
{
    const double opposite = real_value(y);
    return make_real(x == nil ? std::atan(opposite) : std::atan2(opposite, real_value(x)));
}

static Value interpolate(Value a, Value b, Value t, Value whole)
{
    const double from = real_value(a);
    const double to = real_value(b);
    const double result = from + (to - from) * real_value(t);
    return is_true_flag(whole) ? integer_of_double(half_up(result)) : make_real(result);
}

static Value progressive_growth(Value n)
{
    const int64_t size = integer_value(n);
    if (size == 0)
        return make_fixnum(1);
    const int64_t half = size > 0 ? (size + 1) / 2 : size / 2;
    return make_wrapped(static_cast<uint32_t>(size + half));
}

// ---- random

// Each run begins with the same number; what differs is how many the clock makes it pass over.
static uint32_t random_state = 1;

static uint32_t next_random()
{
    random_state = random_state * 214013 + 2531011;
    return random_state >> 16 & 0x7fff;
}

static Value random_(Value n)
{
    const int32_t limit = integer_value(n);
    if (limit < 1 || limit > 32767)
        raise_error(kErrorType, n);
    for (uint32_t skip = ticks() >> 6 & 3; skip > 0; --skip)
        next_random();
    const uint32_t range = static_cast<uint32_t>(limit);
    for (;;) {
        const uint32_t result = next_random() / (32767 / range);
        if (result < range)
            return make_fixnum(static_cast<int32_t>(result));
    }
}

// ---- Bits

// The bits of an integer of any kind.
static uint32_t bits_value(Value x)
{
    return is_unsigned_long(x) ? unsigned_value(x) : static_cast<uint32_t>(integer_value(x));
}

static uint32_t bit_mask(Value bit)
{
    return uint32_t{ 1 } << (static_cast<uint32_t>(integer_value(bit)) & 31);
}

static Value bit_test(Value x, Value bit)
{
    return boolean((bits_value(x) & bit_mask(bit)) != 0);
}

static Value bit_set(Value x, Value bit)
{
    return make_wrapped(bits_value(x) | bit_mask(bit));
}

static Value bit_clear(Value x, Value bit)
{
    return make_wrapped(bits_value(x) & ~bit_mask(bit));
}

static Value bit_and(Value x, Value y)
{
    return make_wrapped(bits_value(x) & bits_value(y));
}

static Value bit_or(Value x, Value y)
{
    return make_wrapped(bits_value(x) | bits_value(y));
}

static Value bit_xor(Value x, Value y)
{
    return make_wrapped(bits_value(x) ^ bits_value(y));
}

static Value bit_not(Value x)
{
    return make_wrapped(~bits_value(x));
}

static const Primitive number_function_primitives[] = {
    { "number?", number_p, "(number? v): whether v is an integer, a long or a real" },
    { "complex?", number_p, "(complex? v): as number?" },
    { "real?", number_p, "(real? v): as number?" },
    { "rational?", rational_p, "(rational? v): nil" },
    { "integer?", integer_p, "(integer? v): whether v is an integer or a long" },
    { "exact?", integer_p, "(exact? v): whether v is an integer or a long" },
    { "inexact?", inexact_p, "(inexact? v): whether v is neither an integer nor a long" },
    { "zero?", zero_p, "(zero? n): whether n is 0; error 2 for a non-number" },
    { "positive?", positive_p, "(positive? n): whether n is above 0; error 2 for a non-number" },
    { "negative?", negative_p, "(negative? n): whether n is below 0; error 2 for a non-number" },
    { "even?", even_p, "(even? i): whether integer i has a low bit of 0" },
    { "odd?", odd_p, "(odd? i): whether integer i has a low bit of 1" },
    { "abs", abs_, "(abs n): n without its sign" },
    { "relate", relate, "(relate i j): -1, 0 or 1 as integer i is below, equal to or above j" },
    { "floor", rounded<std::floor>,
      "(floor n divisor): n, or n / divisor, rounded down to an integer" },
    { "ceiling", rounded<std::ceil>,
      "(ceiling n divisor): n, or n / divisor, rounded up to an integer" },
    { "truncate", rounded<std::trunc>,
      "(truncate n divisor): n, or n / divisor, rounded towards 0 to an integer" },
    { "round", rounded<half_up>,
      "(round n divisor): n, or n / divisor, plus 0.5 rounded down to an integer" },
    { "round-float", round_float,
      "(round-float n digits): real n rounded to so many decimals, 0 for nil" },
    { "quotient", quotient, "(quotient i j): integer quotient, towards 0; error 58 when j is 0" },
    { "remainder", remainder_,
      "(remainder n m): remainder with the sign of n, a real if one is; error 58 when m is 0" },
    { "modulo", modulo,
      "(modulo n m): remainder with the sign of m, a real if one is; error 58 when m is 0" },
    { "expt", expt, "(expt n m): n to the power m, a real" },
    { "sqrt", real_function<std::sqrt>, "(sqrt n): square root, a real" },
    { "exp", real_function<std::exp>, "(exp n): e to the power n, a real" },
    { "log", real_function<std::log>, "(log n): natural logarithm, a real" },
    { "sin", real_function<std::sin>, "(sin n): sine of n radians" },
    { "cos", real_function<std::cos>, "(cos n): cosine of n radians" },
    { "tan", real_function<std::tan>, "(tan n): tangent of n radians" },
    { "asin", real_function<std::asin>, "(asin n): arc sine in radians" },
    { "acos", real_function<std::acos>, "(acos n): arc cosine in radians" },
    { "atan", atan_, "(atan y x): arc tangent of y, or of y / x with the quadrant, in radians" },
    { "random", random_,
      "(random n): an integer from 0 to n - 1; error 2 for n outside 1 .. 32767" },
    { "bit-test", bit_test, "(bit-test i b): whether bit b (modulo 32) of i is set" },
    { "bit-set", bit_set, "(bit-set i b): i with bit b (modulo 32) set" },
    { "bit-clear", bit_clear, "(bit-clear i b): i with bit b (modulo 32) cleared" },
    { "bit-and", bit_and, "(bit-and i j): the bits that both have" },
    { "bit-or", bit_or, "(bit-or i j): the bits that either has" },
    { "bit-xor", bit_xor, "(bit-xor i j): the bits that just one has" },
    { "bit-not", bit_not, "(bit-not i): all 32 bits turned" },
    { "interpolate", interpolate,
      "(interpolate a b t whole): a + (b - a) * t as a real, rounded to an integer when whole is "
      "true" },
    { "progressive-growth", progressive_growth,
      "(progressive-growth n): n and a half of it more, 1 for 0" },
};

void init_number_functions()
{
    random_state = 1;
    define_primitives(number_function_primitives);
}
