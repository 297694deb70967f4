// Making, copying and rearranging lists.
#include "kernel/evaluator.h"
#include "kernel/primitive.h"
#include "kernel/symbols.h"
#include "library/arguments.h"
#include "library/library.h"
#include "library/list_modules.h"
#include "library/list_walk.h"

// ---- Making

static Value cons_pair(Value a, Value b)
{
    return cons(a, b);
}

static Value list(Rest elements)
{
    ListBuilder result;
    for (; !is_end(*elements); ++elements)
        result.add(*elements);
    return result.list();
}

static Value list_of_two(Value a, Value b)
{
    return cons(a, cons(b, nil));
}

static Value cons_list(Rest elements)
{
    if (is_end(*elements))
        return nil;
    ListBuilder result;
    for (; !is_end(elements[1]); ++elements)
        result.add(*elements);
    return result.ending_in(*elements);
}

static Value add(Value item, Value list)
{
    PureGuard guard;
    for (Value tail = list; guard.more(tail); tail = cdr_of(tail))
        if (car_of(tail) == item)
            return list;
    return cons(item, list);
}

// ---- Joining

static Value append_two(Value a, Value b)
{
    if (b == nil)
        return a;
    ListBuilder result;
    result.add_all(a);
    return result.ending_in(b);
}

static Value append(Rest lists)
{
    ListBuilder result;
    Value last = nil;
    for (; !is_end(*lists); ++lists) {
        if (*lists == nil)
            continue;
        result.add_all(last);
        last = *lists;
    }
    return result.ending_in(last);
}

static Value end_of_list(Value list)
{
    PureGuard guard;
    while (guard.more(cdr_of(list)))
        list = cdr_of(list);
    return list;
}

static Value append_x(Rest lists)
{
    Value result = nil;
    Value last = nil;
    for (; !is_end(*lists); ++lists) {
        if (*lists == nil)
            continue;
        if (result == nil)
            result = *lists;
        else
            set_cdr(end_of_list(pair_argument(last)), *lists);
        last = *lists;
    }
    return result;
}

// ---- Copying

Value copy_list(Value list)
{
    ListBuilder result;
    result.add_all(list);
    return result.list();
}

static Value copy_tree(Value v)
{
    if (!is_pair(v))
        return v;
    check_stack();
    ListBuilder result;
    ListGuard guard;
    for (; is_pair(v) && guard.more(v); v = cdr_of(v))
        result.add(copy_tree(car_of(v)));
    return result.ending_in(v);
}

static Value butlast(Value list)
{
    if (!is_pair(list))
        return nil;
    ListBuilder result;
    ListGuard guard;
    for (; guard.more(cdr_of(list)); list = cdr_of(list))
        result.add(car_of(list));
    return result.list();
}

static Value reverse(Value list)
{
    Value result = nil;
    ListGuard guard;
    for (; guard.more(list); list = cdr_of(list))
        result = cons(car_of(list), result);
    return result;
}

Value reverse_x(Value list)
{
    Value result = nil;
    // Looks for the end first: turning a circle would destroy it before it is found.
    if (is_pair(list))
        pairs_to_end(list);
    while (is_pair(list)) {
        const Value rest = cdr_of(list);
        set_cdr(list, result);
        result = list;
        list = rest;
    }
    if (list != nil)
        raise_error(kErrorType, list);
    return result;
}

static Value subseq(Value list, Value from, Value to)
{
    uint32_t skip = unsigned_value(from);
    uint32_t left = to == nil ? UINT32_MAX : unsigned_value(to);
    left = left > skip ? left - skip : 0;
    ListGuard guard;
    while (skip > 0 && guard.more(list)) {
        list = cdr_of(list);
        --skip;
    }
    ListBuilder result;
    for (; left > 0 && guard.more(list); list = cdr_of(list), --left)
        result.add(car_of(list));
    return result.list();
}

// ---- Rearranging

// The pair number n, or nil when the list is shorter.
static Value nth_pair(Value list, uint32_t n)
{
    PureGuard guard;
    while (guard.more(list)) {
        if (n-- == 0)
            return list;
        list = cdr_of(list);
    }
    return nil;
}

static Value change_rank_x(Value list, Value from, Value to)
{
    const uint32_t source = unsigned_value(from);
    const uint32_t target = to == nil ? UINT32_MAX : unsigned_value(to);
    const Value moved = nth_pair(list, source);
    if (moved == nil || target == source || target == source + 1)
        return list;
    // Both neighbours are found before anything is unlinked.
    const Value follower = target == 0 ? nil : nth_pair(list, target - 1);
    const Value before = follower != nil || target == 0 ? follower : end_of_list(list);
    if (before == moved)
        return list;
    if (source == 0)
        list = cdr_of(moved);
    else
        set_cdr(nth_pair(list, source - 1), cdr_of(moved));
    if (target == 0) {
        set_cdr(moved, list);
        return moved;
    }
    set_cdr(moved, cdr_of(before));
    set_cdr(before, moved);
    return list;
}

