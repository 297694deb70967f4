// The equality of structures. eqv stands in the kernel.
#pragma once

#include "kernel/equality.h"

// Of two values that are not the same word.
bool equal_slow(Value a, Value b);

inline bool equal(Value a, Value b)
{
    if (a == b)
        return true;
    // Immediate values of one type: nothing behind them could be alike.
    if (a.tag() == b.tag() && (is_fixnum(a) || is_symbol(a)))
        return false;
    return equal_slow(a, b);
}

// Searches for one value ask its type once: calls with(f), where f(x) tells whether x is equal to
// it.
template <class With> Value with_equality_to(Value item, With with)
{
    if (is_fixnum(item) || is_symbol(item))
        return with([item](Value x) {
            return x == item || (x.tag() != item.tag() && equal_slow(item, x));
        });
    return with([item](Value x) { return equal(item, x); });
}
