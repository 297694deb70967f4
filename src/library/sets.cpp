// Sets: lists without an order. An element is looked for as `member` does it: by equal?, or by test
// of the item and the key of the element that it is compared with.
#include "kernel/primitive.h"
#include "kernel/symbols.h"
#include "library/library.h"
#include "library/list_walk.h"

static bool includes(Value a, Value b, Value key, Value test)
{
    ListGuard guard;
    for (; guard.more(a); a = cdr_of(a))
        if (find_tail(car_of(a), b, key, test) == nil)
            return false;
    return true;
}

static Value include_p(Value a, Value b, Value key, Value test)
{
    return boolean(includes(a, b, key, test));
}

static Value equal_set_p(Value a, Value b, Value key, Value test)
{
    return boolean(includes(a, b, key, test) && includes(b, a, key, test));
}

// The elements of a that are in b, or those that are not.
static Value select(Value a, Value b, Value key, Value test, bool wanted)
{
    ListBuilder result;
    ListGuard guard;
    for (; guard.more(a); a = cdr_of(a)) {
        const Value element = car_of(a);
        if ((find_tail(element, b, key, test) != nil) == wanted)
            result.add(element);
    }
    return result.list();
}

static Value intersection(Value a, Value b, Value key, Value test)
{
    return select(a, b, key, test, true);
}

static Value difference(Value a, Value b, Value key, Value test)
{
    return b == nil ? a : select(a, b, key, test, false);
}

// Unlinks each element that an earlier one matches.
static void unlink_duplicates(Value list, Value key, Value test)
{
    ListGuard guard;
    for (; guard.more(list); list = cdr_of(list)) {
        const Matcher matcher(car_of(list), key, test);
        Value before = list;
        ListGuard inner_guard;
        while (inner_guard.more(cdr_of(before))) {
            const Value pair = cdr_of(before);
            if (matcher.matches(car_of(pair)))
                set_cdr(before, cdr_of(pair));
            else
                before = pair;
        }
    }
}

static Value make_set(Value list, Value key, Value test, Value in_place)
{
    const Value result = is_true_flag(in_place) ? list : copy_list(list);
    unlink_duplicates(result, key, test);
    return result;
}

static Value union_(Value a, Value b, Value key, Value test)
{
    ListBuilder all;
    all.add_all(a);
    all.add_all(b);
    unlink_duplicates(all.list(), key, test);
    return all.list();
}

static const Primitive set_primitives[] = {
    { "include?", include_p, "(include? a b key test): whether every element of a is in b" },
    { "equal-set?", equal_set_p, "(equal-set? a b key test): whether a and b include each other" },
    { "intersection", intersection,
      "(intersection a b key test): the elements of a that are in b, in a's order" },
    { "difference", difference,
      "(difference a b key test): the elements of a that are not in b; a itself when b is nil" },
    { "union", union_, "(union a b key test): a fresh list of the elements of both, each once" },
    { "make-set", make_set,
      "(make-set list key test in-place): the list without elements that an earlier one matches; a "
      "copy unless in-place is true" },
};

void init_sets()
{
    define_primitives(set_primitives);
}
