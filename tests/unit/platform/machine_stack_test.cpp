#include "platform/machine_stack.h"

#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <stdexcept>

// Takes about 256 bytes of stack a level.
static int __attribute__((noinline)) descend(int levels)
{
    volatile char room[200];
    memset(const_cast<char*>(room), levels, sizeof room);
    return levels == 0 ? 0 : descend(levels - 1) + 1 + (room[0] - static_cast<char>(levels));
}

TEST(MachineStack, holds_a_recursion_deeper_than_the_process_stack_allows)
{
    int reached = 0;
    ASSERT_TRUE(run_on_stack(200u << 20, [&] { reached = descend(100000); }));
    EXPECT_EQ(reached, 100000);
}

TEST(MachineStack, tells_its_bounds_inside_and_none_outside)
{
    bool inside = false;
    size_t size = 0;
    run_on_stack(100000, [&] {
        const StackBounds bounds = current_stack_bounds();
        const auto here = reinterpret_cast<uintptr_t>(__builtin_frame_address(0));
        inside = here > reinterpret_cast<uintptr_t>(bounds.lowest) &&
                 here < reinterpret_cast<uintptr_t>(bounds.top);
        size = static_cast<char*>(bounds.top) - static_cast<char*>(bounds.lowest);
    });
    EXPECT_TRUE(inside);
    EXPECT_GE(size, 100000u);
    EXPECT_EQ(current_stack_bounds().top, nullptr);
}

TEST(MachineStack, an_exception_comes_out_and_a_nested_run_returns_to_its_caller)
{
    int steps = 0;
    auto body = [&] {
        const StackBounds outer = current_stack_bounds();
        run_on_stack(1 << 20, [&] { ++steps; });
        EXPECT_EQ(current_stack_bounds().top, outer.top);
        ++steps;
        throw std::runtime_error("out");
    };
    EXPECT_THROW(run_on_stack(1 << 20, body), std::runtime_error);
    EXPECT_EQ(steps, 2);
    EXPECT_EQ(current_stack_bounds().top, nullptr);
}

TEST(MachineStack, running_off_the_end_faults_at_once)
{
    EXPECT_DEATH(run_on_stack(1 << 16, [] { descend(10000); }), "");
}
