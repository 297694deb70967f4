// Slot definition: descriptors belong to one class each, the records behind them are shared with the
// descendants until one of them writes. A change reaches every descendant that had not made its own.
#include "objects/slots.h"

#include "kernel/errors.h"
#include "kernel/evaluator.h"
#include "kernel/hooks.h"
#include "kernel/symbols.h"

static SlotField slot_fields[] = {
    { ":default", &SlotRecord::default_, nullptr, SlotArgument::evaluated, false, nil },
    { ":allocate?", nullptr, &SlotRecord::allocate, SlotArgument::evaluated, true, nil },
    { ":initialize?", &SlotRecord::initialize, nullptr, SlotArgument::evaluated, false, nil },
    { ":link?", nullptr, &SlotRecord::link, SlotArgument::evaluated, false, nil },
    { ":list?", nullptr, &SlotRecord::list, SlotArgument::evaluated, false, nil },
    { ":editable?", nullptr, &SlotRecord::editable, SlotArgument::evaluated, false, nil },
    { ":invalidate?", nullptr, &SlotRecord::invalidate, SlotArgument::evaluated, false, nil },
    { ":initform", &SlotRecord::initform, nullptr, SlotArgument::as_written, false, nil },
    { ":linker", &SlotRecord::linker, nullptr, SlotArgument::as_written, false, nil },
    { ":type", &SlotRecord::type, nullptr, SlotArgument::as_written, true, nil },
    { ":reader", &SlotRecord::reader, nullptr, SlotArgument::as_written, false, nil },
    { ":writer", &SlotRecord::writer, nullptr, SlotArgument::as_written, false, nil },
    { ":chooser", &SlotRecord::chooser, nullptr, SlotArgument::as_written, false, nil },
    { ":info", &SlotRecord::info, nullptr, SlotArgument::as_written, false, nil },
};

static Value symbol_configuration;
static Value symbol_config_pathname;
static Value symbol_load_file;
static Value symbol_auto_initialize;
static Value symbol_close;
static Value symbol_initialize;
static Value keyword_default;

const SlotField& slot_field(Value keyword)
{
    for (const SlotField& field : slot_fields)
        if (field.keyword == keyword)
            return field;
    raise_error(kErrorType, keyword);
}

Value read_field(const SlotRecord* record, const SlotField& field)
{
    if (field.flag)
        return boolean(record->*field.flag);
    return record->*field.value;
}

static void store_field(SlotRecord* record, const SlotField& field, Value v)
{
    if (field.flag)
        record->*field.flag = is_true_flag(v);
    else
        record->*field.value = v;
}

// ---- Descriptors and records

Value slot_descriptor(Value cls, Value symbol)
{
    const Value entry = member_entry(cls, symbol);
    return entry.tag() == kTagSlot ? entry : end_of_args;
}

Value new_descriptor(Value record)
{
    return new_node(kTagSlot, nil.bits(), record.bits());
}

static void fill_record(SlotRecord* record, Value symbol, Value cls)
{
    record->name = symbol;
    record->class_value = end_of_args;
    record->default_ = no_value;
    record->initform = no_value;
    record->initialize = nil;
    record->linker = nil;
    record->type = symbol_t;
    record->reader = nil;
    record->writer = nil;
    record->chooser = nil;
    record->owner = cls;
    record->info = nil;
    record->kind = kSlotUnset;
    record->allocate = 1;
    record->link = 0;
    record->list = 0;
    record->editable = 0;
    record->invalidate = 0;
}

static Value allocate_record()
{
    ensure_space(sizeof(SlotRecord));
    return new_indirect(sizeof(SlotRecord), kTagSlotData, kHeaderSlotData);
}

static Value new_record(Value symbol, Value cls)
{
    const Value record = allocate_record();
    fill_record(reinterpret_cast<SlotRecord*>(block_of(record)), symbol, cls);
    return record;
}

Value copy_record(Value record, Value owner)
{
    const Value copy = allocate_record();
    memcpy(block_of(copy), block_of(record), sizeof(SlotRecord));
    reinterpret_cast<SlotRecord*>(block_of(copy))->owner = owner;
    return copy;
}

void own_record(Value cls, Value descriptor)
{
    if (slot_record(descriptor)->owner != cls)
        set_cdr(descriptor, copy_record(cdr_of(descriptor), cls));
}

// ---- Setting an attribute

namespace {

struct FieldChange {
    Value symbol;
    const SlotField& field;
    Value value;  // a flag's as t or nil
};

}

static bool is_retired(Value cls) { return class_block(cls)->united & kClassRetired; }

// Raises the error that the change would meet in cls or below, before anything is changed. record is
// the one that a class without the slot comes to share; old the value that the change replaces.
static void check_change(Value cls, const FieldChange& change, Value record, Value old)
{
    check_stack();
    const Value descriptor = slot_descriptor(cls, change.symbol);
    const bool inited = class_block(cls)->inited;
    if (is_retired(cls) && (is_end(descriptor) || change.field.fixed))
        return;
    if (is_end(descriptor)) {
        if (inited)
            raise_error(kErrorSlotAfterLayout, change.symbol);
    } else {
        if (cdr_of(descriptor) != record && read_field(slot_record(descriptor), change.field) != old)
            return;
        if (inited && change.field.fixed && old != change.value)
            raise_error(kErrorSlotChange, change.field.keyword);
        record = cdr_of(descriptor);
    }
    for (Value list = class_block(cls)->descendants; list != nil; list = cdr_of(list))
        check_change(car_of(list), change, record, old);
}

