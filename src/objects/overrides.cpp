// Definitions of one object alone. They stand in its list of (symbol . value), the newest first, and
// hide what its class says; `overriden` finds what an override hides.
#include "kernel/errors.h"
#include "kernel/evaluator.h"
#include "kernel/symbols.h"
#include "objects/objects.h"

static Value add_override(Value symbol, Value v)
{
    if (!is_symbol(symbol))
        raise_error(kErrorType, symbol);
    const Value object = object_argument(self_object);
    // The look-up goes past the object for names that have no index.
    give_slot_index(symbol);
    const Value pair = cons(symbol, v);
    const Value list = cons(pair, object_block(object)->overrides);
    object_block(object)->overrides = list;
    forget_object_view();
    return pair;
}

static Value remove_override(Value key)
{
    if (!is_symbol(key) && !is_pair(key))
        raise_error(kErrorType, key);
    ObjectBlock* const object = object_block(object_argument(self_object));
    Value previous = nil;
    for (Value list = object->overrides; list != nil; previous = list, list = cdr_of(list)) {
        const Value pair = car_of(list);
        if (pair != key && car_of(pair) != key)
            continue;
        if (previous == nil)
            object->overrides = cdr_of(list);
        else
            set_cdr(previous, cdr_of(list));
        break;
    }
    return no_value;
}

// Whether v runs as callee: a closure's frame knows the function behind it.
static bool runs_as(Value v, Value callee)
{
    if (v == callee)
        return true;
    if (v.tag() == kTagLexical)
        return cdr_of(v) == callee;
    return (v.tag() == kTagClosed || v.tag() == kTagClosedSyntax) && car_of(v) == callee;
}

// The value of the pair that the running override hides, or end_of_args.
static Value next_override(Value name)
{
    const LambdaFrame* const frame = current_lambda();
    if (self_object == root_class || !frame || frame->callee == nil)
        return end_of_args;
    Value list = object_block(self_object)->overrides;
    while (list != nil
           && !(car_of(car_of(list)) == name && runs_as(cdr_of(car_of(list)), frame->callee)))
        list = cdr_of(list);
    if (list == nil)
        return end_of_args;
    for (list = cdr_of(list); list != nil; list = cdr_of(list))
        if (car_of(car_of(list)) == name)
            return cdr_of(car_of(list));
    return end_of_args;
}

static Value overriden(Value arguments)
{
    const Value name = is_pair(arguments) ? car_of(arguments) : arguments;
    if (!is_symbol(name))
        raise_error(kErrorType, name);
    const Value next = next_override(name);
    return is_end(next) ? class_level_value(name) : next;
}

static const Primitive override_primitives[] = {
    { "add-override", add_override,
      "(add-override symbol value): the current object alone takes value under the symbol; answers the "
      "pair (symbol . value); error 2 with what is no symbol, or at the root" },
    { "remove-override", remove_override,
      "(remove-override symbol): takes the newest override of that name away; given a pair that "
      "add-override answered, that one; no value" },
    Primitive::special("overriden", overriden,
                       "(overriden name): the definition that the running override of name hides: an "
                       "older override, or what the class gives; the name is not evaluated"),
};

void init_overrides() { define_primitives(override_primitives); }
