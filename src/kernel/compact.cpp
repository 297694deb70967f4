// The tokenised form of `Load` text: control bytes that stand for symbols, variables and small
// integers. Symbols are never collected, so the table needs no marking.
#include <cstring>
#include <vector>

#include "kernel/errors.h"
#include "kernel/evaluator.h"
#include "kernel/reader.h"
#include "kernel/symbols.h"
#include "kernel/syntax_table.h"

static std::vector<Value> compact_symbols;

bool install_compact_symbols(const uint8_t* resource, uint32_t length)
{
    if (length < 2)
        return false;
    const uint32_t count = resource[0] << 8 | resource[1];
    const char* const end = reinterpret_cast<const char*>(resource + length);
    const char* const first = reinterpret_cast<const char*>(resource + 2);
    const char* name = first;
    for (uint32_t i = 0; i < count; ++i) {
        const void* close = memchr(name, 0, end - name);
        if (!close)
            return false;
        name = static_cast<const char*>(close) + 1;
    }

    std::vector<Value> table;
    table.reserve(8 + count);
    for (const char* fixed : { "define", "quote", "set!", "t", "nil", "defslot", "when", "let" })
        table.push_back(intern(fixed));
    name = first;
    for (uint32_t i = 0; i < count; ++i) {
        const Value symbol = intern_dynamic(name);
        if (*name == ':')
            set_global_value(symbol, symbol);
        table.push_back(symbol);
        name += strlen(name) + 1;
    }
    compact_symbols.swap(table);
    return true;
}

void remove_compact_symbols()
{
    compact_symbols.clear();
    compact_symbols.shrink_to_fit();
}

// Error 2 with the index when the table, or no table, has no such entry.
static Value compact_symbol(uint32_t index)
{
    if (index >= compact_symbols.size())
        raise_error(kErrorType, make_integer(static_cast<int32_t>(index)));
    return compact_symbols[index];
}

static uint32_t take_operand()
{
    const uint32_t c = take_character();
    if (c == kEndOfInput)
        raise_error(kErrorSyntax);
    return c;
}

static uint32_t take_word()
{
    const uint32_t high = take_operand();
    return high << 8 | take_operand();
}

Value read_compact(uint32_t byte)
{
    switch (syntax_table[byte]) {
    case kSyntaxEntry:
        return compact_symbol(byte);
    case kSyntaxNearSymbol:
        return compact_symbol((byte - 15) * 256 + 8 + take_operand());
    case kSyntaxFarSymbol:
        return compact_symbol(take_word());
    case kSyntaxByte:
        return make_fixnum(static_cast<int8_t>(take_operand()));
    case kSyntaxWord:
        return make_fixnum(static_cast<int16_t>(take_word()));
    default:
        return make_variable(compact_symbol(take_word()));
    }
}
