// The names of types.
#pragma once

#include "kernel/value.h"

// The symbol that names v's type; the class for an object; error 2 for what Lisp never holds.
Value type_of(Value v);

// Whether v is of the type: its own name, or for an object the class, or a class in its genealogy,
// or such a class's name.
bool is_type(Value v, Value type);

void init_type_names();
