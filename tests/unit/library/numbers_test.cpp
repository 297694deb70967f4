// Arithmetic against a model in 64 bits and doubles, on values around every limit and random ones.
#include <cmath>
#include <random>

#include "interpreter.h"
#include "library/numbers.h"
#include "platform/clock.h"

static int32_t wrap(int64_t i)
{
    return static_cast<int32_t>(static_cast<uint32_t>(static_cast<uint64_t>(i)));
}

// Values near zero, near the limits of fixnums and of 32 bits, and anywhere.
static int32_t pick(std::mt19937& random)
{
    static const int64_t kCentres[] = { 0,     8388607, -8388608, 2147483647, -2147483648LL,
                                        46341, 65536 };
    if (random() % 3 == 0)
        return static_cast<int32_t>(random());
    return wrap(kCentres[random() % std::size(kCentres)] + static_cast<int64_t>(random() % 9) - 4);
}

static int64_t integer_of(Value v)
{
    return is_unsigned_long(v) ? static_cast<int64_t>(unsigned_value(v)) : integer_value(v);
}

template <class Check> static void with_random_pairs(Check check)
{
    const unsigned seed = std::random_device()();
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    in_interpreter([&] {
        for (int i = 0; i < 20000 && !::testing::Test::HasFailure(); ++i)
            check(pick(random), pick(random));
    });
}

TEST(arithmetic, wraps_at_32_bits)
{
    with_random_pairs([](int64_t a, int64_t b) {
        const Value x = make_integer(static_cast<int32_t>(a));
        const Value y = make_integer(static_cast<int32_t>(b));
        EXPECT_EQ(integer_of(lisp("+", x, y)), wrap(a + b)) << a << ' ' << b;
        EXPECT_EQ(integer_of(lisp("-", x, y)), wrap(a - b)) << a << ' ' << b;
        EXPECT_EQ(integer_of(lisp("*", x, y)), wrap(a * b)) << a << ' ' << b;
        EXPECT_EQ(integer_of(lisp("-", x)), wrap(-a)) << a;
        EXPECT_EQ(integer_of(lisp("abs", x)), wrap(a < 0 ? -a : a)) << a;
        // Three arguments take the general rule, two the short one.
        EXPECT_EQ(integer_of(lisp("+", x, y, x)), wrap(a + b + a));
        EXPECT_EQ(integer_of(lisp("-", x, y, y)), wrap(a - b - b));
    });
}

TEST(arithmetic, divides_towards_zero_and_takes_remainders_with_the_right_sign)
{
    with_random_pairs([](int64_t a, int64_t b) {
        const Value x = make_integer(static_cast<int32_t>(a));
        const Value y = make_integer(static_cast<int32_t>(b));
        if (b == 0)
            return;
        EXPECT_EQ(integer_of(lisp("quotient", x, y)), wrap(a / b)) << a << ' ' << b;
        EXPECT_EQ(integer_of(lisp("remainder", x, y)), a % b) << a << ' ' << b;
        // The one number congruent to a that lies between 0 and b.
        const int64_t modulo = integer_of(lisp("modulo", x, y));
        EXPECT_EQ((a - modulo) % b, 0) << a << ' ' << b;
        EXPECT_TRUE(b > 0 ? modulo >= 0 && modulo < b : modulo <= 0 && modulo > b) << a << ' ' << b;
    });
}