// The pass down. A class that shares the source's record has the change already, and hands it on.
static void hand_down(Value cls, const FieldChange& change, Value source, Value old)
{
    check_stack();
    Value descriptor = slot_descriptor(cls, change.symbol);
    if (is_retired(cls) && (is_end(descriptor) || change.field.fixed))
        return;
    if (is_end(descriptor)) {
        descriptor = new_descriptor(cdr_of(source));
        set_member_entry(cls, change.symbol, descriptor);
    } else if (cdr_of(descriptor) != cdr_of(source)) {
        if (read_field(slot_record(descriptor), change.field) != old)
            return;
        own_record(cls, descriptor);
        store_field(slot_record(descriptor), change.field, change.value);
    }
    for (Value list = class_block(cls)->descendants; list != nil; list = cdr_of(list))
        hand_down(car_of(list), change, descriptor, old);
}

static void change_field(Value cls, const FieldChange& change)
{
    Value descriptor = slot_descriptor(cls, change.symbol);
    const bool fresh = is_end(descriptor);
    if (fresh)
        descriptor = new_descriptor(new_record(change.symbol, cls));
    const Value old = read_field(slot_record(descriptor), change.field);
    check_change(cls, change, cdr_of(descriptor), old);
    if (fresh)
        set_member_entry(cls, change.symbol, descriptor);
    own_record(cls, descriptor);
    store_field(slot_record(descriptor), change.field, change.value);
    for (Value list = class_block(cls)->descendants; list != nil; list = cdr_of(list))
        hand_down(car_of(list), change, descriptor, old);
}

void set_slot_attribute(Value cls, Value symbol, Value keyword, Value v)
{
    const SlotField& field = slot_field(keyword);
    change_field(cls, { symbol, field, field.flag ? boolean(is_true_flag(v)) : v });
}

// ---- The value of a slot for the class itself

static void write_class_value(Value cls, Value descriptor, Value v)
{
    own_record(cls, descriptor);
    slot_record(descriptor)->class_value = v;
}

// Writes where the value is still old (end_of_args for unset), and below.
static void hand_value_down(Value cls, Value source, Value v, Value old)
{
    check_stack();
    const Value descriptor = slot_descriptor(cls, slot_record(source)->name);
    if (is_end(descriptor))
        return;
    if (cdr_of(descriptor) != cdr_of(source)) {
        if (slot_record(descriptor)->class_value != old)
            return;
        write_class_value(cls, descriptor, v);
    }
    for (Value list = class_block(cls)->descendants; list != nil; list = cdr_of(list))
        hand_value_down(car_of(list), descriptor, v, old);
}

static void propagate_class_value(Value cls, Value symbol, Value v)
{
    const Value descriptor = slot_descriptor(cls, symbol);
    const Value old = slot_record(descriptor)->class_value;
    write_class_value(cls, descriptor, v);
    for (Value list = class_block(cls)->descendants; list != nil; list = cdr_of(list))
        hand_value_down(car_of(list), descriptor, v, old);
}

// ---- defslot

// A class whose configuration is given anew remembers the file, and starts over if asked to.
static void configuration_defined(Value cls)
{
    set_symbol_value(symbol_config_pathname, symbol_value(symbol_load_file));
    if (!is_true_flag(symbol_value(symbol_auto_initialize)))
        return;
    if (object_is_open(cls))
        call_value(symbol_close);
    call_value(symbol_initialize);
}

static void define_slot(Value form)
{
    const Value cls = class_argument(self_object);
    const Value symbol = is_pair(form) ? car_of(form) : form;
    if (!is_symbol(symbol))
        raise_error(kErrorType, symbol);
    prepare_symbol(symbol, cls, false);
    symbol_of(symbol)->slot_class = end_of_args.bits();
    for (Value rest = cdr_of(form); is_pair(rest);) {
        const SlotField& field = slot_field(car_of(rest));
        rest = cdr_of(rest);
        Value v = is_pair(rest) ? car_of(rest) : nil;
        if (field.argument == SlotArgument::evaluated)
            v = eval(v);
        set_slot_attribute(cls, symbol, field.keyword, v);
        if (is_pair(rest))
            rest = cdr_of(rest);
    }
    if (is_end(slot_descriptor(cls, symbol)))
        set_slot_attribute(cls, symbol, keyword_default, no_value);
    const SlotRecord* const record = slot_record(slot_descriptor(cls, symbol));
    if (record->allocate)
        propagate_class_value(cls, symbol, record->default_);
    if (symbol == symbol_configuration)
        configuration_defined(cls);
}

void init_slots()
{
    for (SlotField& field : slot_fields)
        field.keyword = intern_keyword(field.name + 1);
    keyword_default = intern_keyword("default");
    symbol_configuration = intern("configuration");
    symbol_config_pathname = intern("config-pathname");
    symbol_load_file = intern("Load-File");
    symbol_auto_initialize = intern("auto-initialize?", nil);
    symbol_close = intern("close");
    symbol_initialize = intern("initialize");
    hooks.define_slot = define_slot;
    hooks.write_class_value = write_class_value;
}
