// Any bytes as source text: the first chooses a pattern, the rest is searched from end to end and
// matched at each expression that is found.
#include <cstdlib>
#include <cstring>

#include "interpreter.h"
#include "kernel/evaluator.h"
#include "kernel/symbols.h"
#include "platform/zone.h"

static Value wildcard(int kind)
{
    const Value rest = cons(make_fixnum(kind), nil);
    return cons(global_value(intern("Symbolic-Token")), rest);
}

// Items by the bits of choice: wildcards of the three kinds, a name, a nested list.
static Value make_pattern(uint32_t choice)
{
    Value pattern = choice & 1 ? wildcard(0) : nil;
    for (int i = 0; i < 3; ++i) {
        choice >>= 1;
        const Value item = choice % 5 < 3    ? wildcard(static_cast<int>(choice % 5))
                           : choice % 5 == 3 ? intern("a")
                                             : cons(wildcard(2), nil);
        pattern = cons(item, pattern);
    }
    return pattern;
}

static void search(const uint8_t* data, size_t size)
{
    if (size < 1)
        return;
    const uint32_t length = static_cast<uint32_t>(size - 1);
    const ZoneAddress block = zone_allocate(length);
    memcpy(zone_pointer(block), data + 1, length);
    const Value buffer = make_pointer(kPointerPlain, block);
    const Value pattern = make_pattern(data[0]);
    const Value bytes = make_integer(static_cast<int32_t>(length));
    const Value any = cons(wildcard(0), nil);
    Value start = make_fixnum(0), end = start;
    int32_t last = -1;
    for (;;) {
        const Value hit =
            call_value(intern("search-symbolic"), any, buffer, bytes, start, end, nil);
        if (hit == nil)
            break;
        start = car_of(cdr_of(hit));
        end = cdr_of(cdr_of(hit));
        if (integer_value(start) <= last || integer_value(end) > static_cast<int32_t>(length))
            abort();
        last = integer_value(start);
        call_value(intern("unify-expr"), pattern, buffer, bytes, start, end);
    }
    zone_free(block);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 4096)
        run_in_interpreter(search, data, size);
    return 0;
}
