// The chain of frames, the names of frames that Lisp data may carry, and the one comparison that
// serves both the depth of the machine stack and the polling of events.
#include "kernel/frames.h"

#include "kernel/collector.h"
#include "kernel/hooks.h"
#include "platform/clock.h"

Frame* current_frame;
LambdaFrame top_frame(nil, nullptr, nullptr, 0);
int32_t event_flag;
volatile uintptr_t stack_limit;

static uintptr_t real_stack_limit;
static bool reserve_is_lent;
static uintptr_t stack_top;
static uint32_t frame_serial;
static uint32_t last_poll;

static constexpr uintptr_t kPollRequested = UINTPTR_MAX;
static constexpr uint32_t kPollInterval = 100;  // ms

void init_frames(uintptr_t limit, uintptr_t top)
{
    real_stack_limit = limit;
    reserve_is_lent = false;
    stack_top = top;
    set_stack_top(reinterpret_cast<void*>(top));
    stack_limit = limit;
    event_flag = 0;
    current_frame = &top_frame;
    top_frame.previous = nullptr;
    top_frame.lambda_frame = &top_frame;
    top_frame.locals = lisp_sp;
}

// ---- Names of frames

Value frame_box(LambdaFrame* frame)
{
    if (frame == &top_frame)
        return make_boxed(kTagLong, 0);
    if (frame->serial == 0) {
        frame_serial = (frame_serial + 1) & kPayloadMask;
        frame->serial = frame_serial + (frame_serial == 0);
    }
    const uint32_t offset = static_cast<uint32_t>(stack_top - reinterpret_cast<uintptr_t>(frame));
    return new_node(kTagLong, kHeaderBox << 24 | frame->serial, offset);
}

// Reads stack memory that may hold anything by now.
__attribute__((no_sanitize("address", "undefined")))
static bool frame_lives(const LambdaFrame* frame, uint32_t serial)
{
    return frame->serial == serial && frame->lambda_frame == frame;
}

LambdaFrame* frame_of_box(Value box, Value holder)
{
    const Node* const node = node_of(box);
    if (node->cdr == 0)
        return &top_frame;
    const uint32_t serial = node->car & kPayloadMask;
    const uintptr_t address = stack_top - node->cdr;
    const uintptr_t here = reinterpret_cast<uintptr_t>(__builtin_frame_address(0));
    LambdaFrame* const frame = reinterpret_cast<LambdaFrame*>(address);
    if (address < here || address + sizeof(LambdaFrame) > stack_top ||
        address % alignof(LambdaFrame) != 0 || !frame_lives(frame, serial))
        raise_error(kErrorType, holder);
    return frame;
}

// ---- Depth and polling

void request_poll()
{
    stack_limit = kPollRequested;
}

static void poll()
{
    const uint32_t now = tick_count_ms();
    if (event_flag > 0 || now - last_poll < kPollInterval)
        return;
    last_poll = now;
    hooks.poll_events();
}

void stack_limit_reached()
{
    stack_limit = real_stack_limit;
    const uintptr_t here = reinterpret_cast<uintptr_t>(__builtin_frame_address(0));
    if (here < real_stack_limit)
        raise_message_error("stack overflow");
    poll();
}

// There is one reserve: a report inside another one has to do with what the outer one has left.
StackReserve::StackReserve() : lends_(!reserve_is_lent)
{
    if (!lends_)
        return;
    reserve_is_lent = true;
    real_stack_limit -= kReserve;
    stack_limit = real_stack_limit;
}

StackReserve::~StackReserve()
{
    if (!lends_)
        return;
    reserve_is_lent = false;
    real_stack_limit += kReserve;
    stack_limit = real_stack_limit;
}

void lisp_stack_full()
{
    raise_message_error("Lisp stack overflow");
}

uint32_t machine_stack_left()
{
    const uintptr_t here = reinterpret_cast<uintptr_t>(__builtin_frame_address(0));
    return here > real_stack_limit ? static_cast<uint32_t>(here - real_stack_limit) : 0;
}
