// The symbol table: open addressing, never shrunk, entries never move relative to its base.
#pragma once

#include "kernel/spaces.h"

struct SymbolEntry {
    uint32_t name;        // string Value; 0 for a free entry
    uint32_t value;       // global value; no_value when unbound
    uint32_t slot_class;  // 0, the one class that defines the name, or end-of-args: member tables
    int16_t slot_index;   // index in the member tables of classes, -1 for none; an override takes one too
    int16_t keyword_link; // entry index of the mate with or without ":", -1 until asked for
};

inline SymbolEntry* symbol_of(Value v)
{
    return reinterpret_cast<SymbolEntry*>(symbol_base + v.payload());
}

inline Value symbol_name(Value v) { return Value::from_bits(symbol_of(v)->name); }
inline Value global_value(Value v) { return Value::from_bits(symbol_of(v)->value); }
inline void set_global_value(Value v, Value x) { symbol_of(v)->value = x.bits(); }

// Finds or makes the symbol; an unbound one takes init as its value. The characters of a static
// name must live for ever; a dynamic name is copied. A full table is a text error.
Value intern(const char* name, Value init = no_value);
Value intern_dynamic(const char* name, Value init = no_value);
Value find_symbol(const char* name);         // nil when there is none; nothing is interned
Value intern_keyword(const char* name);      // ":" + name, bound to itself

// Bytes of a symbol's name: stale after the next allocation.
inline const char* symbol_chars(Value v) { return string_chars(symbol_name(v)); }

extern Value symbol_t;

inline Value boolean(bool truth)
{
    return truth ? symbol_t : nil;
}

// The value of a symbol as the current object sees it: its overrides, its class's members, its
// slots, then the global value. lookup_symbol answers no_value when the name is not bound for the
// object; symbol_value is the looser look-up that takes a method of any one class.
Value lookup_symbol(Value symbol);
Value bound_value(Value symbol);   // lookup_symbol; error 6 with the symbol when it is not bound
Value symbol_value(Value symbol);
Value class_level_value(Value symbol);  // what symbol_value gives without the object's overrides
void set_symbol_value(Value symbol, Value v);
bool is_bound(Value symbol);

// The symbols t and nil, before all others; and the end of all names, once the arena is closed.
void init_symbols();
void forget_symbols();
