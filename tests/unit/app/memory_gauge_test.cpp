#include <gtest/gtest.h>
#include <vector>

#include "app/boot.h"
#include "kernel/evaluator.h"
#include "kernel/hooks.h"
#include "kernel/symbols.h"
#include "objects/objects.h"

struct Part {
    int left, right;
    Value pattern;
};

static std::vector<Part> drawn;
static int gauge_width;

static bool give_size(Value, int* width, int* height)
{
    *width = gauge_width;
    *height = 10;
    return true;
}

static void note_part(Value, int left, int right, Value pattern)
{
    drawn.push_back({ left, right, pattern });
}

static Value call(const char* name)
{
    return call_value(intern(name));
}

static int zone_at(int x)
{
    return fixnum_value(call_value(intern("find-zone"), cons(make_fixnum(5), make_fixnum(x))));
}

template <class Body> static void with_gauge(int width, Body body)
{
    SpaceSizes sizes;
    sizes.symbols = 4096;
    sizes.lisp_stack = 50000;
    sizes.prolog_stack = 50000;
    sizes.nodes = 50000;
    sizes.heap = 400000;
    sizes.reserve = 400000;
    sizes.machine_stack = 400000;
    run_interpreter(sizes, [&] {
        hooks.gauge_size = give_size;
        hooks.draw_gauge = note_part;
        gauge_width = width;
        drawn.clear();
        const Value window = make_instance(symbol_value(intern("obj-root")));
        set_global_value(intern("gauge-window"), window);
        call_value(intern("setup-memory-window"), window, intern("back"), intern("front"));
        body();
        return 0;
    });
}

TEST(MemoryGauge, the_first_drawing_covers_the_bar_with_seven_zones)
{
    with_gauge(700, [] {
        call("update-memory");
        int at = 0;
        int separators = 0;
        for (const Part& part : drawn) {
            EXPECT_EQ(part.left, at);
            at = part.right;
            separators += part.pattern == nil;
        }
        EXPECT_EQ(at, 700);
        EXPECT_EQ(separators, 7);
    });
}

TEST(MemoryGauge, zones_are_as_wide_as_their_bytes)
{
    with_gauge(700, [] {
        const double total = 16 * 4096 + 200000 + 200000 + 400000 + 400000 + 400000 + 398000;
        EXPECT_EQ(zone_at(0), 0);
        EXPECT_EQ(zone_at(static_cast<int>(700 * 65536 / total) + 1), 1);
        EXPECT_EQ(zone_at(static_cast<int>(700 * 700000 / total)), 3);
        EXPECT_EQ(zone_at(699), 6);
        EXPECT_EQ(zone_at(700), 6);
        EXPECT_EQ(zone_at(-1), 6);
    });
}

TEST(MemoryGauge, later_only_what_changed_is_drawn)
{
    with_gauge(2000, [] {
        call("update-memory");
        drawn.clear();
        call("update-memory");
        EXPECT_TRUE(drawn.empty());
        Value list = nil;
        for (int i = 0; i < 20000; i++)
            list = cons(nil, list);
        set_global_value(intern("kept"), list);
        call("update-memory");
        ASSERT_EQ(drawn.size(), 1u);
        EXPECT_EQ(drawn[0].pattern, intern("front"));
        EXPECT_EQ(zone_at(drawn[0].left), 3);
        drawn.clear();
        call("paint-memory");
        EXPECT_GE(drawn.size(), 14u);
    });
}
