// Type names and eqv: what the kernel itself asks about a value's type.
#include "kernel/types.h"

#include "kernel/equality.h"
#include "kernel/errors.h"
#include "kernel/object_layout.h"
#include "kernel/symbols.h"

static Value names[64];  // symbols: they never move

static const struct {
    Tag tag;
    const char* name;
} kTypeNames[] = {
    { kTagAddress, "address" },
    { kTagUnsignedLong, "unsigned-long" },
    { kTagInteger, "integer" },
    { kTagReal, "real" },
    { kTagVariable, "variable" },
    { kTagNoValue, "no-value" },
    { kTagVector, "vector" },
    { kTagString, "string" },
    { kTagSymbol, "symbol" },
    { kTagSyntax, "syntax" },
    { kTagFunction, "function" },
    { kTagPrimitive, "primitive" },
    { kTagSpecial, "special" },
    { kTagPredicate, "predicate" },
    { kTagHashTable, "hash-table" },
    { kTagLexical, "lexical" },
    { kTagGamma, "gamma" },
    { kTagLong, "long" },
    { kTagPointer, "pointer" },
    { kTagClosed, "closed" },
    { kTagSyntaxGamma, "syntax-gamma" },
    { kTagClosedSyntax, "closed-syntax" },
    { kTagList, "list" },
};

void init_type_names()
{
    for (Value& name : names)
        name = nil;
    const Value keyword = intern("keyword");
    for (uint32_t tag = kTagQuote; tag <= kTagLet; ++tag)
        if (tag != kHeaderPointer)
            names[tag] = keyword;
    for (const auto& row : kTypeNames)
        names[row.tag] = intern(row.name);
}

Value type_of(Value v)
{
    if (v == root_class)
        return v;
    if (v.tag() == kTagInstance)
        return class_of(v);
    const Value meta = v.tag() == kTagClass ? find_symbol("obj-class") : names[v.tag() & 0x3f];
    if (v.tag() == kTagClass)
        return meta != nil && global_value(meta).tag() == kTagClass ? global_value(meta) : v;
    if (meta == nil)
        raise_error(kErrorType, v);
    return meta;
}

static bool names_class(Value cls, Value type)
{
    return cls == type || (is_symbol(type) && class_block(cls)->name == type);
}

bool is_type(Value v, Value type)
{
    if (is_object(v) && v != root_class) {
        const Value cls = object_block(v)->class_;
        for (Value list = class_block(cls)->genealogy; is_pair(list); list = cdr_of(list))
            if (names_class(car_of(list), type))
                return true;
        return false;
    }
    return v == type ? v == root_class : names[v.tag() & 0x3f] == type && type != nil;
}

bool eqv_slow(Value a, Value b)
{
    uint16_t header[2];
    switch (a.tag()) {
    case kTagReal:
        return real_of(a) == real_of(b);
    case kTagVector:
        return vector_count(a) == 0 && vector_count(b) == 0;
    case kTagArray:
        // Count, then rank.
        memcpy(header, block_of(a), 4);
        if (header[1] != 0)
            return false;
        memcpy(header, block_of(b), 4);
        return header[1] == 0;
    default:
        return false;
    }
}
