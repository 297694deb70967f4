// Layout and instances. Slots are packed by kind: full values first, then words, bytes and bits, each
// from the highest index of the member table down.
#include <initializer_list>

#include "kernel/errors.h"
#include "kernel/symbols.h"
#include "objects/objects.h"
#include "objects/slots.h"

static Value symbol_boolean;
static Value symbol_byte;
static Value symbol_word;

static SlotKind kind_of_type(Value type)
{
    if (type == symbol_boolean)
        return kSlotBit;
    if (type == symbol_byte)
        return kSlotByte;
    return type == symbol_word ? kSlotWord : kSlotValue;
}

static Value place_of(uint32_t offset, uint32_t mask)
{
    return make_fixnum(static_cast<int32_t>(offset << 8 | mask));
}

// A boolean shares the byte of the slot visited before it while that has a bit to spare.
static void place_bit(Value descriptor, Value previous, uint32_t* offset)
{
    const uint8_t mask = previous == nil ? 0 : slot_mask(previous);
    if (mask > 1)
        set_car(descriptor, place_of(slot_offset(previous), mask / 2));
    else
        set_car(descriptor, place_of((*offset)++, 128));
}

static bool is_allocated_slot(Value entry)
{
    return entry.tag() == kTagSlot && slot_record(entry)->allocate;
}

// What an earlier layout left must not pass for a bit of this one. Answers how much the slots take at
// most.
static uint32_t forget_places(const ClassBlock* block)
{
    uint32_t bytes = sizeof(ObjectBlock);
    for (int i = 0; i < block->table_size; ++i) {
        const Value entry = member_at(block, i);
        if (!is_allocated_slot(entry))
            continue;
        set_car(entry, nil);
        bytes += kind_of_type(slot_record(entry)->type) == kSlotValue ? 4 : 2;
    }
    return bytes;
}

// Nothing here allocates, so the address of the class holds.
static void lay_out(Value cls)
{
    ClassBlock* const block = class_block(cls);
    if (forget_places(block) > 0xffff)
        raise_error(kErrorNoMemory);
    uint32_t offset = sizeof(ObjectBlock);
    Value previous = nil;
    for (const SlotKind kind : { kSlotValue, kSlotWord, kSlotByte, kSlotBit })
        for (int i = block->table_size - 1; i >= 0; --i) {
            const Value entry = member_at(block, i);
            if (!is_allocated_slot(entry))
                continue;
            SlotRecord* const record = slot_record(entry);
            if (kind_of_type(record->type) == kind) {
                record->kind = kind;
                if (kind == kSlotBit) {
                    place_bit(entry, previous, &offset);
                } else {
                    set_car(entry, place_of(offset, 0));
                    offset += kind == kSlotValue ? 4 : kind == kSlotWord ? 2 : 1;
                }
            }
            previous = entry;
        }
    block->instance_size = static_cast<uint16_t>(offset);
    block->inited = 1;
}

Value make_instance(Value cls)
{
    if (!class_block(class_argument(cls))->inited)
        lay_out(cls);
    const uint32_t size = class_block(cls)->instance_size;
    ensure_space(size);
    const Value instance = new_indirect(size, kTagInstance, kHeaderInstance);
    ObjectBlock* const block = object_block(instance);
    memset(static_cast<void*>(block), 0, size);
    block->class_ = cls;
    block->native = nil;
    block->overrides = nil;
    const ClassBlock* const description = class_block(cls);
    for (int i = description->table_size - 1; i >= 0; --i) {
        const Value entry = member_at(description, i);
        if (is_allocated_slot(entry))
            write_slot_raw(instance, entry, slot_record(entry)->default_);
    }
    return instance;
}

// ---- Layouts that a class has outgrown

// Calls visit on the block of every instance made by cls.
template <class Visit> static void each_instance(Value cls, Visit visit)
{
    for (uint32_t link = spaces.chain_head; link != 0 && link != spaces.chain_end;) {
        const Value node(kTagInstance, link);
        if (header_of(node) == kHeaderInstance && object_block(node)->class_ == cls)
            visit(object_block(node));
        link = node_of(node)->car & kPayloadMask;
    }
}

// The instances go over to a class that nobody sees, with descriptors of its own that keep their
// places. It is a descendant, so definitions reach it, and it names the class it stands for.
static void retire_layout(Value cls)
{
    const Value old = new_bare_class(class_block(cls)->name, class_block(cls)->opener);
    const int entries = class_block(cls)->table_size;
    const Value table = new_member_table(entries);
    class_block(old)->members = table;
    class_block(old)->table_size = static_cast<int16_t>(entries);
    for (int i = 0; i < entries; ++i) {
        Value entry = member_at(class_block(cls), i);
        if (entry.tag() == kTagSlot) {
            const Value place = car_of(entry);
            entry = new_descriptor(copy_record(cdr_of(entry), old));
            set_car(entry, place);
        }
        store_value(block_of(table) + 2 + 4 * i, entry);
    }
    const Value children = cons(old, class_block(cls)->descendants);
    ClassBlock* const block = class_block(old);
    ClassBlock* const live = class_block(cls);
    live->descendants = children;
    block->class_ = cls;
    block->ascendants = live->ascendants;
    block->genealogy = live->genealogy;
    block->instance_size = live->instance_size;
    block->inited = 1;
    block->united = live->united | kClassRetired;
    each_instance(cls, [&](ObjectBlock* instance) { instance->class_ = old; });
    forget_object_view();
}

void reset_layout(Value cls)
{
    if (!class_block(cls)->inited)
        return;
    bool used = false;
    each_instance(cls, [&](ObjectBlock*) { used = true; });
    if (used)
        retire_layout(cls);
    class_block(cls)->inited = 0;
}

void init_instances()
{
    symbol_boolean = intern("boolean");
    symbol_byte = intern("byte");
    symbol_word = intern("word");
}
