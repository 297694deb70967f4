// The one place that knows all modules and their order: a module may rely on the symbols of those
// before it, and on nothing else.
#include "app/boot.h"

#include <algorithm>
#include <cstdio>

#include "app/describe.h"
#include "app/image_boot.h"
#include "app/terminal.h"
#include "kernel/call_trace.h"
#include "kernel/collector.h"
#include "kernel/definitions.h"
#include "kernel/errors.h"
#include "kernel/evaluator.h"
#include "kernel/frames.h"
#include "kernel/hooks.h"
#include "kernel/memory_primitives.h"
#include "kernel/primitive.h"
#include "kernel/printer.h"
#include "kernel/reader.h"
#include "kernel/symbols.h"
#include "kernel/types.h"
#include "library/library.h"
#include "logic/logic.h"
#include "objects/objects.h"
#include "platform/machine_stack.h"
#include "platform/zone.h"
#include "services/processes.h"
#include "storage/handles.h"
#include "storage/resource_file.h"
#include "storage/storage_errors.h"
#include "storage/storage_primitives.h"

// Addresses are twice as wide as the preferences count on, and frames hold more of them.
static constexpr size_t kStackFactor = 4;
// Kept below the limit for primitives, error handling and unwinding. The sanitizer makes frames
// larger and gives up on stacks above 64 MB.
#if defined(__SANITIZE_ADDRESS__)
static constexpr size_t kStackReserve = 2 << 20;
static constexpr size_t kLeastStack = 60 << 20;
static constexpr size_t kMostStack = 60 << 20;
#else
static constexpr size_t kStackReserve = 256 << 10;
static constexpr size_t kLeastStack = 8 << 20;
static constexpr size_t kMostStack = size_t{ 4 } << 30;
#endif

namespace {

struct Module {
    const char* name;
    void (*init)();
    size_t first_row; // of its primitives
};

} // namespace

static Module modules[] = {
    { "Arrays", init_arrays, 0 },
    { "Comparison of texts", init_compare_buffers, 0 },
    { "Definitions", init_definitions, 0 },
    { "Streams", init_streams, 0 },
    { "Errors", init_errors, 0 },
    { "Evaluation", init_evaluator, 0 },
    { "Formatted output", init_format, 0 },
    { "Hash tables", init_hash_tables, 0 },
    { "Lists", init_lists, 0 },
    { "Equality", init_equality, 0 },
    { "Memory", init_memory, 0 },
    { "Numbers", init_numbers, 0 },
    { "Objects", init_objects, 0 },
    { "Printer", init_printer, 0 },
    { "Processes", init_processes, 0 },
    { "Logic", init_logic, 0 },
    { "Reader", init_reader, 0 },
    { "Matching of text", init_text_matcher, 0 },
    { "Search", init_search, 0 },
    { "Position", init_position, 0 },
    { "Sets", init_sets, 0 },
    { "Character sets", init_character_sets, 0 },
    { "Strings", init_strings, 0 },
    { "Types", init_types, 0 },
    { "Vectors", init_vectors, 0 },
    { "Type names", init_type_names, 0 },
    { "Handles and pointers", init_handles, 0 },
    { "Resource files", init_resources, 0 },
    { "Boot, frame and end", init_boot, 0 },
    { "Pathnames", init_pathnames, 0 },
    { "Files", init_files, 0 },
    { "Times and attributes of files", init_file_info, 0 },
    { "Databases", init_databases, 0 },
    { "Other programs and file dialogs", init_applications, 0 },
    { "Date and time", init_date_time, 0 },
    { "Calls that are running", init_call_trace, 0 },
    { "Aids for programmers", init_describe, 0 },
    { "Standard input and output", init_terminal, 0 },
};

const char* primitive_module(size_t row)
{
    const char* name = "";
    for (const Module& module : modules) {
        if (module.first_row <= row)
            name = module.name;
    }
    return name;
}

static void storage_failed(int code, int32_t value)
{
    raise_error(code, value == kNoStorageValue ? nil : make_integer(value));
}

static void (*outer_storage_error)(int, int32_t);
static bool running;

static void set_constants()
{
    set_global_value(intern("Machine"), intern("ibm"));
    set_global_value(intern("Development-Stage"), intern("release"));
    set_global_value(intern("Environment"), intern("standalone"));
    intern("select");
    set_global_value(intern("Load-File"), nil);
    set_global_value(intern("KALVEX"), root_class);
    set_global_value(intern("Compare-Vector"), nil);
    intern("auto-initialize?", nil);
    intern("init-kalvex");
    intern("init-user");
}

ArenaResult start_modules(const SpaceSizes& sizes, uint32_t free_memory, uint32_t* shortage_kb)
{
    const ArenaResult result = open_arena(sizes, free_memory, shortage_kb);
    if (result != ArenaResult::ready)
        return result;
    top_frame.locals = lisp_sp;
    reset_primitives();
    init_collector();
    init_symbols();
    empty_string = make_string("");
    for (Module& module : modules) {
        module.first_row = primitive_count();
        module.init();
    }
    set_constants();
    outer_storage_error = raise_storage_error;
    raise_storage_error = storage_failed;
    running = true;
    start_collector_stress();
    return result;
}

void stop_modules()
{
    if (!running)
        return;
    running = false;
    close_processes();
    close_storage();
    release_native_objects();
    raise_storage_error = outer_storage_error;
    close_arena();
    forget_symbols();
    reset_hooks();
    DisposeAllHandles();
}

SpaceSizes console_sizes()
{
    SpaceSizes sizes;
    sizes.symbols = 16384;
    sizes.lisp_stack = 4 << 20;
    sizes.prolog_stack = 4 << 20;
    sizes.nodes = 1000000;
    sizes.heap = 64 << 20;
    sizes.reserve = 0;
    sizes.machine_stack = 16 << 20;
    return sizes;
}

// ---- The machine stack

namespace {

struct Program {
    int (*body)(void*);
    void* argument;
    int status;
};

} // namespace

// Whatever no handler took ends here; the frames on the way have restored their state.
static void run_guarded(Program& program)
{
    const StackBounds bounds = current_stack_bounds();
    set_stack_top(bounds.top);
    init_frames(reinterpret_cast<uintptr_t>(bounds.lowest) + kStackReserve,
                reinterpret_cast<uintptr_t>(bounds.top));
    try {
        program.status = program.body(program.argument);
    } catch (const ProgramExit& exit) {
        program.status = exit.status;
    } catch (const NonLocalExit&) {
        program.status = 1;
    }
}

int run_program(uint32_t promised, int (*body)(void* argument), void* argument)
{
    Program program = { body, argument, 1 };
    const size_t size = std::clamp(promised * kStackFactor, kLeastStack, kMostStack);
    if (!run_on_stack(size + kStackReserve, [&] { run_guarded(program); }))
        fprintf(stderr, "kalvex: no memory for a machine stack of %zu bytes\n", size);
    return program.status;
}

int run_interpreter(const SpaceSizes& sizes, int (*body)(void* argument), void* argument)
{
    zone_open();
    note_boot_start();
    return run_program(sizes.machine_stack, [&] {
        uint32_t shortage_kb = 0;
        if (start_modules(sizes, UINT32_MAX, &shortage_kb) != ArenaResult::ready) {
            fprintf(stderr, "kalvex: the memory lacks %u K\n", shortage_kb);
            return 1;
        }
        struct Stop {
            ~Stop() { stop_modules(); }
        } stop;
        return body(argument);
    });
}
