// What a name means for the current object: overrides, members, slots, the global value. The class's
// member table is indexed by the number that the symbol carries, so nothing climbs or hashes here.
#include <cstddef>

#include "kernel/evaluator.h"
#include "kernel/hooks.h"
#include "kernel/object_layout.h"
#include "kernel/symbols.h"

void* NativeObject::operator new(size_t size)
{
    const ZoneAddress block = zone_allocate(static_cast<uint32_t>(size));
    if (!block)
        raise_error(kErrorNoMemory);
    return zone_pointer(block);
}

void NativeObject::operator delete(void* block)
{
    zone_free(zone_address(block));
}

Value read_slot_raw(Value object, Value descriptor)
{
    const SlotRecord* const record = slot_record(descriptor);
    if (object.tag() == kTagClass)
        return record->class_value;
    const uint8_t* const place = block_of(object) + slot_offset(descriptor);
    switch (record->kind) {
    case kSlotValue:
        return load_value(place);
    case kSlotBit:
        return boolean(*place & slot_mask(descriptor));
    case kSlotByte:
        return make_fixnum(static_cast<int8_t>(*place));
    case kSlotWord: {
        int16_t word;
        memcpy(&word, place, 2);
        return make_fixnum(word);
    }
    default:
        return no_value;
    }
}

// What a byte or a word keeps the low bits of; nil and no_value count as 0.
static uint32_t low_bits(Value v)
{
    if (!is_true_flag(v))
        return 0;
    return v.tag() == kTagUnsignedLong ? unsigned_value(v) : static_cast<uint32_t>(integer_value(v));
}

void write_slot_raw(Value object, Value descriptor, Value v)
{
    if (object.tag() == kTagClass) {
        hooks.write_class_value(object, descriptor, v);
        return;
    }
    const uint8_t kind = slot_record(descriptor)->kind;
    uint32_t number = 0;
    if (kind == kSlotByte || kind == kSlotWord)
        number = low_bits(v);
    uint8_t* const place = block_of(object) + slot_offset(descriptor);
    switch (kind) {
    case kSlotValue:
        store_value(place, v);
        break;
    case kSlotBit:
        *place = is_true_flag(v) ? *place | slot_mask(descriptor) : *place & ~slot_mask(descriptor);
        break;
    case kSlotByte:
        *place = static_cast<uint8_t>(number);
        break;
    case kSlotWord:
        memcpy(place, &number, 2);
        break;
    default:
        break;
    }
}

// The pair of the current object's overrides that has the symbol for key, or nil.
static Value find_override(Value symbol)
{
    for (Value list = object_block(self_object)->overrides; list != nil; list = cdr_of(list))
        if (car_of(car_of(list)) == symbol)
            return car_of(list);
    return nil;
}

static bool in_genealogy(const ClassBlock* own, uint32_t cls)
{
    for (Value list = own->genealogy; list != nil; list = cdr_of(list))
        if (car_of(list).bits() == cls)
            return true;
    return false;
}

static bool descends_from(Value cls)
{
    return in_genealogy(class_block(object_block(self_object)->class_), cls.bits());
}

// The member table's entry for the symbol in the current object's class; end_of_args for none.
static Value own_member(const SymbolEntry* entry)
{
    const int index = entry->slot_index;
    if (index < 0)
        return end_of_args;
    const ClassBlock* const cls = class_block(object_block(self_object)->class_);
    return index >= cls->table_size ? end_of_args : member_at(cls, index);
}

// A linked slot's value: the reference is resolved on first use and kept beside it.
static Value linked_value(Value descriptor, Value raw)
{
    if (raw.tag() == kTagCacheCell)
        return cdr_of(raw);
    const Value linker = slot_record(descriptor)->linker;
    const Value name = slot_record(descriptor)->name;
    if (linker == nil) {
        if (is_object(raw))
            return raw;
        const Value resolved = hooks.resolve_link(raw, name);
        write_slot_raw(self_object, descriptor, resolved);
        return resolved;
    }
    const Value object = self_object;
    const Value function = is_symbol(linker) ? symbol_value(linker) : linker;
    const Value resolved = function.tag() == kTagFunction ? call_value(function, raw)
                                                          : hooks.resolve_link(raw, name);
    const Value cell = new_node(kTagCacheCell, raw.bits(), resolved.bits());
    write_slot_raw(object, descriptor, cell);
    return resolved;
}

static Value slot_value(Value descriptor, Value symbol)
{
    const SlotRecord* const record = slot_record(descriptor);
    if (!record->allocate)
        return global_value(symbol);
    const bool link = record->link;
    const Value raw = read_slot_raw(self_object, descriptor);
    if (is_end(raw))
        return no_value;  // a class whose value for the slot was never set
    return link ? linked_value(descriptor, raw) : raw;
}

enum class Lookup { strict, loose };

static Value value_in_class(Value symbol, Lookup lookup)
{
    const SymbolEntry* const entry = symbol_of(symbol);
    const Value slot_class = Value::from_bits(entry->slot_class);
    if (slot_class.tag() == kTagClass) {
        if (lookup == Lookup::strict && !descends_from(slot_class))
            return no_value;
        return global_value(symbol);
    }
    const Value member = own_member(entry);
    if (is_end(member))
        return global_value(symbol);
    return member.tag() == kTagSlot ? slot_value(member, symbol) : member;
}

static Value value_in_object(Value symbol, Lookup lookup)
{
    if (object_block(self_object)->overrides.bits != nil.bits()) {
        const Value pair = find_override(symbol);
        if (pair != nil)
            return cdr_of(pair);
    }
    return value_in_class(symbol, lookup);
}

