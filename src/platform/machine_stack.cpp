// The stack is mapped without reserving swap, so a generous size costs only what is touched. The
// switch is told to AddressSanitizer, which otherwise takes the new stack for a wild one.
#include "platform/machine_stack.h"

#include <exception>
#include <sys/mman.h>
#include <ucontext.h>
#include <unistd.h>

#if defined(__SANITIZE_ADDRESS__)
#define KALVEX_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define KALVEX_ASAN 1
#endif
#endif
#ifdef KALVEX_ASAN
#include <sanitizer/common_interface_defs.h>
#endif

namespace {

struct Run {
    void (*function)(void*);
    void* argument;
    ucontext_t inside;
    ucontext_t outside;
    StackBounds bounds;
    Run* previous;
    std::exception_ptr failure;
    const void* outer_lowest = nullptr; // the stack that we came from, as the sanitizer knows it
    size_t outer_size = 0;
};

Run* current_run = nullptr;

} // namespace

static void leave_stack(Run& run)
{
#ifdef KALVEX_ASAN
    // A null place for the fake stack tells that this stack is done for.
    __sanitizer_start_switch_fiber(nullptr, run.outer_lowest, run.outer_size);
#endif
    swapcontext(&run.inside, &run.outside);
}

static void run_body()
{
    Run& run = *current_run;
#ifdef KALVEX_ASAN
    __sanitizer_finish_switch_fiber(nullptr, &run.outer_lowest, &run.outer_size);
#endif
    try {
        run.function(run.argument);
    } catch (...) {
        run.failure = std::current_exception();
    }
    leave_stack(run);
}

bool run_on_stack(size_t size, void (*function)(void* argument), void* argument)
{
    const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    const size_t usable = (size + page - 1) / page * page;
    void* region = mmap(nullptr, usable + page, PROT_READ | PROT_WRITE,
                        MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE | MAP_STACK, -1, 0);
    if (region == MAP_FAILED)
        return false;
    mprotect(region, page, PROT_NONE);

    Run run;
    run.function = function;
    run.argument = argument;
    run.bounds.lowest = static_cast<char*>(region) + page;
    run.bounds.top = static_cast<char*>(run.bounds.lowest) + usable;
    run.previous = current_run;
    getcontext(&run.inside);
    run.inside.uc_stack.ss_sp = run.bounds.lowest;
    run.inside.uc_stack.ss_size = usable;
    run.inside.uc_link = nullptr;
    makecontext(&run.inside, run_body, 0);

    current_run = &run;
#ifdef KALVEX_ASAN
    void* fake_stack = nullptr;
    __sanitizer_start_switch_fiber(&fake_stack, run.bounds.lowest, usable);
#endif
    swapcontext(&run.outside, &run.inside);
#ifdef KALVEX_ASAN
    __sanitizer_finish_switch_fiber(fake_stack, nullptr, nullptr);
#endif
    current_run = run.previous;
    munmap(region, usable + page);
    if (run.failure)
        std::rethrow_exception(run.failure);
    return true;
}

StackBounds current_stack_bounds()
{
    return current_run ? current_run->bounds : StackBounds{};
}
