// Arithmetic and comparison of any number of arguments. Each has an entry for two arguments, which
// settles fixnums and reals at once and leaves the rest to the general rule.
#include "library/numbers.h"

#include "kernel/evaluator.h"
#include "kernel/primitive.h"
#include "kernel/symbols.h"
#include "library/library.h"

// ---- Sum

// A sum under way. It counts in signed words, from the first unsigned-long on in unsigned ones, and
// from the first real on in doubles.
struct Sum {
    enum class Kind { integer, unsigned_long, real };

    void add(Value v)
    {
        if (kind == Kind::real) {
            real += real_value(v);
        } else if (is_real(v)) {
            real = to_double() + real_of(v);
            kind = Kind::real;
        } else if (is_unsigned_long(v)) {
            word += unsigned_value(v);
            kind = Kind::unsigned_long;
        } else {
            word += static_cast<uint32_t>(integer_value(v));
        }
    }

    double to_double() const
    {
        return kind == Kind::integer ? static_cast<int32_t>(word) : static_cast<double>(word);
    }

    Value result() const
    {
        if (kind == Kind::real)
            return make_real(real);
        return kind == Kind::integer ? make_wrapped(word) : make_unsigned(word);
    }

    Kind kind = Kind::integer;
    uint32_t word = 0;
    double real = 0;
};

static Value add(Rest terms)
{
    Sum sum;
    for (; !is_end(*terms); ++terms)
        sum.add(*terms);
    return sum.result();
}

static Value add_two(Value a, Value b)
{
    if (is_fixnum(a) && is_fixnum(b)) [[likely]]
        return make_integer(fixnum_value(a) + fixnum_value(b));
    if (is_real(a))
        return make_real(real_of(a) + real_value(b));
    const Value terms[] = { a, b, end_of_args };
    return add(terms);
}

// ---- Difference

static Value negate(Value v)
{
    if (is_real(v))
        return make_real(-real_of(v));
    const uint32_t word =
        is_unsigned_long(v) ? unsigned_value(v) : static_cast<uint32_t>(integer_value(v));
    return make_wrapped(0 - word);
}

// An unsigned-long less an integer stays unsigned; the other differences of words are signed.
static Value subtract_two(Value a, Value b)
{
    if (is_fixnum(a) && is_fixnum(b)) [[likely]]
        return make_integer(fixnum_value(a) - fixnum_value(b));
    if (is_real(a) || is_real(b))
        return make_real(real_value(a) - real_value(b));
    Sum first;
    Sum second;
    first.add(a);
    second.add(b);
    const uint32_t difference = first.word - second.word;
    return is_unsigned_long(a) && !is_unsigned_long(b) ? make_unsigned(difference)
                                                       : make_wrapped(difference);
}

static Value subtract(Rest terms)
{
    if (is_end(terms[0]))
        raise_error(kErrorNoArguments);
    return is_end(terms[1]) ? negate(terms[0]) : subtract_two(terms[0], add(terms + 1));
}

// ---- Product and quotient

static Value multiply(Rest factors)
{
    uint32_t product = 1;
    for (; !is_end(*factors) && !is_real(*factors); ++factors)
        product *= static_cast<uint32_t>(integer_value(*factors));
    if (is_end(*factors))
        return make_wrapped(product);
    double real = static_cast<int32_t>(product);
    for (; !is_end(*factors); ++factors)
        real *= real_value(*factors);
    return make_real(real);
}

static Value multiply_two(Value a, Value b)
{
    if (is_fixnum(a) && is_fixnum(b)) [[likely]]
        return make_wrapped(static_cast<uint32_t>(fixnum_value(a)) *
                            static_cast<uint32_t>(fixnum_value(b)));
    if (is_real(a))
        return make_real(real_of(a) * real_value(b));
    const Value factors[] = { a, b, end_of_args };
    return multiply(factors);
}

// A divisor of 0 gives an infinity. The divisors multiply as doubles and never wrap.
static Value divide(Rest terms)
{
    if (is_end(terms[0]))
        raise_error(kErrorNoArguments);
    if (is_end(terms[1]))
        return make_real(1.0 / real_value(terms[0]));
    double divisor = 1;
    const double dividend = real_value(terms[0]);
    while (!is_end(*++terms))
        divisor *= real_value(*terms);
    return make_real(dividend / divisor);
}

static Value divide_two(Value a, Value b)
{
    const double dividend = real_value(a);
    return make_real(dividend / real_value(b));
}

// ---- Comparison

// Two integers compare signed, two unsigned-longs unsigned, all else as doubles.
template <class Holds> static bool compare(Value a, Value b, Holds holds)
{
    if (is_fixnum(a) && is_fixnum(b)) [[likely]]
        return holds(fixnum_value(a), fixnum_value(b));
    if (is_integer(a) && is_integer(b))
        return holds(integer_value(a), integer_value(b));
    if (is_unsigned_long(a) && is_unsigned_long(b))
        return holds(unsigned_value(a), unsigned_value(b));
    const double x = real_value(a);
    return holds(x, real_value(b));
}

