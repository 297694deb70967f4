// The arena's sizes, the symbol table's probing, and the allocators at their limits.
#include "kernel/spaces.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "app/boot.h"
#include "kernel/collector.h"
#include "kernel/hooks.h"
#include "kernel/symbols.h"
#include "storage/handles.h"

// ---- Sizing

static SpaceSizes image_figures()
{
    SpaceSizes sizes;
    sizes.symbols = 4096;
    sizes.lisp_stack = 20000;
    sizes.prolog_stack = 2000;
    sizes.nodes = 50000;
    sizes.heap = 1 << 20;
    sizes.reserve = 100000;
    sizes.machine_stack = 1 << 20;
    sizes.spare_to_nodes = 50;
    sizes.spare_to_reserve = 25;
    return sizes;
}

// What the figures need without any spare.
static uint32_t least_partition(const SpaceSizes& sizes)
{
    return sizes.reserve + 16 * sizes.symbols + 4 * sizes.lisp_stack + 32 + 8 * sizes.nodes + sizes.heap +
           4 * sizes.prolog_stack;
}

struct Opened {
    ArenaResult result;
    uint32_t nodes = 0;
    uint32_t reserve = 0;
    uint32_t heap = 0;
    uint32_t shortage = 0;
};

static Opened open_with(const SpaceSizes& sizes, uint32_t free_memory = 200 << 20)
{
    Opened opened{ ArenaResult::too_small };
    run_program(sizes.machine_stack, [&] {
        opened.result = start_modules(sizes, free_memory, &opened.shortage);
        if (opened.result == ArenaResult::ready) {
            opened.nodes = spaces.node_count;
            opened.reserve = spaces.reserve;
            opened.heap = static_cast<uint32_t>(spaces.heap_end - spaces.heap_base);
            stop_modules();
        }
        return 0;
    });
    return opened;
}

TEST(Arena, without_spare_the_figures_stand_and_a_byte_less_is_too_small)
{
    for (uint32_t reserve : { 100000u, 0u }) {
        SpaceSizes sizes = image_figures();
        sizes.reserve = reserve;
        sizes.partition = least_partition(sizes);
        const Opened exact = open_with(sizes);
        ASSERT_EQ(exact.result, ArenaResult::ready) << "reserve " << reserve;
        EXPECT_EQ(exact.nodes, 50000u);
        EXPECT_EQ(exact.reserve, reserve);
        EXPECT_NEAR(exact.heap, 1 << 20, 32);
        sizes.partition -= 1;
        const Opened short_of = open_with(sizes);
        EXPECT_EQ(short_of.result, ArenaResult::too_small);
        EXPECT_EQ(short_of.shortage, 1u);
        sizes.partition -= 5 * 1024;
        EXPECT_EQ(open_with(sizes).shortage, 6u);
    }
}

TEST(Arena, the_spare_goes_to_nodes_and_reserve_by_percentage_and_the_heap_takes_the_rest)
{
    SpaceSizes sizes = image_figures();
    sizes.partition = least_partition(sizes) + 1000799;
    const Opened opened = open_with(sizes);
    ASSERT_EQ(opened.result, ArenaResult::ready);
    EXPECT_EQ(opened.nodes, 50000 + 50 * 1250u);            // 1000799 / 800, cut
    EXPECT_EQ(opened.reserve, 100000 + 25 * 10007u);        // 1000799 / 100, cut
    EXPECT_NEAR(opened.heap, (1 << 20) + 1000799 - 25 * 10007 - 8 * 50 * 1250, 32);
}

TEST(Arena, nodes_stop_at_what_a_payload_reaches)
{
    SpaceSizes sizes = image_figures();
    sizes.spare_to_nodes = 90;
    sizes.spare_to_reserve = 0;
    sizes.partition = least_partition(sizes) + (20 << 20);
    EXPECT_EQ(open_with(sizes).nodes, kMostNodes);
}

TEST(Arena, handles_may_not_pass_the_partition_and_the_next_run_is_free_of_it)
{
    SpaceSizes sizes = image_figures();
    sizes.partition = least_partition(sizes);
    run_interpreter(sizes, [&] {
        EXPECT_LE(MemoryAvailable(), sizes.reserve);
        return 0;
    });
    sizes.partition = 0;
    run_interpreter(sizes, [&] {
        EXPECT_GT(MemoryAvailable(), 100u << 20);
        return 0;
    });
}

TEST(Arena, a_partition_above_the_free_memory_is_cut_to_it)
{
    SpaceSizes sizes = image_figures();
    const uint32_t least = least_partition(sizes);
    sizes.partition = least + (50 << 20);
    EXPECT_EQ(open_with(sizes, least).nodes, 50000u);
    EXPECT_EQ(open_with(sizes, least - 3 * 1024).shortage, 4u);
}

// ---- The symbol table

static uint32_t bucket_of(const std::string& name, uint32_t entries)
{
    uint32_t h = 0;
    for (unsigned char c : name)
        h = 2 * h + c;
    return h % entries;
}

