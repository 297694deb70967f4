// The equality predicates. `equal?` walks pairs along their cdrs in a loop and recurs for the cars,
// so that long lists take no stack and deep ones end in the error of a full stack.
#include "library/equality.h"

#include "kernel/evaluator.h"
#include "kernel/primitive.h"
#include "kernel/symbols.h"
#include "library/library.h"
#include "library/list_walk.h"

// Most texts differ in their first bytes: the call is for those that don't.
static bool same_text(Value a, Value b)
{
    const char* x = string_chars(a);
    const char* y = string_chars(b);
    for (int i = 0; i < 8; ++i, ++x, ++y) {
        if (*x != *y)
            return false;
        if (*x == 0)
            return true;
    }
    return strcmp(x, y) == 0;
}

static bool same_elements(Value a, Value b)
{
    const uint32_t count = vector_count(a);
    return count == vector_count(b) && memcmp(block_of(a) + 2, block_of(b) + 2, 4 * count) == 0;
}

// Of two values that are not identical, a being no list.
static bool equal_atoms(Value a, Value b)
{
    const bool same_tag = a.tag() == b.tag();
    switch (a.tag()) {
    case kTagString:
        return same_tag ? same_text(a, b) : is_symbol(b) && same_text(a, symbol_name(b));
    case kTagSymbol:
        return is_string(b) && same_text(symbol_name(a), b);
    case kTagInteger:
        return b.tag() == kTagReal && fixnum_value(a) == real_of(b);
    case kTagReal:
        return same_tag ? real_of(a) == real_of(b) : is_fixnum(b) && real_of(a) == fixnum_value(b);
    case kTagUnsignedLong:
    case kTagLong:
    case kTagVariable:
    case kTagPointer:
        // The second word is the number, the symbol or the machine pointer.
        return same_tag && node_of(a)->cdr == node_of(b)->cdr;
    case kTagVector:
        return same_tag && same_elements(a, b);
    default:
        return false;
    }
}

static bool equal_pairs(Value a, Value b)
{
    check_stack();
    PureGuard guard;
    do {
        const Value x = car_of(a);
        const Value y = car_of(b);
        if (!equal(x, y))
            return false;
        a = cdr_of(a);
        b = cdr_of(b);
        if (a == b)
            return true;
    } while (is_pair(a) && is_pair(b) && guard.more(a));
    return !is_pair(a) && equal_atoms(a, b);
}

bool equal_slow(Value a, Value b)
{
    if (is_pair(a))
        return is_pair(b) && equal_pairs(a, b);
    return equal_atoms(a, b);
}

static Value eq_p(Value a, Value b)
{
    return boolean(a == b);
}

static Value neq_p(Value a, Value b)
{
    return boolean(a != b);
}

static Value eqv_p(Value a, Value b)
{
    return boolean(eqv(a, b));
}

static Value equal_p(Value a, Value b)
{
    return boolean(equal(a, b));
}

static const Primitive equality_primitives[] = {
    { "eq?", eq_p, "(eq? a b): whether a and b are the same word" },
    { "neq?", neq_p, "(neq? a b): whether a and b are not the same word" },
    { "eqv?", eqv_p,
      "(eqv? a b): eq?, or two reals of one value, two empty vectors, two arrays of rank 0" },
    { "equal?", equal_p,
      "(equal? a b): whether a and b have the same structure and contents; a string equals the "
      "symbol of its name, an integer the real of its value; vectors by identical elements; error "
      "2 for two circular lists" },
};

void init_equality()
{
    define_primitives(equality_primitives);
}
