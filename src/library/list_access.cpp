// Reaching into lists: the car and cdr family, places by number, ends and lengths. nil has car and
// cdr nil, so a place past the end is nil; storing there is error 2.
#include "kernel/evaluator.h"
#include "kernel/primitive.h"
#include "kernel/symbols.h"
#include "library/arguments.h"
#include "library/library.h"
#include "library/list_modules.h"
#include "library/list_walk.h"

uint32_t pairs_to_end(Value tail)
{
    // The walker laps a marker that is set anew at every power of two.
    Value marker = tail;
    uint32_t count = 1;
    for (Value walker = cdr_of(tail); is_pair(walker); walker = cdr_of(walker)) {
        if (walker == marker)
            raise_error(kErrorType, tail);
        if ((count & (count + 1)) == 0)
            marker = walker;
        ++count;
    }
    return count;
}

// Functions, closures and variables have two words of Lisp data as pairs do, and may be looked
// into.
static bool is_plain_node(Value v)
{
    switch (v.tag()) {
    case kTagVariable:
    case kTagSyntax:
    case kTagFunction:
    case kTagLexical:
    case kTagGamma:
    case kTagClosed:
    case kTagSyntaxGamma:
    case kTagClosedSyntax:
        return true;
    default:
        return false;
    }
}

static Value car_of_other(Value v)
{
    if (v == nil)
        return nil;
    if (!is_plain_node(v))
        raise_error(kErrorType, v);
    return car_of(v);
}

static Value cdr_of_other(Value v)
{
    if (v == nil)
        return nil;
    if (!is_plain_node(v))
        raise_error(kErrorType, v);
    return cdr_of(v);
}

Value car(Value v)
{
    return is_pair(v) ? car_of(v) : car_of_other(v);
}

Value cdr(Value v)
{
    return is_pair(v) ? cdr_of(v) : cdr_of_other(v);
}

// c, the letters of the path, r: the last letter is taken first.
template <char first, char... rest> static Value path(Value v)
{
    if constexpr (sizeof...(rest) > 0)
        v = path<rest...>(v);
    return first == 'a' ? car(v) : cdr(v);
}

// second to tenth, and set-first! to set-tenth!.
template <int n> static Value element(Value list)
{
    for (int i = 1; i < n; ++i)
        list = cdr(list);
    return car(list);
}

template <int n> static Value set_element(Value list, Value v)
{
    for (int i = 1; i < n; ++i)
        list = cdr(pair_argument(list));
    set_car(pair_argument(list), v);
    return v;
}

static Value set_cdr_x(Value pair, Value v)
{
    set_cdr(pair_argument(pair), v);
    return v;
}

static Value tail_after(Value list, uint32_t n)
{
    PureGuard guard;
    while (n-- > 0 && guard.more(list))
        list = cdr_of(list);
    return list;
}

static uint32_t list_length(Value list)
{
    uint32_t count = 0;
    PureGuard guard;
    for (; guard.more(list); list = cdr_of(list))
        ++count;
    return count;
}

static Value list_tail(Value list, Value n)
{
    return tail_after(list, unsigned_value(n));
}

static Value list_ref(Value list, Value n)
{
    return car(tail_after(list, unsigned_value(n)));
}

static Value reversed_ref(Value list, Value n)
{
    const uint32_t from_end = unsigned_value(n);
    const uint32_t count = list_length(list);
    return from_end < count ? car(tail_after(list, count - 1 - from_end)) : nil;
}

static Value last_pair(Value list)
{
    Value pair = nil;
    PureGuard guard;
    for (; guard.more(list); list = cdr_of(list))
        pair = list;
    return pair;
}

static Value last(Value list)
{
    return car(last_pair(list));
}

static Value length(Value list)
{
    return make_integer(static_cast<int32_t>(list_length(list)));
}

