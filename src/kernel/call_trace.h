// Who called whom: the Lisp functions that are running, by the names that they are defined under.
#pragma once

#include <string>
#include <vector>

#include "kernel/frames.h"

// A name for a function: the symbol that it is the value of, or "class name" for a method. Empty
// when nothing names it.
std::string function_name(Value function);

// The running functions, innermost first, at most that many; nameless ones are left out. One that
// calls itself over and over stands once.
struct RunningFunction {
    std::string name;
    size_t depth; // calls that stand one in the other
};
std::vector<RunningFunction> running_functions(size_t most);

void init_call_trace();
