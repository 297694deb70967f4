// The list of processes, ordered by the tick of their next run, and the primitives on it.
#include "services/processes.h"

#include <unordered_set>

#include "kernel/collector.h"
#include "kernel/evaluator.h"
#include "kernel/hooks.h"
#include "kernel/primitive.h"
#include "kernel/printer.h"
#include "kernel/symbols.h"
#include "library/list_walk.h"
#include "platform/clock.h"

struct ProcessList {
    Process* head = nullptr;
    bool busy = false;  // a step is under way: a nested one does nothing
};

static ProcessList process_list;
static std::unordered_set<Process*> all_processes;  // with those that are not in the list

// The millisecond clock wraps after 49 days; the ticks made here go on counting and wrap at 32
// bits.
static uint32_t now_ticks()
{
    static uint32_t last_ms;
    static uint64_t wraps;
    const uint32_t ms = tick_count_ms();
    if (ms < last_ms && last_ms - ms > UINT32_MAX / 2)
        wraps += uint64_t{ 1 } << 32;
    last_ms = ms;
    return static_cast<uint32_t>((wraps + ms) * 3 / 50);
}

// How far off a tick is; negative when it has passed. Right across the wrap of the ticks.
static int32_t ticks_until(uint32_t tick, uint32_t now)
{
    return static_cast<int32_t>(tick - now);
}

// ---- Processes

void* Process::operator new(size_t size) noexcept
{
    const ZoneAddress block = zone_allocate(static_cast<uint32_t>(size));
    return block ? zone_pointer(block) : nullptr;
}

void Process::operator delete(void* block)
{
    zone_free(zone_address(block));
}

void Process::mark()
{
    mark_value(name);
    mark_value(function);
    mark_value(context);
    mark_value(self_value);
}

void ClockProcess::mark()
{
    Process::mark();
    mark_value(start_function);
    mark_value(end_function);
}

Value Process::call(Value f, Value argument) const
{
    const Value run[] = { argument, end_of_args };
    return context == nil ? call_args(f, run) : call_with_object_run(context, f, run);
}

// Clears the mark that the process is running, by whatever way its function is left.
struct RunningFrame : Frame {
    explicit RunningFrame(Process* process_) : process(process_) { process->running = 1; }
    ~RunningFrame() { process->running = 0; }
    Process* const process;
};

void Process::run(uint32_t now)
{
    const RunningFrame frame(this);
    wake_up = now + static_cast<uint32_t>(quantum);
    call(function);
    if (once)
        dead = 1;
}

void Process::schedule()
{
    wake_up = now_ticks() + (delayed ? static_cast<uint32_t>(quantum) : 0);
}

void ClockProcess::run(uint32_t now)
{
    const RunningFrame frame(this);
    const uint32_t elapsed = now - start_tick;
    if (state == not_started) {
        if (start_function != nil)
            call(start_function);
        state = started;
    }
    if (!once && static_cast<int32_t>(elapsed) < duration) {
        call(function, make_unsigned(elapsed));
        last_elapsed = elapsed;
        wake_up = now + static_cast<uint32_t>(quantum);
    } else {
        if (end_function != nil)
            call(end_function);
        state = ended;
        dead = 1;
    }
}

void ClockProcess::schedule()
{
    start_tick = now_ticks();
    wake_up = start_tick + static_cast<uint32_t>(initial_delay);
}

// ---- The list

static bool is_listed(const Process* process)
{
    return process->previous || process_list.head == process;
}

static void unlink(Process* process)
{
    if (!is_listed(process))
        return;
    (process->previous ? process->previous->next : process_list.head) = process->next;
    if (process->next)
        process->next->previous = process->previous;
    process->next = process->previous = nullptr;
}

// Before the first one with a later tick.
static void insert(Process* process)
{
    const uint32_t now = now_ticks();
    Process* before = nullptr;
    Process* after = process_list.head;
    while (after && ticks_until(after->wake_up, now) <= ticks_until(process->wake_up, now)) {
        before = after;
        after = after->next;
    }
    process->previous = before;
    process->next = after;
    (before ? before->next : process_list.head) = process;
    if (after)
        after->previous = process;
}

static void move_to_place(Process* process)
{
    if (!is_listed(process))
        return;
    unlink(process);
    insert(process);
}

static void delete_process(Process* process)
{
    unlink(process);
    all_processes.erase(process);
    set_pointer(process->self_value, 0);
    delete process;
}

