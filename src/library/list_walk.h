// Walking and building lists. A list ends in nil; an atom in its tail is error 2 with that atom, a
// list that runs in a circle error 2 with one of its pairs.
#pragma once

#include "kernel/errors.h"
#include "kernel/spaces.h"

// What a walk may still take from tail on: the pairs to its end. Raises for one without an end.
uint32_t pairs_to_end(Value tail);

// Decides at each step of a walk whether to go on:
//     ListGuard guard;
//     for (; guard.more(list); list = cdr_of(list)) ...
// Counts the steps; past the fuel it looks ahead once whether there is an end. A walk that
// allocates or calls Lisp takes the lesser fuel, so that a circle costs it little; a pure one takes
// more steps than a proper list can have pairs.
class ListGuard {
public:
    static constexpr uint32_t kFuel = 8192;
    static constexpr uint32_t kPureFuel = kMostNodes;

    explicit ListGuard(uint32_t fuel = kFuel) : fuel_(fuel) {}

    bool more(Value tail)
    {
        if (tail.bits() > nil.bits()) [[likely]] { // a pair: no other Value is as high
            if (--fuel_ == 0) [[unlikely]]
                fuel_ = pairs_to_end(tail);
            return true;
        }
        if (tail != nil)
            raise_error(kErrorType, tail);
        return false;
    }

private:
    uint32_t fuel_;
};

// For walks that neither allocate nor call Lisp.
struct PureGuard : ListGuard {
    PureGuard() : ListGuard(kPureFuel) {}
};

// Collects values in order. The pairs are nobody else's until the list is handed out, so they are
// linked without the test for permanent nodes.
class ListBuilder {
public:
    void add(Value v) { link(cons(v, nil)); }

    void add_all(Value list)
    {
        ListGuard guard;
        for (; guard.more(list); list = cdr_of(list))
            add(car_of(list));
    }

    // The list so far, ending in tail.
    Value ending_in(Value tail)
    {
        if (head_ == nil)
            return tail;
        node_of(last_)->cdr = tail.bits();
        return head_;
    }
    Value list() const { return head_; }
    // The pair that holds the last value added.
    Value last() const { return last_; }

private:
    void link(Value pair)
    {
        if (head_ == nil)
            head_ = pair;
        else
            node_of(last_)->cdr = pair.bits();
        last_ = pair;
    }

    Value head_;
    Value last_;
};

// How elements are compared in the family of `member`: key is called on the element, unless nil,
// and test on the item and that key; without a test, equal.
class Matcher {
public:
    Matcher(Value item, Value key, Value test) : item_(item), key_(key), test_(test) {}

    bool matches(Value element) const;

private:
    const Value item_;
    const Value key_;
    const Value test_;
};

// The tail of the list that begins with the first match; nil when there is none.
Value find_tail(Value item, Value list, Value key, Value test);

// A fresh list of the same elements.
Value copy_list(Value list);
Value reverse_x(Value list);

// What car and cdr answer: nil for nil, error 2 on a value without two words of Lisp data.
Value car(Value v);
Value cdr(Value v);
