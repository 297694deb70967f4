#include "storage/handles.h"

#include <cstring>
#include <vector>

#include <gtest/gtest.h>

#include "storage/bytes.h"
#include "test_files.h"

class Handles : public testing::Test {
protected:
    void SetUp() override { DisposeAllHandles(); }
    void TearDown() override
    {
        DisposeAllHandles();
        zone_close();
    }
};

static void fill(Handle handle, uint8_t byte)
{
    memset(LockedHandle(handle).bytes, byte, GetHandleSize(handle));
}

TEST_F(Handles, indexes_go_down_from_the_top_of_each_growth)
{
    for (Handle expected = 31; expected >= 1; expected--)
        ASSERT_EQ(NewHandle(4), expected);
    EXPECT_EQ(HandleEntryCount(), 32u);
    for (Handle expected = 63; expected >= 32; expected--)
        ASSERT_EQ(NewHandle(0), expected);
    EXPECT_EQ(NewHandle(1), 95u);
    DisposeHandle(7);
    DisposeHandle(40);
    EXPECT_EQ(NewHandle(1), 40u);
    EXPECT_EQ(NewHandle(1), 7u);
    EXPECT_EQ(NewHandle(1), 94u);
}

TEST_F(Handles, the_table_goes_past_every_small_bound)
{
    for (int i = 0; i < 40000; i++)
        ASSERT_NE(NewHandle(0), 0u);
    const Handle last = NewHandleChecked(10);
    fill(last, 3);
    EXPECT_EQ(GetHandleSize(last), 10u);
}

TEST_F(Handles, an_empty_handle_is_alive_but_has_no_block)
{
    const Handle handle = NewHandle(0);
    EXPECT_TRUE(HandleIsEmpty(handle));
    EXPECT_EQ(error_of([&] { HLock(handle); }), 60);
    HUnlock(handle);
    EXPECT_EQ(SetHandleSize(handle, 0), 0);
    EXPECT_EQ(SetHandleSize(handle, 10), 0);
    EXPECT_FALSE(HandleIsEmpty(handle));
    EXPECT_EQ(HandleTotal(), 10u);
    const Handle copy = CopyHandle(NewHandle(0));
    EXPECT_TRUE(HandleIsEmpty(copy));
    EXPECT_TRUE(EqualHandles(copy, NewHandle(0)));
}

TEST_F(Handles, totals_follow_every_change)
{
    const Handle a = NewHandle(100);
    const Handle b = NewHandle(50);
    EXPECT_EQ(HandleTotal(), 150u);
    SetHandleSize(a, 300);
    EXPECT_EQ(HandleTotal(), 350u);
    SetHandleSize(a, 20);
    EXPECT_EQ(HandleTotal(), 70u);
    SetHandleSize(b, 0);
    EXPECT_EQ(HandleTotal(), 20u);
    const ZoneAddress block = DetachBlock(a);
    EXPECT_EQ(HandleTotal(), 0u);
    EXPECT_FALSE(HandleIsLive(a));
    const Handle adopted = AdoptBlock(block);
    EXPECT_EQ(GetHandleSize(adopted), 20u);
    EXPECT_EQ(HandleTotal(), 20u);
    HLock(adopted);
    HLock(adopted);
    DisposeHandle(adopted);
    EXPECT_EQ(HandleTotal(), 0u);
    const Ptr ptr = NewPtr(6);
    EXPECT_EQ(HandleTotal(), 10u);
    DisposePtr(ptr);
    EXPECT_EQ(HandleTotal(), 0u);
}

TEST_F(Handles, resizing_keeps_the_bytes)
{
    const Handle handle = NewHandle(1000);
    fill(handle, 0x5a);
    NewHandle(5000); // in the way of growing in place
    ASSERT_EQ(SetHandleSize(handle, 4000), 0);
    EXPECT_EQ(LockedHandle(handle).bytes[999], 0x5a);
    ASSERT_EQ(SetHandleSize(handle, 3), 0);
    EXPECT_EQ(LockedHandle(handle).bytes[2], 0x5a);
    const Handle copy = CopyHandle(handle);
    EXPECT_TRUE(EqualHandles(handle, copy));
    LockedHandle(copy).bytes[1] = 0;
    EXPECT_FALSE(EqualHandles(handle, copy));
    EXPECT_EQ(HandleLocks(handle), 0);
    EXPECT_EQ(HandleLocks(copy), 0);
}

TEST_F(Handles, one_purge_empties_every_unlocked_purgeable_handle)
{
    SetHandleLimit(1000);
    const Handle kept = NewHandle(100);
    const Handle first = NewHandle(100);
    const Handle second = NewHandle(100);
    const Handle locked = NewHandle(100);
    HPurge(first);
    HPurge(second);
    HPurge(locked);
    HLock(locked);
    EXPECT_EQ(MemoryAvailable(), 600u);
    EXPECT_EQ(PurgeMemory(599), 600u);
    EXPECT_EQ(GetHandleSize(first), 100u) << "survives while memory is ample";
    EXPECT_EQ(PurgeMemory(600), 800u) << "available must be above what is needed";
    EXPECT_EQ(GetHandleSize(kept), 100u);
    EXPECT_EQ(GetHandleSize(first), 0u);
    EXPECT_EQ(GetHandleSize(second), 0u);
    EXPECT_EQ(GetHandleSize(locked), 100u);
    HLock(locked);
    HUnlock(locked);
    PurgeMemory(5000);
    EXPECT_EQ(GetHandleSize(locked), 100u);
    HUnlock(locked);
    EXPECT_EQ(PurgeMemory(5000), 900u);
    EXPECT_TRUE(HandleIsEmpty(locked));
    EXPECT_NE(NewHandle(5000), 0u) << "the limit purges, it does not refuse";
    EXPECT_EQ(MemoryAvailable(), 0u);
    HNoPurge(kept);
}

