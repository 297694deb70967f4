// Property lists: key, value, key, value... in one flat list. Keys are compared by identity; a
// value that is missing at the end is nil.
#include "kernel/evaluator.h"
#include "kernel/primitive.h"
#include "library/arguments.h"
#include "library/list_modules.h"
#include "library/list_walk.h"

static Value getprop(Value key, Value plist)
{
    PureGuard guard;
    for (; guard.more(plist); plist = cdr(cdr_of(plist)))
        if (car_of(plist) == key)
            return plist;
    return nil;
}

static Value getf(Value key, Value plist, Value otherwise)
{
    const Value tail = getprop(key, plist);
    return tail == nil ? otherwise : car(cdr_of(tail));
}

static Value remprop_x(Value key, Value plist)
{
    const Value tail = getprop(key, plist);
    if (tail == nil)
        return plist;
    const Value rest = cdr(cdr_of(tail));
    if (tail == plist)
        return rest;
    Value before = cdr_of(plist);
    while (cdr_of(before) != tail)
        before = cdr_of(cdr_of(before));
    set_cdr(before, rest);
    return plist;
}

static Value for_each_property(Value f, Value plist)
{
    ListGuard guard;
    while (guard.more(plist)) {
        const Value value_pair = cdr_of(plist);
        call_value(f, car_of(plist), car(value_pair));
        plist = cdr(value_pair);
    }
    return no_value;
}

static const Primitive property_primitives[] = {
    { "getprop", getprop,
      "(getprop key plist): the tail that begins at key, by eq?; nil without one" },
    { "getf", getf, "(getf key plist default): the value of key, else default" },
    { "remprop!", remprop_x,
      "(remprop! key plist): takes key and its value out in place; the list" },
    { "for-each-property", for_each_property,
      "(for-each-property f plist): calls f on each key and value; no-value" },
};

void init_property_lists()
{
    define_primitives(property_primitives);
}
