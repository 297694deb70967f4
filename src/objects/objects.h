// Classes, their members, instances, and what native classes need to stand under Lisp objects.
//
// Each class owns a flat table, indexed by the number that a symbol carries, in which all its methods
// and slots stand ready, inherited ones included. Definitions are copied down to the descendants when
// they are made, so that nothing climbs a hierarchy at run time.
#pragma once

#include "kernel/object_layout.h"
#include "kernel/primitive.h"

// ---- Classes

// Makes the native side of an object (`new` of a NativeObject raises error 9 itself).
using Opener = NativeObject* (*)();

// The class of that name, bound to its symbol. parents: a class, a list of classes, or nil for
// obj-root, which the first call of a run makes. name must live for ever.
Value define_native_class(const char* name, Opener opener, Value parents);

constexpr bool is_real_class(Value v) { return v.tag() == kTagClass && v != root_class; }

// v as it stands; error 2 unless it is a class, or a class or an instance. The current object at the
// root (root_class) is refused by both.
Value class_argument(Value v);
Value object_argument(Value v);

// Whether the object's class, or one reached through its ascendants, bears that name.
bool is_a(Value object, Value class_name);

// A new class without parents, its table empty. opener: a row of the opener table, 0 for none.
Value new_bare_class(Value name, uint32_t opener);

// Row of a native opener, and the way back (null for row 0).
uint32_t opener_row(Opener opener);
Opener opener_of(Value cls);

// ---- Members

// Gives the symbol its index in the member tables; error 9 when all 16,383 are taken.
int give_slot_index(Value symbol);

// The entry under the symbol in the class's table; end_of_args when there is none.
Value member_entry(Value cls, Value symbol);

// Stores in the one class, growing its table if need be; the symbol must have its index. May allocate.
void set_member_entry(Value cls, Value symbol, Value v);

// A fresh table of that many empty entries.
Value new_member_table(int entries);

// The entries that a new class's table has.
int new_table_size();

// Makes the name ready for a definition in cls (or at the root): a method of one other class that
// lives in the symbol moves into the member tables. method: false for a slot or a global.
void prepare_symbol(Value symbol, Value cls, bool method);

// A method, or any other value that belongs to the class, for cls and the descendants that have none
// of their own. The second form prepares the symbol first.
void propagate_method(Value cls, Value symbol, Value v);
void define_method(Value cls, Value symbol, Value v);

// Defines each row's function as a method; the receiver is the current object. The rows must live for
// ever.
void define_methods(Value cls, const Primitive* rows, size_t count);
template <size_t N> void define_methods(Value cls, const Primitive (&rows)[N])
{
    define_methods(cls, rows, N);
}

// The native methods so far, in order of definition.
struct MethodRow {
    Value class_name;  // a symbol
    const Primitive* primitive;
};
size_t method_count();
const MethodRow& method_at(size_t index);

// Every symbol that some class defines, in table order: methods, class constants and slots.
void for_each_member_name(void (*visit)(Value symbol));

// ---- Slots

// The class's entry under the symbol if it is a slot, otherwise end_of_args.
Value slot_descriptor(Value cls, Value symbol);

// The descriptor of a slot of the current object; error 2 with the symbol when it has no such slot.
Value own_slot(Value symbol);

// A descriptor of its own on a record that may be shared.
Value new_descriptor(Value record);

// Sets one attribute of the class's slot (making the slot when the class has none) and of the
// descendants that have not changed it. keyword: ":default" and so on; error 2 when it is none.
void set_slot_attribute(Value cls, Value symbol, Value keyword, Value v);

// Makes the record of a descriptor of cls the class's own, as must be before it is written.
void own_record(Value cls, Value descriptor);

// A slot through its reader, writer and initform, with the object current.
Value slot_initial_value(Value symbol);
void write_slot(Value symbol, Value v);

// The stored form of a slot of the current object, without resolving a reference.
Value get_reference(Value symbol);
Value set_reference_x(Value symbol, Value v);

// ---- Instances

// A new instance with its slots at their defaults. Nothing is sent. Makes the layout if need be.
Value make_instance(Value cls);

// Clears the mark of a finished layout. Instances that exist keep theirs.
void reset_layout(Value cls);

// ---- Native sides

// The native word; error 2 with the object when it has none.
Value native_of(Value object);
NativeObject* native_object(Value object);
bool object_is_open(Value object);

// A pointer stored before is zeroed, so that the collector does not delete the native object too.
void set_native_of(Value object, Value pointer);

// ---- Boot

void init_classes();
void init_members();
void init_slots();
void init_instances();
void init_references();
void init_slot_primitives();
void init_overrides();
void init_configurations();
void init_persistence();

// Calls all of the above, obj-root first.
void init_objects();
