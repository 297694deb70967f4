// Where a name's definition lives: in the symbol while one class alone defines it, in the member
// tables of that class and all its descendants from then on. Definitions only ever flow down.
#include <vector>

#include "kernel/errors.h"
#include "kernel/frames.h"
#include "kernel/hooks.h"
#include "kernel/symbols.h"
#include "objects/objects.h"

// A table's size in bytes must fit 16 bits.
constexpr int kMostMembers = 16383;
constexpr int kLeastMembers = 200;
constexpr int kGrowth = 25;

static int index_counter;
static std::vector<MethodRow> methods;

int give_slot_index(Value symbol)
{
    SymbolEntry* const entry = symbol_of(symbol);
    if (entry->slot_index < 0) {
        if (index_counter == kMostMembers)
            raise_error(kErrorNoMemory);
        entry->slot_index = static_cast<int16_t>(index_counter++);
    }
    return entry->slot_index;
}

int new_table_size()
{
    return index_counter > kLeastMembers ? index_counter : kLeastMembers;
}

Value new_member_table(int entries)
{
    const Value table = new_block(4 * static_cast<uint32_t>(entries));
    uint8_t* const places = block_of(table) + 2;
    for (int i = 0; i < entries; ++i)
        store_value(places + 4 * i, end_of_args);
    return table;
}

Value member_entry(Value cls, Value symbol)
{
    const int index = symbol_of(symbol)->slot_index;
    const ClassBlock* const block = class_block(cls);
    return index < 0 || index >= block->table_size ? end_of_args : member_at(block, index);
}

static void grow_table(Value cls, int entries)
{
    if (entries > kMostMembers)
        entries = kMostMembers;
    const Value table = new_member_table(entries);
    ClassBlock* const block = class_block(cls);
    memcpy(block_of(table) + 2, block_of(block->members) + 2, 4 * block->table_size);
    block->members = table;
    block->table_size = static_cast<int16_t>(entries);
    forget_object_view();
}

void set_member_entry(Value cls, Value symbol, Value v)
{
    const int index = symbol_of(symbol)->slot_index;
    if (index >= class_block(cls)->table_size)
        grow_table(cls, index + kGrowth);
    store_value(block_of(class_block(cls)->members) + 2 + 4 * index, v);
}

// A slot counts as no entry: a method takes its place.
static Value method_entry(Value cls, Value symbol)
{
    const Value entry = member_entry(cls, symbol);
    return entry.tag() == kTagSlot ? end_of_args : entry;
}

// Stores in cls and below, up to each class that has an entry of its own.
static void fill_members(Value cls, Value symbol, Value v)
{
    check_stack();
    if (!is_end(method_entry(cls, symbol)))
        return;
    set_member_entry(cls, symbol, v);
    for (Value list = class_block(cls)->descendants; list != nil; list = cdr_of(list))
        fill_members(car_of(list), symbol, v);
}

// Stores in cls and below, as long as what stood there is old.
static void replace_members(Value cls, Value symbol, Value v, Value old)
{
    check_stack();
    if (method_entry(cls, symbol) != old)
        return;
    set_member_entry(cls, symbol, v);
    for (Value list = class_block(cls)->descendants; list != nil; list = cdr_of(list))
        replace_members(car_of(list), symbol, v, old);
}

void propagate_method(Value cls, Value symbol, Value v)
{
    SymbolEntry* const place = symbol_of(symbol);
    if (place->slot_class == cls.bits()) {
        place->value = v.bits();
        return;
    }
    if (place->slot_class == 0 && place->value == no_value.bits()) {
        place->value = v.bits();
        place->slot_class = cls.bits();
        return;
    }
    const Value old = method_entry(cls, symbol);
    if (is_end(old)) {
        fill_members(cls, symbol, v);
        return;
    }
    set_member_entry(cls, symbol, v);
    for (Value list = class_block(cls)->descendants; list != nil; list = cdr_of(list))
        replace_members(car_of(list), symbol, v, old);
}

void prepare_symbol(Value symbol, Value cls, bool method)
{
    SymbolEntry* const place = symbol_of(symbol);
    const bool wholly_new = place->slot_class == 0 && place->value == no_value.bits();
    if (cls != root_class && !(method && wholly_new)) {
        give_slot_index(symbol);
        // A global of that name stays in the symbol; the class's value goes into the tables, also
        // when the global is unbound later.
        if (place->slot_class == 0)
            place->slot_class = end_of_args.bits();
    }
    const Value holder = Value::from_bits(place->slot_class);
    if (!is_real_class(holder) || (method && holder == cls))
        return;
    give_slot_index(symbol);
    const Value old = global_value(symbol);
    place->slot_class = end_of_args.bits();
    propagate_method(holder, symbol, old);
    set_global_value(symbol, no_value);
}

void define_method(Value cls, Value symbol, Value v)
{
    prepare_symbol(symbol, cls, true);
    propagate_method(cls, symbol, v);
}

void define_methods(Value cls, const Primitive* rows, size_t count)
{
    for (size_t i = 0; i < count; ++i) {
        const Value symbol = intern(rows[i].name);
        define_method(cls, symbol, make_primitive(rows[i]));
        methods.push_back({ class_block(cls)->name, &rows[i] });
    }
}

size_t method_count() { return methods.size(); }
const MethodRow& method_at(size_t index) { return methods[index]; }

void for_each_member_name(void (*visit)(Value symbol))
{
    for (uint32_t i = 0; i < spaces.symbol_count; ++i) {
        const Value symbol(kTagSymbol, i * static_cast<uint32_t>(sizeof(SymbolEntry)));
        const SymbolEntry* const entry = symbol_of(symbol);
        if (entry->name != 0 && entry->slot_class != 0 && entry->slot_class != root_class.bits())
            visit(symbol);
    }
}

// ---- What `define` asks for

static void prepare_definition(Value symbol, bool method)
{
    if (method && self_object.tag() == kTagInstance)
        raise_error(kErrorType, self_object);
    prepare_symbol(symbol, self_object, method);
}

static void define_member(Value symbol, Value v)
{
    propagate_method(class_argument(self_object), symbol, v);
}

static Value new_method(Value symbol, Value v)
{
    if (!is_symbol(symbol))
        raise_error(kErrorType, symbol);
    prepare_definition(symbol, true);
    if (self_object == root_class)
        set_symbol_value(symbol, v);
    else
        define_member(symbol, v);
    return v;
}

static const Primitive member_primitives[] = {
    { "new-method", new_method,
      "(new-method symbol value): makes value the current class's method or constant under the symbol, "
      "and that of the descendants which have none of their own; at the root sets the global; answers "
      "value; error 2 with what is no symbol, or with an instance that is current" },
};

void init_members()
{
    forget_object_view();
    index_counter = 0;
    methods.clear();
    hooks.prepare_definition = prepare_definition;
    hooks.define_member = define_member;
    define_primitives(member_primitives);
}
