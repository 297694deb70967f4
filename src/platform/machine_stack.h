// A machine stack of our own, sized by the caller, with a page below it that faults: deep recursion
// has all the room that was asked for, whatever the shell's limit is.
#pragma once

#include <cstddef>

struct StackBounds {
    void* lowest; // first usable address
    void* top;    // one past the last
};

// Runs function(argument) on a fresh stack of at least size bytes and comes back when it returns.
// An exception that leaves the function is thrown again here. Runs may nest. False, with nothing
// run, when the system refuses the memory.
bool run_on_stack(size_t size, void (*function)(void* argument), void* argument);

// Bounds of the stack made by the innermost run; both null outside any.
StackBounds current_stack_bounds();

template <class Body> bool run_on_stack(size_t size, Body body)
{
    return run_on_stack(
        size, [](void* argument) { (*static_cast<Body*>(argument))(); }, &body);
}
