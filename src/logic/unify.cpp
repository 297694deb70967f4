// Terms: following, unification, the trail, and the way out of a proof for its results.
#include "logic/term.h"

#include "kernel/evaluator.h"
#include "library/equality.h"
#include "library/list_walk.h"
#include "logic/logic.h"

// ---- Scopes and their names

Scope* newest_scope;

void scope_gone(Value cell)
{
    raise_error(kErrorType, car_of(cell));
}

static Value box_of(Scope* scope)
{
    if (scope->box == nil) {
        const uint64_t address = reinterpret_cast<uintptr_t>(scope);
        scope->box = new_node(kTagLong, kHeaderBox << 24 | static_cast<uint32_t>(address >> 32),
                              static_cast<uint32_t>(address));
    }
    return scope->box;
}

void close_scope()
{
    const Scope* const scope = newest_scope;
    newest_scope = scope->older;
    if (scope->box == nil)
        return;
    Node* const box = node_of(scope->box);
    box->car = kHeaderBox << 24;
    box->cdr = 0;
}

// ---- Terms

Value* distant_slot_of(Value variable, Scope* scope)
{
    return scope ? variable_slot(variable, frame_of(scope)) : nullptr;
}

inline Value Term::stored()
{
    if (!scope || (!is_unbound() && !is_pair(value)))
        return value;
    if (cell == nil) {
        const Value box = box_of(scope);
        cell = new_node(kTagReference, value.bits(), box.bits());
    }
    return cell;
}

// ---- The trail

static inline void trail(Value* slot)
{
    if (prolog_sp <= spaces.prolog_base) [[unlikely]]
        raise_error(kErrorNoMemory, nil);
    *--prolog_sp = zone_address(slot);
}

static inline Value* trailed_slot(uint32_t entry)
{
    return reinterpret_cast<Value*>(zone_pointer(entry));
}

void undo_trail(uint32_t* mark)
{
    while (prolog_sp < mark)
        *trailed_slot(*prolog_sp++) = no_value;
}

// ---- Unification

// Symbols and immediate integers are equal to no other among themselves. Strings, other numbers and
// the like have to be looked into, and a string may be equal to a symbol.
static inline bool is_name(Value v)
{
    return is_symbol(v) || is_fixnum(v);
}

static inline bool atoms_agree(Value a, Value b)
{
    return a != nil && b != nil && !(is_name(a) && is_name(b)) && equal(a, b);
}

// The same list in two scopes is two terms: its variables may differ.
static inline bool stands_alone(Value v)
{
    return !is_pair(v) && v.tag() != kTagVariable;
}

// The common items of a pattern without a call: atoms, and variables that the try meets first.
// False when the item takes unify itself; otherwise *agree says how it came out.
static inline bool unify_simple(Value a, Scope* scope_a, Value b, Scope* scope_b, bool* agree)
{
    if (a.tag() == kTagVariable) {
        Value* const slot = slot_of(a, scope_a);
        if (!slot || *slot != no_value || slot < newest_scope->slots)
            return false;
        Term right(b, scope_b);
        right.follow();
        if (right.is_unbound())
            return false;
        *slot = right.stored();
        *agree = true;
        return true;
    }
    *agree = a == b;
    return is_name(a) && is_name(b);
}

bool unify(Value a, Scope* scope_a, Value b, Scope* scope_b)
{
    check_stack();
    LoopWatch watch;
    for (;;) {
        if (a == b && (scope_a == scope_b || stands_alone(a)))
            return true;
        Term right(b, scope_b);
        right.follow();
        Term left(a, scope_a);
        left.follow();
        if (right.is_unbound()) {
            if (left.slot == right.slot)
                return true;
            const Value v = left.stored();
            trail(right.slot);
            *right.slot = v;
            return true;
        }
        if (left.is_unbound()) {
            // Failure takes the scope of the try away; a variable reached through it is restored.
            const Value v = right.stored();
            if (left.slot < newest_scope->slots)
                trail(left.slot);
            *left.slot = v;
            return true;
        }
        a = left.value;
        b = right.value;
        scope_a = left.scope;
        scope_b = right.scope;
        if (a == b && (scope_a == scope_b || !is_pair(a)))
            return true;
        if (!is_pair(a) || !is_pair(b))
            return atoms_agree(a, b);
        const Value item_a = car_of(a);
        const Value item_b = car_of(b);
        bool agree;
        if (!unify_simple(item_a, scope_a, item_b, scope_b, &agree))
            agree = unify(item_a, scope_a, item_b, scope_b);
        if (!agree)
            return false;
        a = cdr_of(a);
        b = cdr_of(b);
        if (a.tag() == kTagVariable && unify_simple(a, scope_a, b, scope_b, &agree))
            return agree;
        // Terms that contain themselves come round without a difference found.
        if (watch.repeats(a, scope_a, b, scope_b))
            return true;
    }
}

// ---- Results

Value resolve(Value value, Scope* scope)
{
    check_stack();
    ListBuilder list;
    LoopWatch watch;
    for (;;) {
        Term term(value, scope);
        term.follow();
        if (term.is_unbound())
            return list.ending_in(no_value);
        if (!is_pair(term.value))
            return list.ending_in(term.value);
        if (watch.repeats(term.value, term.scope))
            raise_message_error("term without an end");
        scope = term.scope;
        list.add(resolve(car_of(term.value), scope));
        value = cdr_of(term.value);
    }
}

Value resolve_term(Value cell)
{
    return resolve(car_of(cell), scope_of(cell));
}

void resolve_variables(Value form, Scope* scope)
{
    check_stack();
    LoopWatch watch;
    for (; is_pair(form) && !watch.repeats(form, scope); form = cdr_of(form))
        resolve_variables(car_of(form), scope);
    if (form.tag() != kTagVariable)
        return;
    Value* const slot = slot_of(form, scope);
    if (slot && slot->tag() == kTagReference)
        *slot = resolve_term(*slot);
}

void resolve_trailed(uint32_t* mark, const Value* first_own, const Scope* query)
{
    for (const uint32_t* entry = prolog_sp; entry < mark; ++entry) {
        Value* const slot = trailed_slot(*entry);
        if (slot >= first_own || slot->tag() != kTagReference)
            continue;
        // The machine stack grows down: what lies at or below the query's scope ends with it.
        if (scope_of(*slot) <= query)
            *slot = resolve_term(*slot);
    }
}
