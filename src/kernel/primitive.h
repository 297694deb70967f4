// Native functions that Lisp calls. A module registers one table; the arity of a row comes from the
// type of its function, and the usage line is what `--doc` and docs/reference.md show.
#pragma once

#include <cstddef>

#include "kernel/value.h"

// The remaining arguments of a primitive: a run on the Lisp stack, closed by end_of_args.
using Rest = const Value*;

constexpr uint32_t kSpecArity = 0x1fffff;
constexpr uint32_t kSpecOptional = 0x200000;  // stored only
constexpr uint32_t kSpecReverse = 0x400000;   // the rest is pushed last one first
constexpr uint32_t kSpecRest = 0x800000;

struct Primitive {
    using Entry = void (*)();

    template <class... Values>
    Primitive(const char* name_, Value (*function)(Values...), const char* usage_)
        : name(name_), usage(usage_), entry(reinterpret_cast<Entry>(function)), spec(spec_of(function)),
          tag(kTagPrimitive)
    {
    }

    // A form that gets its argument list unevaluated.
    static Primitive special(const char* name, Value (*function)(Value), const char* usage)
    {
        Primitive row(name, function, usage);
        row.spec = 0;
        row.tag = kTagSpecial;
        return row;
    }

    // A built-in form that the evaluator knows by its tag.
    static Primitive keyword(const char* name, Tag tag, const char* usage)
    {
        Primitive row(name, static_cast<Value (*)()>(nullptr), usage);
        row.tag = tag;
        return row;
    }

    // The entry that is called when a rest primitive is given exactly two arguments.
    Primitive two(Value (*function)(Value, Value)) const
    {
        Primitive row = *this;
        row.two_entry = function;
        return row;
    }
    Primitive optional() const
    {
        Primitive row = *this;
        row.spec |= kSpecOptional;
        return row;
    }
    Primitive reversed() const
    {
        Primitive row = *this;
        row.spec |= kSpecReverse;
        return row;
    }

    const char* name;
    const char* usage;
    Entry entry;
    Value (*two_entry)(Value, Value) = nullptr;
    uint32_t spec;
    Tag tag;

private:
    template <class... Values> static constexpr uint32_t spec_of(Value (*)(Values...))
    {
        constexpr uint32_t rests = (0 + ... + (sizeof(Values) == sizeof(Rest) ? 1 : 0));
        static_assert(sizeof...(Values) <= 8 + rests && rests <= 1);
        return rests ? kSpecRest + sizeof...(Values) - 1 : sizeof...(Values);
    }
};

// Interns the names and binds them; a name that is bound already keeps its value (a later row of the
// same name is told to replace it by redefine_primitive).
void define_primitives(const Primitive* rows, size_t count);
template <size_t N> void define_primitives(const Primitive (&rows)[N])
{
    define_primitives(rows, N);
}

// Binds the name to this row even if it is bound.
void redefine_primitive(const Primitive& row);

// The node of a primitive without a name binding: methods of native classes are made of these.
Value make_primitive(const Primitive& row);

// The row behind a primitive or special.
const Primitive& primitive_row(Value primitive);

// Forgets all rows, before a boot.
void reset_primitives();

// All rows so far, in order of registration, and the usage line of a name (null when there is none).
// Rows of methods are listed with the class's name by the object layer.
size_t primitive_count();
const Primitive& primitive_at(size_t index);
const char* primitive_usage(const char* name);
