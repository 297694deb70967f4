// The equality that `case` and the evaluator need; the deeper ones stand in the library.
#pragma once

#include "kernel/value.h"

// Identity, and two reals of the same value, two empty vectors, two arrays of rank 0.
bool eqv_slow(Value a, Value b);

inline bool eqv(Value a, Value b)
{
    return a == b || (a.tag() == b.tag() && eqv_slow(a, b));
}
