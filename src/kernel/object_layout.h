// How objects lie in the heap, for the look-up of names and for the collector. The operations on
// classes and instances stand in objects/. All addresses here are stale after the next allocation.
#pragma once

#include "kernel/spaces.h"

// A Value in a block, where only even addresses are sure.
struct __attribute__((packed, aligned(2))) StoredValue {
    uint32_t bits;

    operator Value() const { return Value::from_bits(bits); }
    void operator=(Value v) { bits = v.bits(); }
};

// Begins every object's block.
struct __attribute__((packed, aligned(2))) ObjectBlock {
    StoredValue class_;     // a class holds itself
    StoredValue native;     // nil, or a pointer of kind 4
    StoredValue overrides;  // association list (symbol . value)
};

struct __attribute__((packed, aligned(2))) ClassBlock : ObjectBlock {
    StoredValue name;
    StoredValue members;          // raw block: 16-bit size, then one Value for each slot index
    uint32_t opener;        // row of the opener table, 0 for none
    StoredValue ascendants;
    StoredValue descendants;
    StoredValue genealogy;
    int16_t table_size;     // entries in members
    uint16_t instance_size; // bytes
    uint8_t inited;
    uint8_t united;         // bits below
};
static_assert(sizeof(ClassBlock) == 42);

constexpr uint8_t kClassUnited = 1;   // made or united by Lisp code
constexpr uint8_t kClassMixin = 2;    // made by new-mixin
constexpr uint8_t kClassRetired = 4;  // keeps a layout for instances that the class has outgrown

enum SlotKind : uint8_t { kSlotValue = 0, kSlotBit = 1, kSlotByte = 2, kSlotWord = 3, kSlotUnset = 4 };

// What the cdr of a slot descriptor (kTagSlot) points to.
struct __attribute__((packed, aligned(2))) SlotRecord {
    StoredValue name;
    StoredValue class_value;
    StoredValue default_;
    StoredValue initform;
    StoredValue initialize;
    StoredValue linker;
    StoredValue type;
    StoredValue reader;
    StoredValue writer;
    StoredValue chooser;
    StoredValue owner;
    StoredValue info;
    uint8_t kind;
    uint8_t allocate;
    uint8_t link;
    uint8_t list;
    uint8_t editable;
    uint8_t invalidate;
};
static_assert(sizeof(SlotRecord) == 54);

inline ObjectBlock* object_block(Value object)
{
    return reinterpret_cast<ObjectBlock*>(block_of(object));
}
inline ClassBlock* class_block(Value cls) { return reinterpret_cast<ClassBlock*>(block_of(cls)); }
inline SlotRecord* slot_record(Value descriptor)
{
    return reinterpret_cast<SlotRecord*>(block_of(cdr_of(descriptor)));
}

// The class of an object, as Lisp sees it: the block that an instance of an outgrown layout refers to
// names the class it stands for. Not for root_class.
inline Value class_of(Value object)
{
    return class_block(object_block(object)->class_)->class_;
}

// Entry i of a member table; the caller has tested i against table_size.
inline Value member_at(const ClassBlock* cls, int i)
{
    return load_value(block_of(cls->members) + 2 + 4 * i);
}

// Place of a slot after layout: byte offset in bits 8 to 23 of the descriptor's car, mask in 0 to 7.
inline uint32_t slot_offset(Value descriptor) { return node_of(descriptor)->car >> 8 & 0xffff; }
inline uint8_t slot_mask(Value descriptor) { return node_of(descriptor)->car & 0xff; }

// Where the blocks of an object without overrides lie, kept from one look-up to the next. Whatever
// moves blocks, replaces a member table or gives overrides forgets it.
struct ObjectView {
    uint32_t object;         // bits of the object; 0 for none
    uint32_t class_;         // bits of its class
    uint32_t table_size;
    const uint8_t* members;  // entry 0 of the member table
    uint8_t* block;
};
extern ObjectView object_view;

inline void forget_object_view() { object_view.object = 0; }

// Reads and writes by storage kind; on a class it is the record's class_value.
Value read_slot_raw(Value object, Value descriptor);
void write_slot_raw(Value object, Value descriptor, Value v);

// A native object that Lisp owns through a pointer of kind 4. It lies in the zone. The collector
// calls mark() while the pointer lives and deletes the object when the pointer dies. The tests say
// what an object is before it is cast; who subclasses answers true.
struct NativeObject {
    virtual void mark() {}
    virtual bool is_static_data() const { return false; }
    virtual bool is_persistent() const { return false; }
    virtual bool is_interface() const { return false; }
    virtual bool is_window() const { return false; }
    virtual bool is_button() const { return false; }
    virtual bool is_choice() const { return false; }
    virtual bool is_checkbox() const { return false; }
    virtual bool is_caption() const { return false; }
    virtual bool is_editable_view() const { return false; }  // table or text
    virtual bool is_movie() const { return false; }
    virtual bool is_picture() const { return false; }
    virtual bool is_bitmap() const { return false; }

    // Takes the name out of creation arguments, or finds one otherwise; answers it.
    virtual Value setup_name(Value) { return nil; }
    virtual ~NativeObject() = default;

    static void* operator new(size_t size);  // error 9 when memory is refused
    static void operator delete(void* block);
};