template <class Body> static void in_small_interpreter(Body body)
{
    SpaceSizes sizes = image_figures();
    EXPECT_EQ(run_interpreter(sizes, [&] {
        body();
        return 0;
    }), 0);
}

TEST(Symbols, names_of_the_last_bucket_go_on_at_the_first_entry)
{
    in_small_interpreter([] {
        const uint32_t entries = spaces.symbol_count;
        std::vector<std::string> names;
        for (int i = 0; names.size() < 5; i++) {
            const std::string name = "zz" + std::to_string(i);
            if (bucket_of(name, entries) == entries - 1)
                names.push_back(name);
        }
        const uint32_t free_before = spaces.free_symbols;
        int wrapped = 0;
        for (const std::string& name : names) {
            const Value symbol = intern_dynamic(name.c_str());
            wrapped += symbol.payload() / sizeof(SymbolEntry) < entries - 1;
            EXPECT_EQ(intern_dynamic(name.c_str()), symbol);
            EXPECT_STREQ(symbol_chars(symbol), name.c_str());
        }
        EXPECT_GE(wrapped, 4);
        EXPECT_EQ(spaces.free_symbols, free_before - 5);
    });
}

TEST(Symbols, an_initial_value_is_for_the_unbound_only)
{
    in_small_interpreter([] {
        const Value symbol = intern("never-met-before");
        EXPECT_EQ(global_value(symbol), no_value);
        intern("never-met-before", make_fixnum(1));
        EXPECT_EQ(global_value(symbol), make_fixnum(1));
        intern_dynamic("never-met-before", make_fixnum(2));
        EXPECT_EQ(global_value(symbol), make_fixnum(1));
        const Value keyword = intern_keyword("never-met-before");
        EXPECT_EQ(global_value(keyword), keyword);
        EXPECT_STREQ(symbol_chars(keyword), ":never-met-before");
    });
}

// ---- Numbers and blocks

TEST(Values, integers_are_immediate_between_their_limits_and_boxed_outside)
{
    in_small_interpreter([] {
        EXPECT_EQ(make_integer(8388606).tag(), kTagInteger);
        EXPECT_EQ(make_integer(-8388607).tag(), kTagInteger);
        for (int32_t i : { 8388607, -8388608, INT32_MIN, INT32_MAX }) {
            EXPECT_EQ(make_integer(i).tag(), kTagLong);
            EXPECT_EQ(integer_value(make_integer(i)), i);
        }
        EXPECT_EQ(make_unsigned(0x7ffffe).tag(), kTagInteger);
        EXPECT_EQ(make_unsigned(0x7fffff).tag(), kTagLong);
        EXPECT_EQ(make_unsigned(0x7ffffffe).tag(), kTagLong);
        EXPECT_EQ(make_unsigned(0x7fffffff).tag(), kTagUnsignedLong);
        EXPECT_EQ(unsigned_value(make_unsigned(0xffffffff)), 0xffffffffu);
        EXPECT_EQ(real_value(make_unsigned(0xffffffff)), 4294967295.0);
    });
}

static std::vector<std::string> alerts;

TEST(Collector, a_node_of_another_kind_in_the_chain_of_blocks_is_told)
{
    in_small_interpreter([] {
        alerts.clear();
        hooks.alert = [](int, const char* message, const char*, const char*, const char*) {
            alerts.push_back(message);
            return 1;
        };
        Node* const node = node_of(make_string("to be broken"));
        make_string("behind it");
        collect(true);
        EXPECT_TRUE(alerts.empty());
        const uint32_t payload = node->car & kPayloadMask;
        node->car = kHeaderBox << 24 | payload;
        collect(true);
        EXPECT_EQ(alerts, std::vector<std::string>{ "Wrong type in sweep_indirect" });
    });
}

TEST(Values, what_was_made_survives_growth_moves_and_collections)
{
    in_small_interpreter([] {
        const Value text = make_string("some text");
        const Value real = make_real(2.5);
        const Value list = cons(text, real);
        EXPECT_FALSE(grow_nodes(5000));  // growth is off
        spaces.growable = true;
        const uint32_t count = spaces.node_count;
        const uint32_t unused = free_node_count();
        EXPECT_TRUE(grow_nodes(1));
        EXPECT_EQ(spaces.node_count, count + 5000);
        EXPECT_EQ(free_node_count(), unused + 5000);
        EXPECT_FALSE(grow_nodes(kMostNodes - spaces.node_count + 1));
        EXPECT_EQ(verify_heap(), nullptr);
        if (!getenv("KALVEX_GC_STRESS")) {  // which keeps a gap below the heap itself
            EXPECT_TRUE(move_heap(1001));
            EXPECT_FALSE(move_nodes(1008));
            EXPECT_TRUE(move_nodes(1000));
        }
        for (int i = 0; i < 1000; i++)
            make_string("garbage between");
        collect(true);
        EXPECT_EQ(verify_heap(), nullptr);
        EXPECT_STREQ(string_chars(car_of(list)), "some text");
        EXPECT_EQ(real_of(cdr_of(list)), 2.5);
    });
}
