#include "platform/zone.h"

#include <cstring>
#include <map>
#include <random>
#include <vector>

#include <gtest/gtest.h>

class Zone : public testing::Test {
protected:
    void SetUp() override { zone_open(); }
    void TearDown() override
    {
        EXPECT_TRUE(zone_verify());
        zone_close();
    }
};

TEST_F(Zone, the_base_is_aligned_so_that_low_halves_are_addresses)
{
    const ZoneAddress block = zone_allocate(100);
    EXPECT_EQ(zone_address(zone_pointer(block)), block);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(zone_base) & 0xffffffffu, 0u);
    EXPECT_EQ(block % 16, 0u);
    EXPECT_GE(block, kZoneFirst);
    EXPECT_EQ(zone_block_size(block), 100u);
}

TEST_F(Zone, only_committed_memory_counts_as_mapped)
{
    const ZoneAddress block = zone_allocate(5000);
    EXPECT_TRUE(zone_mapped(block, 5000));
    EXPECT_FALSE(zone_mapped(0, 1));
    EXPECT_FALSE(zone_mapped(kZoneFirst - 1, 1));
    EXPECT_FALSE(zone_mapped(0xffffffffu, 1));
    EXPECT_FALSE(zone_mapped(block, 0xffffffffu));
    EXPECT_FALSE(zone_mapped(zone_committed, 1));
    EXPECT_TRUE(zone_mapped(zone_committed - 1, 1));
}

TEST_F(Zone, an_arena_of_many_megabytes_works_and_comes_back)
{
    const ZoneAddress arena = zone_allocate(300u << 20);
    ASSERT_NE(arena, 0u);
    zone_pointer(arena)[0] = 1;
    zone_pointer(arena)[(300u << 20) - 1] = 2;
    const ZoneAddress wall = zone_allocate(16);
    zone_free(arena);
    EXPECT_EQ(zone_allocate(300u << 20), arena);
    zone_free(wall);
}

TEST_F(Zone, what_cannot_be_had_is_refused_and_the_rest_goes_on)
{
    EXPECT_EQ(zone_allocate(0xffffffffu), 0u);
    const ZoneAddress half = zone_allocate(0x80000000u);
    ASSERT_NE(half, 0u);
    EXPECT_EQ(zone_allocate(0x80000000u), 0u);
    const ZoneAddress small = zone_allocate(10);
    memset(zone_pointer(small), 7, 10);
    EXPECT_EQ(zone_reallocate(small, 0x90000000u), 0u);
    EXPECT_EQ(zone_pointer(small)[9], 7);
    zone_refuse_allocation(2);
    EXPECT_NE(zone_allocate(10), 0u);
    EXPECT_EQ(zone_allocate(10), 0u);
    EXPECT_NE(zone_allocate(10), 0u);
}

TEST_F(Zone, freeing_twice_or_freeing_garbage_harms_nothing)
{
    const ZoneAddress block = zone_allocate(64);
    const ZoneAddress next = zone_allocate(64);
    zone_free(block);
    zone_free(block);
    zone_free(next + 16);
    zone_free(3);
    zone_free(0);
    EXPECT_EQ(zone_block_size(block), 0u);
    EXPECT_EQ(zone_block_size(next), 64u);
    EXPECT_NE(zone_allocate(64), next);
}

TEST(ZoneDamage, a_block_that_was_written_past_its_end_does_not_spread)
{
    zone_open();
    std::vector<ZoneAddress> blocks;
    for (int i = 0; i < 40; i++)
        blocks.push_back(zone_allocate(48));
    for (int i = 0; i < 40; i += 3)
        zone_free(blocks[i]); // their links are overwritten too
    memset(zone_pointer(blocks[10]), 0xa5, 48 * 12);
    for (int i = 0; i < 40; i++)
        zone_free(blocks[i]);
    for (int i = 0; i < 400; i++) {
        const ZoneAddress block = zone_allocate(static_cast<uint32_t>(i) * 7);
        ASSERT_TRUE(zone_mapped(block, static_cast<uint32_t>(i) * 7));
        memset(zone_pointer(block), i, static_cast<uint32_t>(i) * 7);
    }
    zone_close();
}

// A random life of blocks against a map that knows what each must hold.
TEST_F(Zone, blocks_keep_their_bytes_and_never_overlap)
{
    std::mt19937 random(20260101);
    struct Kept {
        uint32_t size;
        uint8_t fill;
    };
    std::map<ZoneAddress, Kept> live;
    const uint32_t at_start = zone_available();
    const auto intact = [](ZoneAddress block, uint32_t count, uint8_t fill) {
        for (uint32_t i = 0; i < count; i++) {
            if (zone_pointer(block)[i] != fill)
                return false;
        }
        return true;
    };
    for (int step = 0; step < 30000; step++) {
        const uint32_t size = random() % 50 == 0 ? random() % 3000000 : random() % 900;
        const uint32_t what = random() % 5;
        if (live.empty() || what < 2) {
            const ZoneAddress block = zone_allocate(size);
            const Kept kept = { size, static_cast<uint8_t>(random()) };
            const auto place = live.emplace(block, kept).first;
            const auto next = std::next(place);
            ASSERT_TRUE(next == live.end() || block + size <= next->first);
            const auto before = place == live.begin() ? place : std::prev(place);
            ASSERT_TRUE(before == place || before->first + before->second.size <= block);
            memset(zone_pointer(block), kept.fill, size > 2000 ? 2000 : size);
            continue;
        }
        auto chosen = live.lower_bound(random() % (live.rbegin()->first + 1));
        const ZoneAddress block = chosen->first;
        const Kept kept = chosen->second;
        live.erase(chosen);
        ASSERT_TRUE(intact(block, kept.size > 2000 ? 2000 : kept.size, kept.fill));
        if (what == 2) {
            const ZoneAddress moved = zone_reallocate(block, size);
            const uint32_t lesser = kept.size < size ? kept.size : size;
            ASSERT_TRUE(intact(moved, lesser > 2000 ? 2000 : lesser, kept.fill));
            memset(zone_pointer(moved), kept.fill, size > 2000 ? 2000 : size);
            live[moved] = { size, kept.fill };
        } else {
            zone_free(block);
        }
        ASSERT_TRUE(step % 1000 != 0 || zone_verify()) << step;
    }
    for (const auto& [block, kept] : live)
        zone_free(block);
    EXPECT_EQ(zone_available(), at_start);
    EXPECT_LT(zone_allocate(64), kZoneFirst + 64) << "all freed blocks ran together";
}
