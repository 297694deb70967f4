// Proofs that are too long for one of the stacks: an orderly error, and all stacks as before. And
// what a long proof owes the rest of the program: it polls at each goal.
#include <gtest/gtest.h>

#include "kernel/collector.h"
#include "kernel/errors.h"
#include "kernel/frames.h"
#include "kernel/hooks.h"
#include "kernel/primitive.h"
#include "lisp.h"
#include "platform/clock.h"

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

static int polls;

// As when a goal has taken a while: the timer's signal has come, and the clock has moved on.
static Value take_a_while()
{
    advance_virtual_clock(200);
    request_poll();
    return no_value;
}

static const Primitive slow_primitives[] = { { "take-a-while", take_a_while, "(take-a-while)" } };

TEST(limits, a_proof_polls_at_its_goals_unless_the_flag_is_up)
{
    run_interpreter(small_sizes(), [] {
        use_virtual_clock(1000);
        define_primitives(slow_primitives);
        hooks.poll_events = [] { ++polls; };
        evaluate("(defclause (fact 1)) (defclause (slow) (take-a-while) (fact 1))");
        polls = 0;
        EXPECT_EQ(evaluate("(slow)"), "t");
        EXPECT_EQ(polls, 1);
        ++event_flag;
        EXPECT_EQ(evaluate("(slow)"), "t");
        --event_flag;
        EXPECT_EQ(polls, 1);
        use_real_clock();
        return 0;
    });
}
