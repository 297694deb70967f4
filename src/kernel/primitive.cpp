// The table of primitives. A primitive's node holds its arity in the car and its row in the cdr, so a
// wild word can't become a jump.
#include "kernel/primitive.h"

#include <cstring>
#include <vector>

#include "kernel/errors.h"
#include "kernel/symbols.h"

static std::vector<Primitive> rows;
const Primitive* primitive_rows;  // row 1 is the first: see primitive_table.h

static uint32_t add_row(const Primitive& row)
{
    rows.push_back(row);
    primitive_rows = rows.data() - 1;
    return static_cast<uint32_t>(rows.size());
}

Value make_primitive(const Primitive& row)
{
    const uint32_t number = add_row(row);
    return new_node(row.tag, kPermanentMark | kHeaderBox << 24 | row.spec, number);
}

void define_primitives(const Primitive* table, size_t count)
{
    for (size_t i = 0; i < count; ++i)
        intern(table[i].name, make_primitive(table[i]));
}

void redefine_primitive(const Primitive& row)
{
    const Value symbol = intern(row.name);
    set_global_value(symbol, make_primitive(row));
}

const Primitive& primitive_row(Value primitive)
{
    return primitive_rows[node_of(primitive)->cdr];
}

size_t primitive_count() { return rows.size(); }
const Primitive& primitive_at(size_t index) { return rows[index]; }

const char* primitive_usage(const char* name)
{
    const char* usage = nullptr;
    for (const Primitive& row : rows)
        if (strcmp(row.name, name) == 0)
            usage = row.usage;
    return usage;
}

void reset_primitives()
{
    rows.clear();
    rows.reserve(2048);
    primitive_rows = nullptr;
}