// One that is running goes when its run is over.
static void delete_dead()
{
    Process* next;
    for (Process* process = process_list.head; process; process = next) {
        next = process->next;
        if (process->dead && !process->running)
            delete_process(process);
    }
}

struct BusyFrame : Frame {
    BusyFrame() { process_list.busy = true; }
    ~BusyFrame() { process_list.busy = false; }
};

void give_time()
{
    if (process_list.busy)
        return;
    const BusyFrame frame;
    while (process_list.head && process_list.head->dead)
        delete_process(process_list.head);
    Process* const process = process_list.head;
    const uint32_t now = now_ticks();
    if (!process || process->running || process->suspended ||
        ticks_until(process->wake_up, now) > 0)
        return;
    process->run(now);
    if (process->dead)
        delete_process(process);
    else if (process->next &&
             ticks_until(process->wake_up, now) >= ticks_until(process->next->wake_up, now))
        move_to_place(process);
}

void close_processes()
{
    while (!all_processes.empty()) {
        Process* const process = *all_processes.begin();
        all_processes.erase(process);
        delete process;
    }
    process_list = {};
}

static void mark_processes()
{
    for (Process* const process : all_processes)
        process->mark();
}

// ---- Arguments

static Process* find_by_name(Value name)
{
    Process* process = process_list.head;
    while (process && !(process->name == name))
        process = process->next;
    return process;
}

// Null for a process that is gone, and for a symbol that names none.
static Process* process_argument(Value v)
{
    if (is_symbol(v))
        return find_by_name(v);
    const uint32_t word = pointer_of(v);
    if (pointer_kind(v) != kPointerProcess)
        raise_error(kErrorType, v);
    Process* const process = reinterpret_cast<Process*>(zone_pointer(word));
    return word && all_processes.contains(process) ? process : nullptr;
}

template <class Change> static Value change_process(Value v, Change change)
{
    if (Process* const process = process_argument(v))
        change(process);
    return no_value;
}

// Its Value, once it has a pointer; no_value for the null object.
static Value make_known(Process* process)
{
    if (!process)
        return no_value;
    all_processes.insert(process);
    if (process->name == nil && is_symbol(process->function))
        process->name = process->function;
    process->self_value = make_pointer(kPointerProcess, zone_address(process));
    return process->self_value;
}

// ---- Primitives

static Value new_process(Value function, Value name, Value quantum, Value delayed, Value once,
                         Value context)
{
    Process* const process = new Process(function, name, integer_value(quantum), context);
    if (process) {
        process->delayed = is_true_flag(delayed);
        process->once = is_true_flag(once);
    }
    return make_known(process);
}

static Value new_clock_process(Value start, Value function, Value end, Value name, Value delay,
                               Value duration, Value quantum, Value context)
{
    const int32_t initial_delay = integer_value(delay);
    const int32_t lasts = duration == nil ? -1 : integer_value(duration);
    ClockProcess* const process = new ClockProcess(function, name, integer_value(quantum), context);
    if (process) {
        process->start_function = start;
        process->end_function = end;
        process->initial_delay = initial_delay;
        process->duration = lasts;
    }
    return make_known(process);
}

static Value run_process(Value v)
{
    Process* const process = process_argument(v);
    if (!process)
        return no_value;
    unlink(process);
    process->schedule();
    insert(process);
    return process->self_value;
}

static Value kill_process(Value v)
{
    return change_process(v, [](Process* process) {
        if (process->running)
            process->dead = 1;
        else
            delete_process(process);
    });
}

static Value get_processes()
{
    delete_dead();
    ListBuilder list;
    for (const Process* process = process_list.head; process; process = process->next)
        list.add(process->self_value);
    return list.list();
}

static Value cleanup_processes()
{
    delete_dead();
    return no_value;
}

static Value find_process(Value name)
{
    const Process* const process = find_by_name(name);
    return process ? process->self_value : nil;
}

static Value reset_process(Value v)
{
    return change_process(v, [](Process* process) {
        process->wake_up = now_ticks() + static_cast<uint32_t>(process->quantum);
    });
}

static Value wake_up_process(Value v)
{
    return change_process(v, [](Process* process) {
        process->wake_up = now_ticks();
        move_to_place(process);
    });
}

static Value suspend_process(Value v)
{
    return change_process(v, [](Process* process) { process->suspended = 1; });
}

