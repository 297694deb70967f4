// Searching lists: the family of `member` with its key and test functions, association lists, and
// the functions that take a predicate.
#include "kernel/evaluator.h"
#include "kernel/primitive.h"
#include "kernel/symbols.h"
#include "library/arguments.h"
#include "library/equality.h"
#include "library/list_modules.h"
#include "library/list_walk.h"

static Value key_of(Value key, Value element)
{
    return key == nil ? element : call_value(key, element);
}

static bool holds(Value predicate, Value v)
{
    return call_value(predicate, v) != nil;
}

bool Matcher::matches(Value element) const
{
    const Value x = key_of(key_, element);
    return test_ == nil ? equal(item_, x) : call_value(test_, item_, x) != nil;
}

// The tail whose first element passes; nil when none does.
template <class Guard, class Passes> static Value tail_where(Value list, Passes passes)
{
    Guard guard;
    for (; guard.more(list); list = cdr_of(list))
        if (passes(car_of(list)))
            return list;
    return nil;
}

Value find_tail(Value item, Value list, Value key, Value test)
{
    if (key == nil && test == nil)
        return with_equality_to(
            item, [list](auto passes) { return tail_where<PureGuard>(list, passes); });
    const Matcher matcher(item, key, test);
    return tail_where<ListGuard>(list, [&](Value x) { return matcher.matches(x); });
}

// ---- Elements

static Value memq(Value item, Value list)
{
    return tail_where<PureGuard>(list, [item](Value x) { return x == item; });
}

static Value memv(Value item, Value list)
{
    return tail_where<PureGuard>(list, [item](Value x) { return eqv(item, x); });
}

static Value member(Value item, Value list, Value key, Value test)
{
    return find_tail(item, list, key, test);
}

static Value find(Value item, Value list, Value key, Value test)
{
    return car(find_tail(item, list, key, test));
}

static Value find_if(Value predicate, Value list, Value key)
{
    return car(
        tail_where<ListGuard>(list, [=](Value x) { return holds(predicate, key_of(key, x)); }));
}

static Value collect_if(Value predicate, Value list, Value key)
{
    ListBuilder result;
    ListGuard guard;
    for (; guard.more(list); list = cdr_of(list)) {
        const Value element = car_of(list);
        if (holds(predicate, key_of(key, element)))
            result.add(element);
    }
    return result.list();
}

static Value count_if(Value predicate, Value list, Value key)
{
    int32_t count = 0;
    ListGuard guard;
    for (; guard.more(list); list = cdr_of(list))
        count += holds(predicate, key_of(key, car_of(list)));
    return make_integer(count);
}

static Value some(Value predicate, Value list)
{
    ListGuard guard;
    for (; guard.more(list); list = cdr_of(list)) {
        const Value result = call_value(predicate, car_of(list));
        if (result != nil)
            return result;
    }
    return nil;
}

static Value every(Value predicate, Value list)
{
    return boolean(tail_where<ListGuard>(list, [=](Value x) { return !holds(predicate, x); }) ==
                   nil);
}

// ---- Removing and replacing

// A copy of the pairs of list before tail, linked to rest.
static Value splice(Value list, Value tail, Value rest)
{
    ListBuilder result;
    for (; list != tail && is_pair(list); list = cdr_of(list))
        result.add(car_of(list));
    return result.ending_in(rest);
}

static Value remove(Value item, Value list, Value key, Value test)
{
    const Value match = find_tail(item, list, key, test);
    return match == nil ? list : splice(list, match, cdr_of(match));
}

static Value remove_tail_x(Value pair, Value list)
{
    if (!is_pair(pair))
        return list;
    if (pair == list)
        return cdr_of(pair);
    PureGuard guard;
    for (Value tail = list; guard.more(tail); tail = cdr_of(tail))
        if (cdr_of(tail) == pair) {
            set_cdr(tail, cdr_of(pair));
            break;
        }
    return list;
}

static Value remove_x(Value item, Value list, Value key, Value test)
{
    return remove_tail_x(find_tail(item, list, key, test), list);
}

