// Which primitives may stand in the car of a stream pair. A stream is (primitive . state); only a
// primitive that is told here is ever called as a character procedure, so a wild one in the car is
// refused instead of jumped to.
#pragma once

#include "kernel/primitive.h"
#include "kernel/printer.h"
#include "kernel/reader.h"

// What an input stream can do besides giving characters; null where it can't.
struct GetOperations {
    // Steps back over the last character given. Without it the reader keeps the character itself. It
    // is called while frames are left, maybe after the stream has died: it must not raise an error.
    void (*unget)(uint32_t state) = nullptr;
    // Waits until there is something to read, before a form or line is asked for.
    void (*wait)() = nullptr;
    // Bytes taken from the start of the stream so far. Without it: the first word of the state.
    uint32_t (*position)(uint32_t state) = nullptr;
};

void register_get_entry(Primitive::Entry entry, GetProcedure get, const GetOperations& more);
void register_put_entry(Primitive::Entry entry, PutProcedure put);

// function is the one that stands in the primitive's row.
template <class... Values>
void register_get(Value (*function)(Values...), GetProcedure get, const GetOperations& more = {})
{
    register_get_entry(reinterpret_cast<Primitive::Entry>(function), get, more);
}

template <class... Values> void register_put(Value (*function)(Values...), PutProcedure put)
{
    register_put_entry(reinterpret_cast<Primitive::Entry>(function), put);
}

// The procedure behind a primitive Value; null when it is no stream procedure.
GetProcedure get_procedure(Value primitive);
PutProcedure put_procedure(Value primitive);

// Never null; all its members are for a procedure that was registered without.
const GetOperations* get_operations(GetProcedure get);

// The state word of a stream pair's cdr: the pointer's word, or the bits of a symbol or of the symbol
// in a pair's cdr (the selector of a stream written in Lisp). Anything else is error 2 with the stream.
uint32_t stream_state(Value stream);
