// What must be undone when control leaves a construct, by whatever way. Frames lie on the machine
// stack and form a chain through previous. Destructors restore state and never run Lisp code: Lisp
// clean-ups run in with_cleanup, from a handler.
#pragma once

#include "kernel/errors.h"
#include "kernel/spaces.h"

enum class FrameKind { lambda = 0, primitive = 1, object = 2, catching = 3, unwind = 4, plain = 7 };

struct LambdaFrame;
struct Frame;

extern Frame* current_frame;
extern LambdaFrame top_frame;     // of the whole run
extern int32_t event_flag;        // a counter: no event is polled while it is above 0

struct Frame {
    Frame();
    Frame(Frame* previous_, LambdaFrame* lambda_frame_)
        : previous(previous_), lambda_frame(lambda_frame_) {}
    ~Frame() { current_frame = previous; }
    Frame(const Frame&) = delete;
    Frame& operator=(const Frame&) = delete;

    virtual FrameKind kind() const { return FrameKind::plain; }
    virtual bool catches(Value) const { return false; }

    Frame* previous;
    LambdaFrame* lambda_frame;  // innermost call of a Lisp function
};

inline Frame::Frame() : previous(current_frame), lambda_frame(current_frame->lambda_frame)
{
    current_frame = this;
}

// Restores the Lisp stack.
struct StackFrame : Frame {
    StackFrame() : stack_mark(lisp_sp), locals(lisp_sp) {}
    StackFrame(Frame* previous_, LambdaFrame* lambda_, Value* locals_)
        : Frame(previous_, lambda_), stack_mark(locals_), locals(locals_) {}
    ~StackFrame() { lisp_sp = stack_mark; }

    Value* const stack_mark;
    Value* locals;
};

// A call of a Lisp function, or one try of a clause. It is made after the arguments have been
// evaluated in the caller's scope; locals_ is where their run on the Lisp stack begins.
struct LambdaFrame : StackFrame {
    LambdaFrame(Value callee_, LambdaFrame* static_link_, Value* locals_, uint32_t local_count_)
        : StackFrame(current_frame, this, locals_), serial(0), local_count(local_count_),
          callee(callee_), static_link(static_link_), prolog_mark(nullptr)
    {
        current_frame = this;
    }
    ~LambdaFrame()
    {
        if (prolog_mark)
            prolog_sp = prolog_mark;
        serial = 0;
    }
    FrameKind kind() const override { return FrameKind::lambda; }

    uint32_t serial;            // tells a live frame from what lies on its place later; 0 until named
    uint32_t local_count;       // words in the run: parameters, captured values, further locals
    Value callee;               // the function node; nil for a clause or a form that stands by itself
    LambdaFrame* static_link;   // frame of the function that the callee was written in
    uint32_t* prolog_mark;      // Prolog stack pointer to restore, or null
};

// Restores the current object.
struct ObjectFrame : Frame {
    explicit ObjectFrame(Value object) : saved(self_object) { self_object = object; }
    ~ObjectFrame() { self_object = saved; }
    FrameKind kind() const override { return FrameKind::object; }

    const Value saved;
};

struct CatchFrame : Frame {
    explicit CatchFrame(Value tag_) : tag(tag_), saved_event_flag(event_flag) {}
    FrameKind kind() const override { return FrameKind::catching; }
    bool catches(Value t) const override { return tag == t; }

    const Value tag;
    const int32_t saved_event_flag;
};

struct UnwindFrame : Frame {
    FrameKind kind() const override { return FrameKind::unwind; }
};

// Raises event_flag while it stands: nothing polls.
struct EventFlagFrame : Frame {
    EventFlagFrame() { ++event_flag; }
    ~EventFlagFrame() { --event_flag; }
};

// The state that a handler puts back before it goes on in the frame that caught.
struct SavedState {
    Frame* const frame = current_frame;
    Value* const stack = lisp_sp;
    const Value object = self_object;

    void restore() const
    {
        current_frame = frame;
        lisp_sp = stack;
        self_object = object;
    }
};

// Runs body, then cleanup, whether body returns or leaves by a non-local exit. A throw out of the
// clean-up replaces the one under way.
template <class Body, class Cleanup> Value with_cleanup(Body body, Cleanup cleanup)
{
    Value result;
    {
        UnwindFrame frame;
        const SavedState state;
        try {
            result = body();
        } catch (NonLocalExit&) {
            state.restore();
            cleanup();
            throw;
        }
    }
    cleanup();
    return result;
}

// A 32-bit name for a frame, held by a boxed node that Lisp data may carry, and the way back: a frame
// that is gone is error 2 with the holder. frame_box may allocate.
Value frame_box(LambdaFrame* frame);
LambdaFrame* frame_of_box(Value box, Value holder);

// ---- Depth and polling

// Every call compares its frame's address with this word: the machine stack's limit, or all ones when
// it is time to look at the clock and the events.
extern volatile uintptr_t stack_limit;

void stack_limit_reached();  // polls; a text error when the stack is really used up

// Close to the machine's stack pointer. Asking for the frame's address would cost the caller its
// frame-pointer register.
inline uintptr_t stack_pointer()
{
#if defined(__x86_64__)
    uintptr_t sp;
    asm("mov %%rsp, %0" : "=r"(sp));
    return sp;
#else
    return reinterpret_cast<uintptr_t>(__builtin_frame_address(0));
#endif
}

inline void check_stack()
{
    if (stack_pointer() < stack_limit) [[unlikely]]
        stack_limit_reached();
}

// The interpreter's machine stack: limit is the lowest address that a call may reach, with kReserve
// and room for primitives below it; top is where the collector's scan ends.
void init_frames(uintptr_t limit, uintptr_t top);
uint32_t machine_stack_left();

// Lends the reporting of an error the reserve below the stack's limit; a report inside it gets no more.
struct StackReserve {
    StackReserve();
    ~StackReserve();
    static constexpr uintptr_t kReserve = 128 << 10;

private:
    const bool lends_;
};

// Makes the next test look at the clock, as the helper signal does.
void request_poll();

// Room for words more on the Lisp stack, or the text error of a full stack.
[[noreturn]] void lisp_stack_full();
inline void check_lisp_stack(uint32_t words)
{
    if (lisp_sp + words >= spaces.lisp_stack_limit) [[unlikely]]
        lisp_stack_full();
}
inline void push(Value v)
{
    *lisp_sp++ = v;
}