static Value replace_x(Value old, Value v, Value list)
{
    const Value match = find_tail(old, list, nil, nil);
    if (match != nil)
        set_car(match, v);
    return list;
}

// ---- Association lists

// The first pair whose car passes. nil among the pairs is skipped.
template <class Guard, class Passes> static Value entry_where(Value alist, Passes passes)
{
    return car(tail_where<Guard>(
        alist, [&](Value entry) { return entry != nil && passes(car_of(pair_argument(entry))); }));
}

static Value assq(Value key, Value alist)
{
    return entry_where<PureGuard>(alist, [key](Value x) { return x == key; });
}

static Value assv(Value key, Value alist)
{
    return entry_where<PureGuard>(alist, [key](Value x) { return eqv(key, x); });
}

static Value assoc(Value item, Value alist, Value key, Value test)
{
    if (key == nil && test == nil)
        return with_equality_to(
            item, [alist](auto passes) { return entry_where<PureGuard>(alist, passes); });
    const Matcher matcher(item, key, test);
    return entry_where<ListGuard>(alist, [&](Value x) { return matcher.matches(x); });
}

static Value associate(Value key, Value v, Value alist)
{
    const Value entry = assv(key, alist);
    if (entry == nil)
        return cons(cons(key, v), alist);
    set_cdr(entry, v);
    return alist;
}

static Value partition(Value list, Value keys, Value key)
{
    ListBuilder entries;
    ListGuard key_guard;
    for (; key_guard.more(keys); keys = cdr_of(keys))
        entries.add(cons(car_of(keys), nil));
    // The elements of an entry are gathered last one first, and turned at the end.
    ListGuard guard;
    for (; guard.more(list); list = cdr_of(list)) {
        const Value element = car_of(list);
        const Value entry = assoc(key_of(key, element), entries.list(), nil, nil);
        if (entry != nil)
            set_cdr(entry, cons(element, cdr_of(entry)));
    }
    for (Value tail = entries.list(); tail != nil; tail = cdr_of(tail))
        set_cdr(car_of(tail), reverse_x(cdr_of(car_of(tail))));
    return entries.list();
}

static const Primitive search_primitives[] = {
    { "memq", memq, "(memq item list): the tail that begins with item by eq?; nil without one" },
    { "memv", memv, "(memv item list): the tail that begins with item by eqv?; nil without one" },
    { "member", member,
      "(member item list key test): the tail that begins with item by equal?, or by (test item "
      "element); key, when given, is called on the element first" },
    { "find", find, "(find item list key test): the element that `member` finds, nil without one" },
    { "find-if", find_if,
      "(find-if predicate list key): the first element for which predicate, of its key, holds" },
    { "collect-if", collect_if,
      "(collect-if predicate list key): all elements for which predicate, of the key, holds" },
    { "count-if", count_if,
      "(count-if predicate list key): number of elements for which predicate, of the key, holds" },
    { "some", some, "(some predicate list): the first result that is not nil, else nil" },
    { "every", every, "(every predicate list): t if no result is nil, else nil" },
    { "remove", remove,
      "(remove item list key test): the list without the first match of `member`, sharing the tail "
      "behind it; the list itself without a match" },
    { "remove!", remove_x, "(remove! item list key test): unlinks the first match of `member`" },
    { "remove-tail!", remove_tail_x,
      "(remove-tail! pair list): unlinks that very pair; the list, or its cdr when the pair is its "
      "head" },
    { "replace!", replace_x,
      "(replace! old new list): stores new for the first element equal? to old; the list" },
    { "assq", assq, "(assq key alist): the first pair whose car is key by eq?; nil without one" },
    { "assv", assv, "(assv key alist): the first pair whose car is key by eqv?; nil without one" },
    { "assoc", assoc,
      "(assoc item alist key test): the first pair whose car matches item as in `member`; nil "
      "without one" },
    { "associate", associate,
      "(associate key v alist): gives the pair of key, by eqv?, the cdr v, or conses a new pair to "
      "the front; the alist" },
    { "partition", partition,
      "(partition list keys key): alist with an entry for each of keys, holding the elements whose "
      "key is equal? to it, in order" },
};

void init_list_search()
{
    define_primitives(search_primitives);
}