TEST(arithmetic, orders_numbers_of_all_types_by_value)
{
    with_random_pairs([](int64_t a, int64_t b) {
        // b as an integer, an unsigned-long or a real, as its low bits say.
        const Value x = make_integer(static_cast<int32_t>(a));
        Value y = make_integer(static_cast<int32_t>(b));
        if (b & 1) {
            y = make_unsigned(static_cast<uint32_t>(b));
            b = static_cast<uint32_t>(b);
        } else if (b & 2) {
            y = make_real(static_cast<double>(b));
        }
        EXPECT_EQ(lisp("<", x, y) != nil, a < b) << a << ' ' << b;
        EXPECT_EQ(lisp(">", x, y) != nil, a > b) << a << ' ' << b;
        EXPECT_EQ(lisp("<=", x, y) != nil, a <= b) << a << ' ' << b;
        EXPECT_EQ(lisp(">=", x, y) != nil, a >= b) << a << ' ' << b;
        EXPECT_EQ(lisp("=", x, y) != nil, a == b) << a << ' ' << b;
        EXPECT_EQ(lisp("/=", x, y) != nil, a != b) << a << ' ' << b;
        EXPECT_EQ(real_value(lisp("max", x, y)), static_cast<double>(std::max(a, b)));
        EXPECT_EQ(real_value(lisp("min", x, y, x)), static_cast<double>(std::min(a, b)));
    });
}

TEST(arithmetic, turns_to_unsigned_and_to_real_where_it_meets_them)
{
    with_random_pairs([](int64_t a, int64_t b) {
        const Value x = make_integer(static_cast<int32_t>(a));
        const uint32_t u = static_cast<uint32_t>(b) | 0x80000000;
        const Value y = make_unsigned(u);
        const uint32_t sum = static_cast<uint32_t>(a) + u;
        EXPECT_EQ(static_cast<uint32_t>(integer_of(lisp("+", x, y))), sum);
        EXPECT_EQ(lisp("+", x, y).tag(), make_unsigned(sum).tag());
        EXPECT_EQ(lisp("-", y, x).tag(), make_unsigned(u - static_cast<uint32_t>(a)).tag());
        EXPECT_EQ(integer_of(lisp("-", y, make_unsigned(0x80000000))),
                  static_cast<int32_t>(u - 0x80000000));
        const double r = static_cast<double>(b) / 8;
        EXPECT_EQ(real_value(lisp("+", x, make_real(r))), static_cast<double>(a) + r);
        EXPECT_EQ(real_value(lisp("*", make_real(r), y)), r * u);
        EXPECT_EQ(real_value(lisp("/", x, y)), static_cast<double>(a) / u);
    });
}

TEST(rounding, keeps_the_low_32_bits_of_the_whole_part)
{
    const struct {
        double d;
        int32_t wanted;
    } kCases[] = {
        { 0.9, 0 },
        { -0.9, 0 },
        { 2147483647.9, 2147483647 },
        { 2147483648.0, INT32_MIN },
        { -2147483649.0, INT32_MAX },
        { 4294967296.0, 0 },
        { -4294967295.0, 1 },
        { std::ldexp(1, 63), 0 },
        { std::ldexp(3, 31), INT32_MIN },
        { HUGE_VAL, 0 },
        { -HUGE_VAL, 0 },
        { std::nan(""), 0 },
    };
    in_interpreter([&] {
        for (const auto& row : kCases)
            EXPECT_EQ(integer_of(integer_of_double(row.d)), row.wanted) << row.d;
    });
}

TEST(random, gives_the_sequence_of_its_generator_less_what_the_clock_discards)
{
    use_virtual_clock(0);
    in_interpreter([] {
        const Value most = make_fixnum(32767);
        for (const int wanted : { 41, 18467, 6334, 26500 })
            EXPECT_EQ(fixnum_value(lisp("random", most)), wanted);
        // From tick 64 on one number is passed over: 19169, then 11478 and 26962.
        advance_virtual_clock(1067);
        EXPECT_EQ(fixnum_value(lisp("random", most)), 15724);
        EXPECT_EQ(fixnum_value(lisp("random", most)), 29358);
        // From tick 256 on none again. 32767 / 10000 is 3: 26962 / 3.
        advance_virtual_clock(3200);
        EXPECT_EQ(fixnum_value(lisp("random", make_fixnum(10000))), 8987);
    });
    // A new run begins with the first number.
    in_interpreter([] {
        use_virtual_clock(0);
        EXPECT_EQ(fixnum_value(lisp("random", make_fixnum(32767))), 41);
    });
    use_real_clock();
}
