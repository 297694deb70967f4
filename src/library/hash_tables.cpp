// Hash tables. Nothing is hashed: a table is a map from symbols to values with one word for each
// entry of the symbol table, in a block of the zone that the collector frees with the node.
#include "kernel/collector.h"
#include "kernel/evaluator.h"
#include "kernel/primitive.h"
#include "kernel/symbols.h"
#include "library/arguments.h"
#include "library/library.h"

// Bytes of new tables after which a collection looks for dead ones: their nodes are too few to ask
// for it.
constexpr uint32_t kCollectAfter = 32 << 20;
static uint32_t bytes_since_collection;

static uint32_t* entries_of(Value table)
{
    return reinterpret_cast<uint32_t*>(
        zone_pointer(node_of(typed_argument(table, kTagHashTable))->cdr));
}

static uint32_t* entry_of(Value table, Value symbol)
{
    return entries_of(table) + symbol_argument(symbol).payload() / sizeof(SymbolEntry);
}

static Value new_hash()
{
    const uint32_t count = spaces.symbol_count;
    const Value table = new_node(kTagHashTable, kHeaderHashTable << 24, 0);
    bytes_since_collection += 4 * count;
    ZoneAddress block = bytes_since_collection < kCollectAfter ? zone_allocate(4 * count) : 0;
    if (!block) {
        bytes_since_collection = 0;
        collect(true);
        block = zone_allocate(4 * count);
        if (!block)
            raise_error(kErrorNoMemory);
    }
    uint32_t* entries = reinterpret_cast<uint32_t*>(zone_pointer(block));
    for (uint32_t i = 0; i < count; ++i)
        entries[i] = end_of_args.bits();
    node_of(table)->cdr = block;
    return table;
}

static Value hash_ref(Value table, Value symbol, Value otherwise)
{
    const Value v = Value::from_bits(*entry_of(table, symbol));
    return is_end(v) ? otherwise : v;
}

static Value hash_set_x(Value table, Value symbol, Value v)
{
    *entry_of(table, symbol) = v.bits();
    return no_value;
}

// f may change the table: each entry is read when its turn comes.
static Value for_each_hash(Value f, Value table)
{
    typed_argument(table, kTagHashTable);
    for (uint32_t i = 0; i < spaces.symbol_count; ++i) {
        const Value v = Value::from_bits(entries_of(table)[i]);
        if (!is_end(v))
            call_value(f, Value(kTagSymbol, i * sizeof(SymbolEntry)), v);
    }
    return no_value;
}

static const Primitive hash_primitives[] = {
    { "new-hash", new_hash,
      "(new-hash): a new table without entries; error 9 when memory is short" },
    { "hash-ref", hash_ref,
      "(hash-ref table symbol default): the symbol's value, default when it has none; error 2 for "
      "a key that is no symbol" },
    { "hash-set!", hash_set_x,
      "(hash-set! table symbol v): gives the symbol the value v; no-value" },
    { "for-each-hash", for_each_hash,
      "(for-each-hash f table): calls f on each symbol and its value, in symbol table order; "
      "no-value" },
};

void init_hash_tables()
{
    bytes_since_collection = 0;
    define_primitives(hash_primitives);
}
