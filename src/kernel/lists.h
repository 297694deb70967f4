// Operands of a form: lists that may be too short, whose missing members are nil.
#pragma once

#include "kernel/spaces.h"

inline Value first(Value list)
{
    return is_pair(list) ? car_of(list) : nil;
}

inline Value rest(Value list)
{
    return is_pair(list) ? cdr_of(list) : nil;
}
