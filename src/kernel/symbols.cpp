// The symbol table. A lookup stops at a free entry, so one entry always stays free.
#include "kernel/symbols.h"

#include <vector>

#include "kernel/errors.h"

Value symbol_t;

// The names of static symbols lie in blocks of the zone, since a node's cdr reaches no further.
static constexpr uint32_t kNameBlock = 16384;
static uint8_t* name_place;
static uint32_t name_room;
static std::vector<ZoneAddress> name_blocks;

static uint32_t hash_name(const char* name)
{
    uint32_t h = 0;
    for (const char* p = name; *p; ++p)
        h = 2 * h + static_cast<uint8_t>(*p);
    return h;
}

// The entry that holds the name, or the free entry where it belongs.
static SymbolEntry* find_entry(const char* name)
{
    SymbolEntry* const table = reinterpret_cast<SymbolEntry*>(symbol_base);
    SymbolEntry* const end = table + spaces.symbol_count;
    SymbolEntry* entry = table + hash_name(name) % spaces.symbol_count;
    while (entry->name != 0 && strcmp(string_chars(Value::from_bits(entry->name)), name) != 0)
        if (++entry == end)
            entry = table;
    return entry;
}

static Value symbol_at(const SymbolEntry* entry)
{
    return Value(kTagSymbol, static_cast<uint32_t>(reinterpret_cast<const uint8_t*>(entry) - symbol_base));
}

static Value permanent_name(const char* name)
{
    const uint32_t size = static_cast<uint32_t>(strlen(name)) + 1;
    if (name_room < size) {
        const uint32_t block = zone_allocate(size > kNameBlock ? size : kNameBlock);
        if (!block)
            raise_error(kErrorNoMemory);
        name_blocks.push_back(block);
        name_place = zone_pointer(block);
        name_room = size > kNameBlock ? size : kNameBlock;
    }
    memcpy(name_place, name, size);
    const Value v = new_node(kTagString, kPermanentMark | kHeaderString << 24, zone_address(name_place));
    name_place += size;
    name_room -= size;
    return v;
}

static Value dynamic_name(const char* name)
{
    const Value v = make_string(name);
    node_of(v)->car |= kPermanentMark;
    return v;
}

static Value intern_named(const char* name, Value init, Value (*make_name)(const char*))
{
    SymbolEntry* entry = find_entry(name);
    if (entry->name != 0) {
        if (entry->value == no_value.bits())
            entry->value = init.bits();
        return symbol_at(entry);
    }
    if (spaces.free_symbols < 2)
        raise_message_error("symbol table full");
    const Value string = make_name(name);  // may collect: the entry stays where it is
    *entry = { string.bits(), init.bits(), 0, -1, -1 };
    --spaces.free_symbols;
    return symbol_at(entry);
}

Value intern(const char* name, Value init)
{
    return intern_named(name, init, permanent_name);
}

Value intern_dynamic(const char* name, Value init)
{
    return intern_named(name, init, dynamic_name);
}

Value find_symbol(const char* name)
{
    const SymbolEntry* const entry = find_entry(name);
    return entry->name == 0 ? nil : symbol_at(entry);
}

Value intern_keyword(const char* name)
{
    char text[258] = ":";
    strncat(text, name, sizeof text - 2);
    const Value keyword = intern_dynamic(text);
    set_global_value(keyword, keyword);
    return keyword;
}

void init_symbols()
{
    symbol_t = intern("t");
    set_global_value(symbol_t, symbol_t);
    intern("nil", nil);
}

void forget_symbols()
{
    for (const ZoneAddress block : name_blocks)
        zone_free(block);
    name_blocks.clear();
    name_room = 0;
    symbol_t = nil;
}
