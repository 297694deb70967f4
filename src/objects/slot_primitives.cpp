// What Lisp asks of the slots of the current object's class, and reading and writing through the
// functions that a slot names.
#include "kernel/errors.h"
#include "kernel/evaluator.h"
#include "kernel/symbols.h"
#include "objects/objects.h"

static Value symbol_invalidate;

static const SlotRecord* own_record_of(Value symbol)
{
    return slot_record(own_slot(symbol));
}

template <StoredValue SlotRecord::*field> static Value slot_attribute(Value symbol)
{
    return own_record_of(symbol)->*field;
}

template <uint8_t SlotRecord::*flag> static Value slot_flag(Value symbol)
{
    return boolean(own_record_of(symbol)->*flag);
}

static Value slot_exists_p(Value symbol)
{
    if (!is_symbol(symbol))
        raise_error(kErrorType, symbol);
    if (self_object == root_class)
        return nil;
    return boolean(!is_end(slot_descriptor(object_block(self_object)->class_, symbol)));
}

static Value object_slots(Value object)
{
    if (object == root_class)
        return nil;
    const Value cls = object_block(object_argument(object))->class_;
    Value slots = nil;
    for (int i = class_block(cls)->table_size - 1; i >= 0; --i) {
        const Value entry = member_at(class_block(cls), i);
        if (entry.tag() == kTagSlot)
            slots = cons(slot_record(entry)->name, slots);
    }
    return slots;
}

Value slot_initial_value(Value symbol)
{
    const SlotRecord* const record = own_record_of(symbol);
    return record->initform.bits == no_value.bits() ? Value(record->default_)
                                                    : eval_toplevel(record->initform);
}

static Value read_slot(Value symbol)
{
    const Value reader = eval_toplevel(own_record_of(symbol)->reader);
    return reader == nil ? symbol_value(symbol) : call_value(reader);
}

static Value read_slot_ref(Value symbol)
{
    const bool link = own_record_of(symbol)->link;
    const Value reader = eval_toplevel(own_record_of(symbol)->reader);
    if (reader != nil)
        return call_value(reader);
    return link ? get_reference(symbol) : symbol_value(symbol);
}

void write_slot(Value symbol, Value v)
{
    const Value writer = eval_toplevel(own_record_of(symbol)->writer);
    const bool invalidate = own_record_of(symbol)->invalidate;
    if (writer != nil)
        call_value(writer, v);
    else if (own_record_of(symbol)->link)
        set_reference_x(symbol, v);
    else
        set_symbol_value(symbol, v);
    if (invalidate)
        call_value(symbol_invalidate);
}

static Value write_slot_primitive(Value symbol, Value v)
{
    write_slot(symbol, v);
    return v;
}

static Value set_slot_field(Value symbol, Value keyword, Value v)
{
    own_slot(symbol);
    set_slot_attribute(class_of(self_object), symbol, keyword, v);
    return no_value;
}

static const Primitive slot_primitives[] = {
    { "object-slots", object_slots,
      "(object-slots object): the names of its slots, in the order of the member table" },
    { "slot-exists?", slot_exists_p,
      "(slot-exists? symbol): t when the current object's class has a slot of that name" },
    { "slot-name", slot_attribute<&SlotRecord::name>,
      "(slot-name symbol): the slot's name; error 2 with a symbol that is no slot of the current object" },
    { "slot-default", slot_attribute<&SlotRecord::default_>,
      "(slot-default symbol): the value that a new instance gets; error 2 as slot-name" },
    { "slot-type", slot_attribute<&SlotRecord::type>,
      "(slot-type symbol): boolean, byte, word, or anything else for a full value; error 2 as slot-name" },
    { "slot-initform", slot_attribute<&SlotRecord::initform>,
      "(slot-initform symbol): the form for slot-initial-value, as written; error 2 as slot-name" },
    { "slot-info", slot_attribute<&SlotRecord::info>,
      "(slot-info symbol): what Lisp code keeps with the slot; error 2 as slot-name" },
    { "slot-initialize?", slot_attribute<&SlotRecord::initialize>,
      "(slot-initialize? symbol): t or :write when configurations set the slot; error 2 as slot-name" },
    { "slot-linker", slot_attribute<&SlotRecord::linker>,
      "(slot-linker symbol): the name of its link function, or nil; error 2 as slot-name" },
    { "slot-reader", slot_attribute<&SlotRecord::reader>,
      "(slot-reader symbol): the form that read-slot evaluates, or nil; error 2 as slot-name" },
    { "slot-writer", slot_attribute<&SlotRecord::writer>,
      "(slot-writer symbol): the form that write-slot evaluates, or nil; error 2 as slot-name" },
    { "slot-chooser", slot_attribute<&SlotRecord::chooser>,
      "(slot-chooser symbol): what Lisp code keeps to choose a value; error 2 as slot-name" },
    { "slot-allocate?", slot_flag<&SlotRecord::allocate>,
      "(slot-allocate? symbol): t when the slot has room in each instance; error 2 as slot-name" },
    { "slot-link?", slot_flag<&SlotRecord::link>,
      "(slot-link? symbol): t when the slot holds a reference; error 2 as slot-name" },
    { "slot-list?", slot_flag<&SlotRecord::list>,
      "(slot-list? symbol): t when it holds a list of references; error 2 as slot-name" },
    { "slot-editable?", slot_flag<&SlotRecord::editable>,
      "(slot-editable? symbol): a flag kept for Lisp code; error 2 as slot-name" },
    { "slot-invalidate?", slot_flag<&SlotRecord::invalidate>,
      "(slot-invalidate? symbol): t when write-slot calls invalidate; error 2 as slot-name" },
    { "slot-initial-value", slot_initial_value,
      "(slot-initial-value symbol): its initform evaluated, or its default; error 2 as slot-name" },
    { "read-slot", read_slot,
      "(read-slot symbol): the slot's value, through its reader if it has one; error 2 as slot-name" },
    { "read-slot-ref", read_slot_ref,
      "(read-slot-ref symbol): as read-slot, a linked slot unresolved; error 2 as slot-name" },
    { "write-slot", write_slot_primitive,
      "(write-slot symbol value): sets the slot, through its writer if it has one, then calls invalidate "
      "if the slot asks for it; answers value; error 2 as slot-name" },
    { "set-slot-field", set_slot_field,
      "(set-slot-field symbol keyword value): sets one attribute (:default, :type...) of a slot of the "
      "current class and of the descendants that have not changed it; no value; error 2 with what is no "
      "slot or no attribute, 57 for :allocate? or :type after the first instance" },
};

void init_slot_primitives()
{
    symbol_invalidate = intern("invalidate");
    define_primitives(slot_primitives);
}
