#include "interpreter.h"

#include <cstdio>
#include <cstdlib>

#include "app/boot.h"
#include "kernel/collector.h"
#include "kernel/errors.h"
#include "kernel/frames.h"
#include "kernel/hooks.h"
#include "kernel/symbols.h"
#include "platform/machine_stack.h"
#include "platform/zone.h"

static bool running;
static unsigned runs;

static int press_ok(int, const char*, const char*, const char*, const char*)
{
    return 1;
}

static void start()
{
    zone_open();
    const StackBounds bounds = current_stack_bounds();
    set_stack_top(bounds.top);
    init_frames(reinterpret_cast<uintptr_t>(bounds.lowest) + (2 << 20), reinterpret_cast<uintptr_t>(bounds.top));
    SpaceSizes sizes = console_sizes();
    sizes.nodes = 100000;
    sizes.heap = 4 << 20;
    uint32_t shortage = 0;
    if (start_modules(sizes, UINT32_MAX, &shortage) != ArenaResult::ready)
        abort();
    hooks.alert = press_ok;
    running = true;
}

void run_in_interpreter(void (*body)(const uint8_t* data, size_t size), const uint8_t* data, size_t size)
{
    if (running && spaces.free_symbols < spaces.symbol_count / 4) {
        stop_modules();
        running = false;
    }
    if (!running)
        start();
    const SavedState state;
    try {
        const CatchFrame toplevel(intern("toplevel"));
        body(data, size);
    } catch (const thrower&) {
        state.restore();
    }
    if (++runs % 64 == 0)
        collect(true);
    const char* const fault = runs % 16 == 0 ? verify_heap() : nullptr;
    if (fault) {
        fprintf(stderr, "heap: %s\n", fault);
        abort();
    }
}
