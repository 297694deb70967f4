// A handful of rows, searched from the front.
#include "kernel/stream_procedures.h"

#include <vector>

#include "kernel/errors.h"
#include "kernel/spaces.h"

struct GetRow {
    Primitive::Entry entry;
    GetProcedure get;
    GetOperations more;
};

struct PutRow {
    Primitive::Entry entry;
    PutProcedure put;
};

static std::vector<GetRow> get_rows;
static std::vector<PutRow> put_rows;

// A second boot in one process registers the same rows again.
template <class Row> static void add_row(std::vector<Row>& rows, const Row& added)
{
    for (Row& row : rows)
        if (row.entry == added.entry) {
            row = added;
            return;
        }
    rows.push_back(added);
}

void register_get_entry(Primitive::Entry entry, GetProcedure get, const GetOperations& more)
{
    add_row(get_rows, GetRow { entry, get, more });
}

void register_put_entry(Primitive::Entry entry, PutProcedure put)
{
    add_row(put_rows, PutRow { entry, put });
}

GetProcedure get_procedure(Value primitive)
{
    if (primitive.tag() == kTagPrimitive)
        for (const GetRow& row : get_rows)
            if (row.entry == primitive_row(primitive).entry)
                return row.get;
    return nullptr;
}

PutProcedure put_procedure(Value primitive)
{
    if (primitive.tag() == kTagPrimitive)
        for (const PutRow& row : put_rows)
            if (row.entry == primitive_row(primitive).entry)
                return row.put;
    return nullptr;
}

const GetOperations* get_operations(GetProcedure get)
{
    static const GetOperations none;
    for (const GetRow& row : get_rows)
        if (row.get == get)
            return &row.more;
    return &none;
}

uint32_t stream_state(Value stream)
{
    Value state = cdr_of(stream);
    if (is_pair(state) && is_symbol(cdr_of(state)))
        state = cdr_of(state);
    if (is_symbol(state))
        return state.bits();
    if (state.tag() != kTagPointer)
        raise_error(kErrorType, stream);
    return pointer_of(state);
}
