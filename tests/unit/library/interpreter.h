// Runs the body of a test inside an interpreter of its own.
#pragma once

#include <gtest/gtest.h>

#include "app/boot.h"
#include "kernel/evaluator.h"
#include "kernel/frames.h"
#include "kernel/symbols.h"

template <class Body> void in_interpreter(const SpaceSizes& sizes, Body body)
{
    const int status = run_interpreter(sizes, [&] {
        body();
        return 0;
    });
    EXPECT_EQ(status, 0);
}
template <class Body> void in_interpreter(Body body)
{
    in_interpreter(console_sizes(), body);
}

// Calls the primitive of that name.
template <class... Values> Value lisp(const char* name, Values... arguments)
{
    return call_value(global_value(intern(name)), arguments...);
}

// Whether the body leaves by an error's throw to toplevel.
template <class Body> bool ends_in_error(Body body)
{
    const CatchFrame frame(intern("toplevel"));
    const SavedState state;
    try {
        body();
    } catch (const thrower&) {
        state.restore();
        return true;
    }
    return false;
}
