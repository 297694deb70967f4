// What the primitives' table can't reach: refused memory and the end of a run.
#include <gtest/gtest.h>

#include "app/boot.h"
#include "kernel/evaluator.h"
#include "kernel/symbols.h"
#include "platform/zone.h"
#include "services/processes.h"

static Value make_process(const char* name)
{
    return call_value(intern("new-process"), intern("void"), intern(name), make_fixnum(1), nil, nil, nil);
}

static SpaceSizes sizes()
{
    SpaceSizes small;
    small.symbols = 8192;
    small.lisp_stack = 1 << 16;
    small.prolog_stack = 1 << 10;
    small.nodes = 100000;
    small.heap = 4 << 20;
    small.reserve = 0;
    small.machine_stack = 2 << 20;
    return small;
}

TEST(processes, refused_memory_answers_no_value)
{
    run_interpreter(sizes(), [] {
        zone_refuse_allocation(1);
        EXPECT_EQ(make_process("first"), no_value);
        zone_refuse_allocation(0);
        EXPECT_EQ(pointer_kind(make_process("second")), kPointerProcess);
        return 0;
    });
}

TEST(processes, the_end_deletes_them_all)
{
    run_interpreter(sizes(), [] {
        const uint32_t before = zone_available();
        const Value listed = make_process("listed");
        make_process("unlisted");
        call_value(intern("run-process"), listed);
        EXPECT_LT(zone_available(), before);
        close_processes();
        EXPECT_EQ(zone_available(), before);
        EXPECT_EQ(call_value(intern("get-process-name"), listed), no_value);
        EXPECT_EQ(call_value(intern("get-processes")), nil);
        return 0;
    });
}
