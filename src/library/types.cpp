// Predicates on types, and what they are called.
#include "kernel/types.h"

#include "kernel/primitive.h"
#include "kernel/symbols.h"
#include "library/library.h"

static Value true_()
{
    return symbol_t;
}

static Value false_()
{
    return nil;
}

static Value boolean_p(Value v)
{
    return boolean(v == symbol_t || v == nil);
}

static Value not_(Value v)
{
    return boolean(v == nil);
}

static Value pair_p(Value v)
{
    return boolean(is_pair(v));
}

static Value list_p(Value v)
{
    return boolean(v.tag() == kTagList);
}

static Value atom_p(Value v)
{
    return boolean(!is_pair(v));
}

static Value symbol_p(Value v)
{
    return boolean(is_symbol(v));
}

static Value function_p(Value v)
{
    return boolean(v.tag() == kTagFunction);
}

static Value special_p(Value v)
{
    return boolean(v.tag() == kTagSpecial);
}

static Value procedure_p(Value v)
{
    switch (v.tag()) {
    case kTagFunction:
    case kTagPrimitive:
    case kTagSpecial:
    case kTagPredicate:
    case kTagLexical:
    case kTagClosed:
        return symbol_t;
    default:
        return nil;
    }
}

static Value type_of_(Value v)
{
    return type_of(v);
}

static Value type_p(Value v, Value type)
{
    return boolean(is_type(v, type));
}

static const Primitive type_primitives[] = {
    { "true", true_, "(true): t" },
    { "false", false_, "(false): nil" },
    { "boolean?", boolean_p, "(boolean? v): whether v is t or nil" },
    { "not", not_, "(not v): t for nil, else nil" },
    { "null?", not_, "(null? v): t for nil, else nil" },
    { "pair?", pair_p, "(pair? v): whether v is a pair; nil is none" },
    { "list?", list_p, "(list? v): whether v is a pair or nil" },
    { "atom?", atom_p, "(atom? v): whether v is no pair; nil is an atom" },
    { "symbol?", symbol_p, "(symbol? v): whether v is a symbol" },
    { "function?", function_p, "(function? v): whether v is a function made by lambda" },
    { "special?", special_p, "(special? v): whether v is a special form of the run-time's" },
    { "procedure?", procedure_p,
      "(procedure? v): whether v is a function, closure, primitive, special or predicate" },
    { "type-of", type_of_,
      "(type-of v): the symbol that names v's type (integer, long, unsigned-long and real for "
      "numbers), the class of an instance; error 2 for what Lisp never holds" },
    { "type?", type_p,
      "(type? v type): whether type is what type-of answers for v, or for an object a class of its "
      "genealogy or that class's name; a number is of its own type only" },
};

void init_types()
{
    define_primitives(type_primitives);
}