static Value resume_process(Value v)
{
    return change_process(v, [](Process* process) { process->suspended = 0; });
}

static Value set_process_quantum(Value v, Value quantum)
{
    const int32_t ticks = integer_value(quantum);
    return change_process(v, [ticks](Process* process) {
        process->wake_up += static_cast<uint32_t>(ticks) - static_cast<uint32_t>(process->quantum);
        process->quantum = ticks;
        move_to_place(process);
    });
}

static Value process_suspended_p(Value v)
{
    const Process* const process = process_argument(v);
    return process ? boolean(process->suspended) : no_value;
}

static Value get_process_running_p(Value v)
{
    const Process* const process = process_argument(v);
    return process ? boolean(process->running) : no_value;
}

static Value get_process_name(Value v)
{
    const Process* const process = process_argument(v);
    return process ? process->name : no_value;
}

static Value get_process_function(Value v)
{
    const Process* const process = process_argument(v);
    return process ? process->function : no_value;
}

static Value get_process_context(Value v)
{
    const Process* const process = process_argument(v);
    return process ? process->context : no_value;
}

static Value get_process_quantum(Value v)
{
    const Process* const process = process_argument(v);
    return process ? make_integer(process->quantum) : no_value;
}

static Value get_process_wake_up(Value v)
{
    const Process* const process = process_argument(v);
    return process ? make_unsigned(process->wake_up) : no_value;
}

static Value give_time_primitive()
{
    give_time();
    return no_value;
}

static void print_process(Value pointer)
{
    const Process* const process = process_argument(pointer);
    if (!process) {
        print_disposed(pointer);
        return;
    }
    const Value name = process->name;
    print_format("<%s ", pointer_kind_name(pointer));
    if (!is_nil(name)) {
        print_princ(name);
        print_char(' ');
    }
    print_format("%x>", pointer_of(pointer));
}

static const Primitive process_primitives[] = {
    { "new-process", new_process,
      "(new-process function name quantum delayed? once? context): a process that calls function, "
      "with context current unless nil, every quantum ticks of 1/60 s; not scheduled yet. The name "
      "nil takes a function that is a symbol. With delayed? it runs first after a quantum, with "
      "once? only one time" },
    { "new-clock-process", new_clock_process,
      "(new-clock-process start function end name delay duration quantum context): a process that "
      "calls start after delay ticks, function with the ticks since run-process until duration is "
      "over, then end; nil for duration ends it at its first run" },
    { "run-process", run_process,
      "(run-process process): schedules the process, itself given or by name; its value" },
    { "kill-process", kill_process,
      "(kill-process process): deletes it, after its run when it is running" },
    { "get-processes", get_processes, "(get-processes): the scheduled processes, soonest first" },
    { "cleanup-processes", cleanup_processes,
      "(cleanup-processes): deletes those that have ended" },
    { "find-process", find_process,
      "(find-process name): the first scheduled one so named, or nil" },
    { "reset-process", reset_process,
      "(reset-process process): its next run is a quantum from now; its place in the list stays" },
    { "wake-up-process", wake_up_process, "(wake-up-process process): its next run is now" },
    { "suspend-process", suspend_process,
      "(suspend-process process): it does not run, and at the head of the list holds the others" },
    { "resume-process", resume_process, "(resume-process process): ends suspend-process" },
    { "process-suspended?", process_suspended_p,
      "(process-suspended? process): whether suspended" },
    { "get-process-suspended?", process_suspended_p,
      "(get-process-suspended? process): whether suspended" },
    { "get-process-running?", get_process_running_p,
      "(get-process-running? process): whether its function is being called" },
    { "get-process-name", get_process_name, "(get-process-name process): its name" },
    { "get-process-function", get_process_function,
      "(get-process-function process): its function" },
    { "get-process-context", get_process_context,
      "(get-process-context process): the object current while it runs, or nil" },
    { "get-process-quantum", get_process_quantum,
      "(get-process-quantum process): its ticks between runs" },
    { "get-process-wake-up", get_process_wake_up,
      "(get-process-wake-up process): tick of its next run" },
    { "set-process-quantum", set_process_quantum,
      "(set-process-quantum process quantum): the next run moves by the difference" },
    { "give-time", give_time_primitive,
      "(give-time): runs the first process if its time has come" },
};

void init_processes()
{
    close_processes();
    add_root_marker(mark_processes);
    define_pointer_printer(kPointerProcess, print_process);
    define_primitives(process_primitives);
}