static const Primitive access_primitives[] = {
    { "car", car, "(car pair): its first element; nil for nil; error 2 for an atom" },
    { "cdr", cdr, "(cdr pair): the rest; nil for nil; error 2 for an atom" },
    { "first", car, "(first list): its first element; nil for nil; error 2 for an atom" },
    { "caar", path<'a', 'a'>, "(caar x): car of car" },
    { "cadr", path<'a', 'd'>, "(cadr x): car of cdr" },
    { "cdar", path<'d', 'a'>, "(cdar x): cdr of car" },
    { "cddr", path<'d', 'd'>, "(cddr x): cdr of cdr" },
    { "caaar", path<'a', 'a', 'a'>, "(caaar x): car of caar" },
    { "caadr", path<'a', 'a', 'd'>, "(caadr x): car of cadr" },
    { "cadar", path<'a', 'd', 'a'>, "(cadar x): car of cdar" },
    { "caddr", path<'a', 'd', 'd'>, "(caddr x): car of cddr" },
    { "cdaar", path<'d', 'a', 'a'>, "(cdaar x): cdr of caar" },
    { "cdadr", path<'d', 'a', 'd'>, "(cdadr x): cdr of cadr" },
    { "cddar", path<'d', 'd', 'a'>, "(cddar x): cdr of cdar" },
    { "cdddr", path<'d', 'd', 'd'>, "(cdddr x): cdr of cddr" },
    { "caaaar", path<'a', 'a', 'a', 'a'>, "(caaaar x): car of caaar" },
    { "caaadr", path<'a', 'a', 'a', 'd'>, "(caaadr x): car of caadr" },
    { "caadar", path<'a', 'a', 'd', 'a'>, "(caadar x): car of cadar" },
    { "caaddr", path<'a', 'a', 'd', 'd'>, "(caaddr x): car of caddr" },
    { "cadaar", path<'a', 'd', 'a', 'a'>, "(cadaar x): car of cdaar" },
    { "cadadr", path<'a', 'd', 'a', 'd'>, "(cadadr x): car of cdadr" },
    { "caddar", path<'a', 'd', 'd', 'a'>, "(caddar x): car of cddar" },
    { "cadddr", path<'a', 'd', 'd', 'd'>, "(cadddr x): car of cdddr" },
    { "cdaaar", path<'d', 'a', 'a', 'a'>, "(cdaaar x): cdr of caaar" },
    { "cdaadr", path<'d', 'a', 'a', 'd'>, "(cdaadr x): cdr of caadr" },
    { "cdadar", path<'d', 'a', 'd', 'a'>, "(cdadar x): cdr of cadar" },
    { "cdaddr", path<'d', 'a', 'd', 'd'>, "(cdaddr x): cdr of caddr" },
    { "cddaar", path<'d', 'd', 'a', 'a'>, "(cddaar x): cdr of cdaar" },
    { "cddadr", path<'d', 'd', 'a', 'd'>, "(cddadr x): cdr of cdadr" },
    { "cdddar", path<'d', 'd', 'd', 'a'>, "(cdddar x): cdr of cddar" },
    { "cddddr", path<'d', 'd', 'd', 'd'>, "(cddddr x): cdr of cdddr" },
    { "second", element<2>, "(second list): its 2nd element, nil past the end" },
    { "third", element<3>, "(third list): its 3rd element, nil past the end" },
    { "fourth", element<4>, "(fourth list): its 4th element, nil past the end" },
    { "fifth", element<5>, "(fifth list): its 5th element, nil past the end" },
    { "sixth", element<6>, "(sixth list): its 6th element, nil past the end" },
    { "seventh", element<7>, "(seventh list): its 7th element, nil past the end" },
    { "eighth", element<8>, "(eighth list): its 8th element, nil past the end" },
    { "ninth", element<9>, "(ninth list): its 9th element, nil past the end" },
    { "tenth", element<10>, "(tenth list): its 10th element, nil past the end" },
    { "set-car!", set_element<1>,
      "(set-car! pair v): stores v as first element; v; error 2 for nil" },
    { "set-cdr!", set_cdr_x, "(set-cdr! pair v): stores v as the rest; v; error 2 for nil" },
    { "set-first!", set_element<1>,
      "(set-first! list v): stores v in place 1; v; error 2 for nil" },
    { "set-second!", set_element<2>,
      "(set-second! list v): stores v in place 2; v; error 2 past the end" },
    { "set-third!", set_element<3>,
      "(set-third! list v): stores v in place 3; v; error 2 past the end" },
    { "set-fourth!", set_element<4>,
      "(set-fourth! list v): stores v in place 4; v; error 2 past the end" },
    { "set-fifth!", set_element<5>,
      "(set-fifth! list v): stores v in place 5; v; error 2 past the end" },
    { "set-sixth!", set_element<6>,
      "(set-sixth! list v): stores v in place 6; v; error 2 past the end" },
    { "set-seventh!", set_element<7>,
      "(set-seventh! list v): stores v in place 7; v; error 2 past the end" },
    { "set-eighth!", set_element<8>,
      "(set-eighth! list v): stores v in place 8; v; error 2 past the end" },
    { "set-ninth!", set_element<9>,
      "(set-ninth! list v): stores v in place 9; v; error 2 past the end" },
    { "set-tenth!", set_element<10>,
      "(set-tenth! list v): stores v in place 10; v; error 2 past the end" },
    { "list-ref", list_ref,
      "(list-ref list n): element n from 0, nil past the end; error 2 for n below 0" },
    { "reversed-ref", reversed_ref,
      "(reversed-ref list n): element n from 0 counted from the end, nil past the start" },
    { "list-tail", list_tail,
      "(list-tail list n): the tail behind n pairs, shared; nil past the end" },
    { "last", last, "(last list): its last element; nil for nil" },
    { "last-pair", last_pair, "(last-pair list): its last pair; nil for nil" },
    { "length", length,
      "(length list): number of pairs; error 2 for an atom, an improper or a circular list" },
};

void init_list_access()
{
    define_primitives(access_primitives);
}
