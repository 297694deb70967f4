#include "app/boot.h"

#include <gtest/gtest.h>

#include "app/image_boot.h"
#include "kernel/errors.h"
#include "kernel/evaluator.h"
#include "kernel/hooks.h"
#include "kernel/primitive.h"
#include "kernel/symbols.h"
#include "objects/objects.h"
#include "platform/zone.h"

static SpaceSizes small_sizes()
{
    SpaceSizes sizes;
    sizes.symbols = 4096;
    sizes.lisp_stack = 20000;
    sizes.prolog_stack = 2000;
    sizes.nodes = 50000;
    sizes.heap = 1 << 20;
    sizes.reserve = 0;
    sizes.machine_stack = 1 << 20;
    return sizes;
}

TEST(Boot, a_process_boots_again_and_again_and_nothing_of_a_run_is_left)
{
    size_t rows[3];
    uint32_t available[3];
    for (int i = 0; i < 3; i++) {
        run_interpreter(small_sizes(), [&] {
            EXPECT_EQ(global_value(intern("left-over")), no_value);
            set_global_value(intern("left-over"), make_fixnum(1));
            rows[i] = primitive_count();
            return 0;
        });
        available[i] = zone_available();
    }
    EXPECT_EQ(rows[0], rows[2]);
    EXPECT_EQ(available[1], available[2]);
}

TEST(Boot, the_status_is_the_bodys_or_that_of_the_end_of_the_program)
{
    EXPECT_EQ(run_interpreter(small_sizes(), [] { return 7; }), 7);
    EXPECT_EQ(run_interpreter(small_sizes(),
                              [] {
                                  hooks.quit(3);
                                  return 0;
                              }),
              3);
    EXPECT_EQ(run_interpreter(small_sizes(), []() -> int { throw thrower(nil, nil); }), 1);
    SpaceSizes sizes = small_sizes();
    sizes.partition = 1000;
    EXPECT_EQ(run_interpreter(sizes, [] { return 7; }), 1);
}

struct Counted : NativeObject {
    explicit Counted(int* count_) : count(count_) { ++*count; }
    ~Counted() override { --*count; }
    int* const count;
};

TEST(Boot, native_objects_that_lisp_still_owns_are_deleted_at_the_end)
{
    int count = 0;
    run_interpreter(small_sizes(), [&] {
        const Value kept = make_pointer(kPointerCpp, zone_address(new Counted(&count)));
        set_global_value(intern("kept"), kept);
        EXPECT_EQ(count, 1);
        return 0;
    });
    EXPECT_EQ(count, 0);
}

TEST(ImagePath, the_name_ends_in_RI_in_place_of_what_follows_the_last_point)
{
    EXPECT_EQ(image_path_of("/usr/bin/kalvex"), "/usr/bin/kalvex.RI");
    EXPECT_EQ(image_path_of("/opt/v1.2/kalvex"), "/opt/v1.2/kalvex.RI");
    EXPECT_EQ(image_path_of("/a/My.Game.exe"), "/a/My.Game.RI");
    EXPECT_EQ(image_path_of("game"), "game.RI");
}
