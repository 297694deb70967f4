// The blocks of hash tables, which lie outside the arena.
#include "interpreter.h"
#include "platform/zone.h"

TEST(hash_tables, give_their_blocks_back_when_they_die)
{
    in_interpreter([] {
        lisp("recycle", nil);
        const uint32_t before = zone_available();
        for (int i = 0; i < 50; ++i)
            lisp("new-hash");
        EXPECT_LT(zone_available(), before);
        lisp("recycle", nil);
        // A few may still look alive to the scan of the machine stack.
        EXPECT_GT(zone_available() + 5 * 4 * spaces.symbol_count, before);
    });
}

TEST(hash_tables, never_hold_much_more_than_is_alive)
{
    in_interpreter([] {
        const uint32_t before = zone_available();
        for (int i = 0; i < 3000; ++i) {
            lisp("new-hash");
            ASSERT_LT(before - zone_available(), 64u << 20);
        }
    });
}

TEST(hash_tables, are_refused_when_memory_is_short_even_after_a_collection)
{
    in_interpreter([] {
        zone_refuse_allocation(1);
        EXPECT_EQ(lisp("new-hash").tag(), kTagHashTable);
        zone_refuse_allocation(0);
    });
}
