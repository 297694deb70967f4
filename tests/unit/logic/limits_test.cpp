// Proofs that are too long for one of the stacks: an orderly error, and all stacks as before.
#include <gtest/gtest.h>

#include "kernel/collector.h"
#include "kernel/errors.h"
#include "lisp.h"

static const char kProgram[] =
    "(defclause (app () _l _l)) (defclause (app (_h . _t) _l (_h . _r)) (app _t _l _r))"
    "(defclause (p 1)) (defclause (p 2))"
    "(defclause (deep _n) (p _x) (p _y) (deep (+ _n 1)))"
    "(define (iota _n) (let ((_l nil)) (repeat _n (set! _l (cons _n _l))) _l))"
    "(define (long _n) (let ((_l (iota _n))) (app _l '(end) _x) (length _x)))";

static void expect_limit(const SpaceSizes& sizes, const char* form, int code, const char* message)
{
    run_interpreter(sizes, [&] {
        evaluate(kProgram);
        Value* const stack = lisp_sp;
        uint32_t* const trail = prolog_sp;
        for (int round = 0; round < 3; ++round) {
            EXPECT_EQ(evaluate(form), "error");
            EXPECT_EQ(last_error().code, code);
            EXPECT_STREQ(last_error().message, message);
            EXPECT_EQ(lisp_sp, stack);
            EXPECT_EQ(prolog_sp, trail);
            EXPECT_EQ(evaluate("(long 20)"), "21");
        }
        EXPECT_STREQ(verify_heap(), nullptr);
        return 0;
    });
}

TEST(limits, a_full_trail_is_error_9)
{
    SpaceSizes sizes = small_sizes();
    sizes.prolog_stack = 200;
    expect_limit(sizes, "(long 5000)", kErrorNoMemory, "Error: 9, (), #<class KALVEX>, (), ()");
}

TEST(limits, a_full_lisp_stack_is_a_text_error)
{
    SpaceSizes sizes = small_sizes();
    sizes.lisp_stack = 8000;
    expect_limit(sizes, "(long 5000)", 0, "Error: Lisp stack overflow");
}

TEST(limits, a_proof_with_choices_all_the_way_down_ends_at_the_machine_stack)
{
    SpaceSizes sizes = small_sizes();
    sizes.lisp_stack = 1 << 20;
    sizes.prolog_stack = 1 << 20;
    expect_limit(sizes, "(deep 0)", 0, "Error: stack overflow");
}