// One step of all rows at once: the pairs of the outer list serve as cursors into the inner ones.
template <class Take> static void take_column(Value cursors, Take take)
{
    for (; is_pair(cursors); cursors = cdr_of(cursors)) {
        const Value row = car_of(cursors);
        set_car(cursors, cdr(row));
        take(row);
    }
}

static Value transpose(Value lists)
{
    const Value cursors = copy_list(lists);
    ListBuilder result;
    ListGuard guard;
    while (cursors != nil && guard.more(car_of(cursors))) {
        ListBuilder column;
        take_column(cursors, [&](Value row) { column.add(car(row)); });
        result.add(column.list());
    }
    return result.list();
}

// The pairs of the rows become those of the columns, the outer list's the first of the result's.
static Value transpose_x(Value lists)
{
    const Value cursors = copy_list(lists);
    ListBuilder columns;
    ListGuard guard;
    while (cursors != nil && guard.more(car_of(cursors))) {
        Value head = nil;
        Value last = nil;
        take_column(cursors, [&](Value row) {
            const Value pair = is_pair(row) ? row : cons(nil, nil);
            set_cdr(pair, nil);
            if (head == nil)
                head = pair;
            else
                set_cdr(last, pair);
            last = pair;
        });
        columns.add(head);
    }
    Value spare = lists;
    Value end = nil;
    Value column = columns.list();
    for (; column != nil && is_pair(spare); column = cdr_of(column), spare = cdr_of(spare)) {
        set_car(spare, car_of(column));
        end = spare;
    }
    if (end == nil)
        return column;
    set_cdr(end, column);
    return lists;
}

// ---- Counting loops

template <class Each> static void count_through(Value from, Value to, Value down, Each each)
{
    const int64_t first = integer_value(from);
    const int64_t last = integer_value(to);
    const int64_t step = is_true_flag(down) ? -1 : 1;
    for (int64_t i = first; (last - i) * step >= 0; i += step)
        each(make_integer(static_cast<int32_t>(i)));
}

static Value for_(Value from, Value to, Value f, Value down)
{
    count_through(from, to, down, [f](Value i) { call_value(f, i); });
    return no_value;
}

static Value for_collect(Value from, Value to, Value f, Value down)
{
    ListBuilder result;
    count_through(from, to, down, [&](Value i) { result.add(call_value(f, i)); });
    return result.list();
}

static const Primitive list_primitives[] = {
    { "cons", cons_pair, "(cons a b): a new pair" },
    Primitive("list", list, "(list v ...): a new list of the arguments").two(list_of_two),
    Primitive("cons-list", cons_list,
              "(cons-list v ... tail): a new list of the arguments before the last, ending in it")
        .two(cons_pair),
    Primitive("append", append,
              "(append list ...): a copy of all but the last non-nil list, which is shared")
        .two(append_two),
    { "append!", append_x, "(append! list ...): joins the lists in place, skipping nil" },
    { "add", add, "(add item list): the list if it holds item by eq?, else item consed to it" },
    { "copy-list", copy_list, "(copy-list list): fresh pairs, the same elements" },
    { "copy-tree", copy_tree, "(copy-tree v): fresh pairs all through, the same atoms" },
    { "butlast", butlast, "(butlast list): a copy without the last element; nil for an atom" },
    { "reverse", reverse, "(reverse list): a copy in reverse order" },
    { "reverse!", reverse_x, "(reverse! list): turns the list in place and answers its new head" },
    { "subseq", subseq,
      "(subseq list from to): fresh list of elements from .. to - 1, to the end when to is nil or "
      "past it" },
    { "change-rank!", change_rank_x,
      "(change-rank! list from to): moves element from before the one at to, at the end when to is "
      "nil or past it, in place; the list, whose head may be new" },
    { "transpose", transpose,
      "(transpose lists): list of the first elements, of the second ones...; as many as the first "
      "list has; nil where a list is short" },
    { "transpose!", transpose_x, "(transpose! lists): transpose that uses the pairs of the lists" },
    { "for", for_,
      "(for from to f down): calls f with from, from + 1 .. to, downward when down is true" },
    { "for-collect", for_collect,
      "(for-collect from to f down): calls f as `for` does and answers the list of the results" },
};

void init_lists()
{
    init_list_access();
    define_primitives(list_primitives);
    init_list_search();
    init_property_lists();
    init_sort();
}
