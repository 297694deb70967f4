// Linked slots hold a reference, by name or otherwise, that is resolved when the slot is first read.
// With a link function a cell keeps the reference beside what it stands for; without, the object takes
// the reference's place.
#include "kernel/errors.h"
#include "kernel/evaluator.h"
#include "kernel/hooks.h"
#include "kernel/symbols.h"
#include "objects/objects.h"

static Value symbol_find_link;

Value own_slot(Value symbol)
{
    if (!is_symbol(symbol) || self_object == root_class)
        raise_error(kErrorType, symbol);
    const Value descriptor = slot_descriptor(object_block(self_object)->class_, symbol);
    if (is_end(descriptor))
        raise_error(kErrorType, symbol);
    return descriptor;
}

// What the slot holds as it stands; a slot without room in the instance is a global.
static Value stored_value(Value symbol, Value descriptor)
{
    if (!slot_record(descriptor)->allocate)
        return global_value(symbol);
    const Value v = read_slot_raw(self_object, descriptor);
    return is_end(v) ? no_value : v;
}

static Value unresolved(Value v)
{
    return v.tag() == kTagCacheCell ? car_of(v) : v;
}

static Value unresolved_list(Value list)
{
    const Value head = cons(nil, nil);
    Value last = head;
    for (; is_pair(list); list = cdr_of(list)) {
        const Value cell = cons(unresolved(car_of(list)), nil);
        set_cdr(last, cell);
        last = cell;
    }
    return cdr_of(head);
}

static bool all_objects(Value list)
{
    if (!is_pair(list))
        return false;
    for (; is_pair(list); list = cdr_of(list))
        if (!is_object(car_of(list)))
            return false;
    return true;
}

Value get_reference(Value symbol)
{
    const Value descriptor = own_slot(symbol);
    const Value v = unresolved(stored_value(symbol, descriptor));
    const SlotRecord* const record = slot_record(descriptor);
    if (record->link && record->list && record->linker.bits == nil.bits() && is_pair(v))
        return unresolved_list(v);
    return v;
}

Value set_reference_x(Value symbol, Value v)
{
    const Value descriptor = own_slot(symbol);
    if (slot_record(descriptor)->allocate)
        write_slot_raw(self_object, descriptor, v);
    else
        set_global_value(symbol, v);
    return v;
}

static Value reset_link(Value symbol)
{
    return set_reference_x(symbol, get_reference(symbol));
}

static Value linked_p(Value symbol)
{
    const Value descriptor = own_slot(symbol);
    const Value v = stored_value(symbol, descriptor);
    const SlotRecord* const record = slot_record(descriptor);
    if (!record->link)
        return nil;
    if (record->linker.bits != nil.bits())
        return boolean(v.tag() == kTagCacheCell);
    return boolean(is_object(v) || (record->list && all_objects(v)));
}

// The object that a reference stands for is looked up by Lisp code. A list of objects is resolved.
static Value resolve_link(Value raw, Value name)
{
    if (slot_record(own_slot(name))->list && all_objects(raw))
        return raw;
    return call_value(symbol_find_link, raw, name);
}

static const Primitive reference_primitives[] = {
    { "get-reference", get_reference,
      "(get-reference symbol): what a slot of the current object stores, without resolving it; error 2 "
      "with a symbol that is no slot" },
    { "set-reference!", set_reference_x,
      "(set-reference! symbol value): stores value in a slot of the current object as it is; answers "
      "value; error 2 with a symbol that is no slot" },
    { "reset-link", reset_link,
      "(reset-link symbol): forgets what the slot's reference has been resolved to; answers the "
      "reference" },
    { "linked?", linked_p, "(linked? symbol): t when the slot's reference has been resolved" },
};

void init_references()
{
    symbol_find_link = intern("find-link");
    hooks.resolve_link = resolve_link;
    define_primitives(reference_primitives);
}