// ---- The fast way

ObjectView object_view;

// Makes the view that of the current object, which is not root_class; false when it has overrides.
[[gnu::noinline]] static bool view_self()
{
    ObjectBlock* const object = object_block(self_object);
    if (object->overrides.bits != nil.bits())
        return false;
    const ClassBlock* const cls = class_block(object->class_);
    object_view = { self_object.bits(), object->class_.bits, static_cast<uint32_t>(cls->table_size),
                    block_of(cls->members) + 2, reinterpret_cast<uint8_t*>(object) };
    return true;
}

static inline bool self_is_viewed()
{
    return object_view.object == self_object.bits() || view_self();
}

// A slot of an instance that holds a full value, unlinked, as most do: kind, allocate and link lie
// side by side in the record.
static inline bool is_plain_slot(Value descriptor)
{
    uint32_t flags;
    memcpy(&flags, &slot_record(descriptor)->kind, 4);
    return (flags & 0xffffff) == (kSlotValue | 1 << 8) && self_object.tag() == kTagInstance;
}
static_assert(offsetof(SlotRecord, allocate) == offsetof(SlotRecord, kind) + 1);
static_assert(offsetof(SlotRecord, link) == offsetof(SlotRecord, kind) + 2);

static inline Value viewed_member(uint32_t index)
{
    return index < object_view.table_size ? load_value(object_view.members + 4 * index) : end_of_args;
}

Value lookup_symbol(Value symbol)
{
    const SymbolEntry* const entry = symbol_of(symbol);
    const bool in_symbol = entry->slot_class >> 24 == kTagClass;
    if (self_object == root_class)
        return in_symbol ? no_value : Value::from_bits(entry->value);
    const int index = entry->slot_index;
    if (index < 0 && !in_symbol)
        return Value::from_bits(entry->value);
    if (!self_is_viewed()) [[unlikely]]
        return value_in_object(symbol, Lookup::strict);
    if (in_symbol) {
        const bool known = entry->slot_class == object_view.class_ ||
                           descends_from(Value::from_bits(entry->slot_class));
        return known ? Value::from_bits(entry->value) : no_value;
    }
    const Value member = viewed_member(static_cast<uint32_t>(index));
    if (member.tag() == kTagSlot) {
        if (is_plain_slot(member)) [[likely]]
            return load_value(object_view.block + slot_offset(member));
        return slot_value(member, symbol);
    }
    return is_end(member) ? Value::from_bits(entry->value) : member;
}

Value bound_value(Value symbol)
{
    const Value v = lookup_symbol(symbol);
    if (v == no_value) [[unlikely]]
        raise_error(kErrorUnbound, symbol);
    return v;
}

Value symbol_value(Value symbol)
{
    return self_object == root_class ? global_value(symbol) : value_in_object(symbol, Lookup::loose);
}

Value class_level_value(Value symbol)
{
    return self_object == root_class ? global_value(symbol) : value_in_class(symbol, Lookup::loose);
}

bool is_bound(Value symbol)
{
    return lookup_symbol(symbol) != no_value;
}

static void set_constant(ClassBlock* cls, int index, Value v)
{
    if (index < cls->table_size)
        store_value(block_of(cls->members) + 2 + 4 * index, v);
}

static void set_member(Value symbol, Value member, Value v)
{
    const SymbolEntry* const entry = symbol_of(symbol);
    if (member.tag() != kTagSlot) {
        // Layouts that the class has outgrown stand for the same class.
        const Value cls = class_of(self_object);
        set_constant(class_block(cls), entry->slot_index, v);
        for (Value list = class_block(cls)->descendants; list != nil; list = cdr_of(list))
            if (class_block(car_of(list))->class_ == cls)
                set_constant(class_block(car_of(list)), entry->slot_index, v);
        return;
    }
    const SlotRecord* const record = slot_record(member);
    if (!record->allocate) {
        set_global_value(symbol, v);
    } else if (record->link && record->linker.bits != nil.bits()) {
        const Value object = self_object;
        write_slot_raw(object, member, new_node(kTagCacheCell, no_value.bits(), v.bits()));
    } else {
        write_slot_raw(self_object, member, v);
    }
}

// Stores in a plain slot of the current instance; false when it is another matter.
static inline bool set_plain_slot(const SymbolEntry* entry, Value v)
{
    if (entry->slot_index < 0 || self_object == root_class || entry->slot_class >> 24 == kTagClass ||
        !self_is_viewed())
        return false;
    const Value member = viewed_member(static_cast<uint32_t>(entry->slot_index));
    if (member.tag() != kTagSlot || !is_plain_slot(member))
        return false;
    store_value(object_view.block + slot_offset(member), v);
    return true;
}

void set_symbol_value(Value symbol, Value v)
{
    SymbolEntry* const entry = symbol_of(symbol);
    if (set_plain_slot(entry, v))
        return;
    const Value slot_class = Value::from_bits(entry->slot_class);
    const bool at_root = self_object == root_class;
    if (!at_root) {
        const Value pair = find_override(symbol);
        if (pair != nil) {
            set_cdr(pair, v);
            return;
        }
    }
    if (slot_class.tag() == kTagClass) {
        // The symbol holds one class's method. Another's, or a global, value would destroy it: the
        // method moves into the member tables first.
        if (at_root || !descends_from(slot_class))
            hooks.prepare_definition(symbol, false);
        set_global_value(symbol, v);
        return;
    }
    const Value member = at_root ? end_of_args : own_member(entry);
    if (is_end(member))
        entry->value = v.bits();
    else
        set_member(symbol, member, v);
}
