// Terms of a proof. A term that holds variables means something together with its scope only: the
// run of words on the Lisp stack where these variables are read. Terms are shared, never copied,
// until a proof is complete.
#pragma once

#include "kernel/frames.h"

// The variables of one try of a clause, or of the function that asks a query. Lies on the machine
// stack; the box is the node by which reference cells name it, nil until there is such a cell.
struct Scope {
    Value* slots;
    uint32_t count;
    Value box;
    Scope* older;        // all that live, newest first
    LambdaFrame* frame;  // null for a clause in which no Lisp has run yet
};

extern Scope* newest_scope;

// The frame in which the Lisp goals of a scope run.
LambdaFrame* frame_of(Scope* scope);

// Ends the newest scope: a cell that outlives it is refused when it is met, not followed.
void close_scope();

// ---- Cells
//
// A reference cell is a node of the term and a box; the box holds the address of the scope, its
// high bits beside the header in the car. It is emptied when the scope ends.

[[noreturn]] void scope_gone(Value cell);  // error 2 with the term

inline Scope* scope_of(Value cell)
{
    const Node* const box = node_of(cdr_of(cell));
    const uint64_t high = box->car & kPayloadMask;
    Scope* const scope = reinterpret_cast<Scope*>(high << 32 | box->cdr);
    if (!scope) [[unlikely]]
        scope_gone(cell);
    return scope;
}

// ---- Terms

// Where the variable's value stands, or null when the scope has no such variable: it is then an
// atom.
Value* distant_slot_of(Value variable, Scope* scope);

inline Value* slot_of(Value variable, Scope* scope)
{
    // A depth stands above the 16 bits of the index, so it fails the comparison.
    const uint32_t place = node_of(variable)->car & kPayloadMask;
    if (scope && place < scope->count) [[likely]]
        return scope->slots + place;
    return distant_slot_of(variable, scope);
}

// A value with its scope (null when it has none), followed as far as it goes.
struct Term {
    Term(Value value_, Scope* scope_) : value(value_), scope(scope_) {}

    // Through bound variables and cells, to an unbound variable or to a value.
    void follow();
    bool is_unbound() const { return slot; }
    // As a slot holds it: a cell for what must be read in the scope.
    Value stored();

    Value value;
    Scope* scope;
    Value* slot = nullptr;  // of the unbound variable that value is
    Value cell = nil;       // the cell that holds just this value and scope, if it was met
};

inline void Term::follow()
{
    while (value.tag() == kTagVariable) {
        Value* const place = slot_of(value, scope);
        if (!place) {
            scope = nullptr;
            return;
        }
        const Value v = *place;
        if (v == no_value) {
            slot = place;
            return;
        }
        if (v.tag() == kTagReference) {
            cell = v;
            value = car_of(v);
            scope = scope_of(v);
        } else {
            cell = nil;
            value = v;
            scope = nullptr;
        }
    }
}

// ---- Unification

// Makes both terms one by binding variables; a stands in the clause, b in the call. False leaves
// the bindings made so far: those of the caller's side stand on the trail.
bool unify(Value a, Scope* scope_a, Value b, Scope* scope_b);

// Takes back the bindings that the trail holds down to mark.
void undo_trail(uint32_t* mark);

Value resolve(Value value, Scope* scope);

// Puts copies free of scopes in place of the cells in the slots of a query form's variables.
void resolve_variables(Value form, Scope* scope);

// The same for slots on the trail above mark that outlive the proof: those below the first of its
// own words on the Lisp stack.
void resolve_trailed(uint32_t* mark, const Value* first_own, const Scope* query);

// Tells that a walk comes by a place again, without memory of all of them (Brent's method). Short
// walks cost a count only.
class LoopWatch {
public:
    bool repeats(Value a, const void* scope_a, Value b = nil, const void* scope_b = nullptr)
    {
        return ++steps_ >= kShortWalk && compare(a, scope_a, b, scope_b);
    }

private:
    static constexpr uint32_t kShortWalk = 256;

    bool compare(Value a, const void* scope_a, Value b, const void* scope_b)
    {
        if (steps_ > kShortWalk && a == a_ && b == b_ && scope_a == scope_a_ && scope_b == scope_b_)
            return true;
        if ((steps_ & (steps_ - 1)) == 0) {
            a_ = a;
            b_ = b;
            scope_a_ = scope_a;
            scope_b_ = scope_b;
        }
        return false;
    }

    uint32_t steps_ = 0;
    Value a_, b_;
    const void* scope_a_ = nullptr;
    const void* scope_b_ = nullptr;
};