TEST_F(Handles, a_refused_allocation_changes_nothing)
{
    const Handle handle = NewHandle(10);
    fill(handle, 9);
    zone_refuse_allocation(1);
    EXPECT_EQ(NewHandle(10), 0u);
    zone_refuse_allocation(1);
    EXPECT_EQ(error_of([] { NewHandleChecked(10); }), 9);
    zone_refuse_allocation(1);
    EXPECT_NE(SetHandleSize(handle, 5000), 0);
    zone_refuse_allocation(1);
    EXPECT_EQ(error_of([&] { SetHandleSizeChecked(handle, 5000); }), 9);
    zone_refuse_allocation(1);
    EXPECT_EQ(NewPtr(10), 0u);
    zone_refuse_allocation(1);
    EXPECT_EQ(CopyHandle(handle), 0u);
    EXPECT_EQ(HandleLocks(handle), 0);
    EXPECT_EQ(NewHandle(0xffffffffu), 0u);
    EXPECT_EQ(error_of([] { NewPtrChecked(0xffffffffu); }), 9);
    EXPECT_EQ(GetHandleSize(handle), 10u);
    EXPECT_EQ(LockedHandle(handle).bytes[9], 9);
    EXPECT_EQ(HandleTotal(), 10u);
    EXPECT_EQ(NewHandle(1), 30u) << "the entry went back on the free list";
}

TEST_F(Handles, dead_handles_are_refused_everywhere)
{
    const Handle dead = NewHandle(10);
    DisposeHandle(dead);
    const std::vector<Handle> none = { 0, dead, 5, 32, 100000, 0xffffffffu };
    for (const Handle handle : none) {
        EXPECT_FALSE(HandleIsLive(handle));
        EXPECT_EQ(error_of([&] { DisposeHandle(handle); }), 2);
        EXPECT_EQ(error_of([&] { GetHandleSize(handle); }), 2);
        EXPECT_EQ(error_of([&] { SetHandleSize(handle, 10); }), 2);
        EXPECT_EQ(error_of([&] { HLock(handle); }), 2);
        EXPECT_EQ(error_of([&] { HUnlock(handle); }), 2);
        EXPECT_EQ(error_of([&] { HPurge(handle); }), 2);
        EXPECT_EQ(error_of([&] { HNoPurge(handle); }), 2);
        EXPECT_EQ(error_of([&] { CopyHandle(handle); }), 2);
        EXPECT_EQ(error_of([&] { DetachBlock(handle); }), 2);
    }
    EXPECT_EQ(NewHandle(1), dead);
    EXPECT_EQ(NewHandle(1), dead - 1);
}

TEST_F(Handles, a_generation_tells_a_handle_from_its_successor)
{
    const Handle handle = NewHandle(10);
    const uint16_t generation = HandleGeneration(handle);
    DisposeHandle(handle);
    ASSERT_EQ(NewHandle(10), handle);
    EXPECT_NE(HandleGeneration(handle), generation);
}

TEST_F(Handles, a_ptr_is_told_from_garbage)
{
    const Ptr ptr = NewPtr(6);
    EXPECT_EQ(GetPtrSize(ptr), 6u);
    Handle index;
    memcpy(&index, zone_pointer(ptr - 4), 4);
    EXPECT_EQ(index, 31u);
    EXPECT_EQ(HandleLocks(31), 1);
    EXPECT_TRUE(PtrIsLive(ptr));
    const Handle plain = NewHandle(16); // its bytes name itself, yet it is no Ptr
    const ZoneAddress address = zone_address(HLock(plain));
    memcpy(zone_pointer(address), &plain, 4);
    for (const Ptr wrong : { Ptr(0), Ptr(3), ptr + 1, ptr + 4, address + 4, Ptr(0xfffffff0u) }) {
        EXPECT_FALSE(PtrIsLive(wrong));
        EXPECT_EQ(error_of([&] { DisposePtr(wrong); }), 2);
        EXPECT_EQ(error_of([&] { GetPtrSize(wrong); }), 2);
    }
    DisposePtr(ptr);
    EXPECT_FALSE(PtrIsLive(ptr));
    EXPECT_EQ(error_of([&] { DisposePtr(ptr); }), 2);
}

TEST_F(Handles, locks_stop_at_eight_bits)
{
    const Handle handle = NewHandle(10);
    for (int i = 0; i < 300; i++)
        HLock(handle);
    EXPECT_EQ(HandleLocks(handle), 255);
    for (int i = 0; i < 300; i++)
        HUnlock(handle);
    EXPECT_EQ(HandleLocks(handle), 0);
}

TEST(Bytes, block_move_bears_overlap_both_ways)
{
    char up[] = "abcdefgh";
    BlockMove(up, up + 2, 6);
    EXPECT_STREQ(up, "ababcdef");
    char down[] = "abcdefgh";
    BlockMove(down + 2, down, 6);
    EXPECT_STREQ(down, "cdefghgh");
}

TEST(Bytes, swaps_and_big_endian_reads_agree)
{
    uint8_t bytes[5] = {};
    put_be32(bytes + 1, 0x12345678);
    EXPECT_EQ(bytes[1], 0x12);
    EXPECT_EQ(get_be32(bytes + 1), 0x12345678u);
    EXPECT_EQ(get_be16(bytes + 2), 0x3456u);
    uint32_t raw;
    memcpy(&raw, bytes + 1, 4);
    EXPECT_EQ(SwapLong(raw), 0x12345678u);
    EXPECT_EQ(SwapWord(0xabcd1234u) & 0xffff, 0x3412u);
}
