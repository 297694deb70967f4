// The life of an interpreter: its machine stack, its arena, its modules in their fixed order, and
// the way back to nothing, so that a process may boot again and again.
#pragma once

#include <cstddef>

#include "kernel/spaces.h"

// Runs body on a machine stack of its own, with the depth limit and the collector's stack top set.
// promised is the machine stack's size as an image's preferences count it, in bytes for 32-bit
// addresses; the stack that is mapped is wider by a factor. Answers what body answers, or the
// status that ended the program. A throw that nothing catches ends it with status 1.
int run_program(uint32_t promised, int (*body)(void* argument), void* argument);

template <class Body> int run_program(uint32_t promised, Body body)
{
    return run_program(
        promised, [](void* argument) { return (*static_cast<Body*>(argument))(); }, &body);
}

// Opens the arena and initialises all modules; called inside run_program. On too_small nothing is
// open and *shortage_kb is what the dialog shows. stop_modules closes what Lisp code left open and
// gives the arena back; nothing of the run survives it.
ArenaResult start_modules(const SpaceSizes& sizes, uint32_t free_memory, uint32_t* shortage_kb);
void stop_modules();

// What programs without an Image file run with.
SpaceSizes console_sizes();

// start_modules with sizes, body, stop_modules, all of it in run_program.
int run_interpreter(const SpaceSizes& sizes, int (*body)(void* argument), void* argument);

template <class Body> int run_interpreter(const SpaceSizes& sizes, Body body)
{
    return run_interpreter(
        sizes, [](void* argument) { return (*static_cast<Body*>(argument))(); }, &body);
}

// The module that registered a row of the primitive table, in the words of the reference.
const char* primitive_module(size_t row);