// The relations, so that one template serves each with all its types.
struct Less {
    template <class T> bool operator()(T a, T b) const { return a < b; }
};
struct Greater {
    template <class T> bool operator()(T a, T b) const { return a > b; }
};
struct LessOrEqual {
    template <class T> bool operator()(T a, T b) const { return a <= b; }
};
struct GreaterOrEqual {
    template <class T> bool operator()(T a, T b) const { return a >= b; }
};
struct Equal {
    template <class T> bool operator()(T a, T b) const { return a == b; }
};
struct Unequal {
    template <class T> bool operator()(T a, T b) const { return a != b; }
};

template <class Relation> static Value chain(Rest numbers)
{
    if (is_end(numbers[0]))
        raise_error(kErrorNoArguments);
    for (; !is_end(numbers[1]); ++numbers)
        if (!compare(numbers[0], numbers[1], Relation()))
            return nil;
    return symbol_t;
}

template <class Relation> static Value relation(Value a, Value b)
{
    if (is_fixnum(a) && is_fixnum(b)) [[likely]]
        return boolean(Relation()(fixnum_value(a), fixnum_value(b)));
    return boolean(compare(a, b, Relation()));
}

template <class Relation> static Primitive comparison(const char* name, const char* usage)
{
    return Primitive(name, chain<Relation>, usage).two(relation<Relation>);
}

// ---- Extremes

// Integers and unsigned-longs by their values, whatever their types.
template <class Better> static bool beats(Value a, Value b, Better better)
{
    if (is_real(a) || is_real(b))
        return better(real_value(a), real_value(b));
    if (is_unsigned_long(a) || is_unsigned_long(b)) {
        Sum x;
        Sum y;
        x.add(a);
        y.add(b);
        return better(x.to_double(), y.to_double());
    }
    return better(integer_value(a), integer_value(b));
}

// From the last argument to the first. One real among them makes the result a real.
template <class Better> static Value extreme(Rest numbers)
{
    uint32_t i = 0;
    bool real = false;
    for (; !is_end(numbers[i]); ++i)
        real |= is_real(numbers[i]);
    if (i == 0)
        raise_error(kErrorNoArguments);
    Value best = numbers[--i];
    if (i == 0)
        real_value(best); // refuses a lone non-number
    while (i-- > 0)
        if (beats(numbers[i], best, Better()))
            best = numbers[i];
    return real && !is_real(best) ? make_real(real_value(best)) : best;
}

template <class Better> static Value extreme_two(Value a, Value b)
{
    if (is_fixnum(a) && is_fixnum(b)) [[likely]]
        return Better()(fixnum_value(a), fixnum_value(b)) ? a : b;
    const Value numbers[] = { a, b, end_of_args };
    return extreme<Better>(numbers);
}

static const Primitive number_primitives[] = {
    Primitive("+", add,
              "(+ n ...): sum, 0 without arguments; integers wrap at 32 bits; unsigned from an "
              "unsigned-long on, real from a real on; error 2 for a non-number")
        .two(add_two),
    Primitive("-", subtract,
              "(- n m ...): n less the sum of the others, or -n alone; error 42 without arguments")
        .two(subtract_two),
    Primitive("*", multiply,
              "(* n ...): product, 1 without arguments; integers wrap at 32 bits; real from a real "
              "on; error 2 for an unsigned-long before a real")
        .two(multiply_two),
    Primitive("/", divide,
              "(/ n m ...): n by the product of the others, or 1/n alone, always a real, an "
              "infinity for a divisor of 0; error 42 without arguments")
        .two(divide_two),
    comparison<Less>("<", "(< n ...): whether each is below the next; error 42 without arguments"),
    comparison<Greater>(">",
                        "(> n ...): whether each is above the next; error 42 without arguments"),
    comparison<LessOrEqual>(
        "<=", "(<= n ...): whether none is above the next; error 42 without arguments"),
    comparison<GreaterOrEqual>(
        ">=", "(>= n ...): whether none is below the next; error 42 without arguments"),
    comparison<Equal>("=",
                      "(= n ...): whether all are equal as numbers; error 42 without arguments"),
    comparison<Unequal>(
        "/=", "(/= n ...): whether no two neighbours are equal; error 42 without arguments"),
    Primitive("max", extreme<Greater>,
              "(max n ...): the greatest, a real if one of them is; error 42 without arguments")
        .two(extreme_two<Greater>),
    Primitive("min", extreme<Less>,
              "(min n ...): the least, a real if one of them is; error 42 without arguments")
        .two(extreme_two<Less>),
};

void init_numbers()
{
    define_primitives(number_primitives);
    init_number_functions();
}
