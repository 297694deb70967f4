// What Lisp code may ask and do about the spaces, and the gauge that shows how full they are.
#include "kernel/memory_primitives.h"

#include <algorithm>
#include <array>

#include "kernel/collector.h"
#include "kernel/errors.h"
#include "kernel/frames.h"
#include "kernel/hooks.h"
#include "kernel/primitive.h"
#include "kernel/spaces.h"
#include "kernel/symbols.h"
#include "storage/handles.h"

// The spaces in the order of all lists here: symbols, Lisp stack, Prolog stack, nodes, heap,
// system, machine stack.
static constexpr int kSpaceCount = 7;
static constexpr int kOutside = 6; // what find-zone answers where no space but the last one lies

using SpaceFigures = std::array<uint32_t, kSpaceCount>;

static constexpr SpaceFigures kUnitBytes = { 16, 4, 4, 8, 1, 1, 1 };

static SpaceFigures space_sizes()
{
    return { spaces.symbol_count,
             spaces.lisp_stack_words,
             spaces.prolog_words,
             spaces.node_count,
             static_cast<uint32_t>(spaces.heap_end - spaces.heap_base),
             spaces.reserve,
             spaces.machine_stack };
}

static SpaceFigures free_sizes()
{
    const auto words_left = spaces.lisp_stack_limit - lisp_sp;
    return { spaces.free_symbols,
             words_left > 0 ? static_cast<uint32_t>(words_left) : 0,
             static_cast<uint32_t>(prolog_sp - spaces.prolog_base),
             free_node_count(),
             static_cast<uint32_t>(spaces.heap_end - spaces.heap_pointer),
             std::min(spaces.reserve, MemoryAvailable()),
             std::min(spaces.machine_stack, machine_stack_left()) };
}

static Value integer_list(const SpaceFigures& figures)
{
    Value list = nil;
    for (int i = kSpaceCount; i-- > 0;)
        list = cons(make_unsigned(figures[i]), list);
    return list;
}

// ---- Figures

static Value space_subr()
{
    return integer_list(space_sizes());
}
static Value free_space_subr()
{
    return integer_list(free_sizes());
}
static Value space_size_subr()
{
    return integer_list(kUnitBytes);
}

static Value zone_addresses()
{
    return integer_list({ zone_address(symbol_base), zone_address(spaces.lisp_stack_base),
                          zone_address(node_base), zone_address(spaces.heap_base),
                          zone_address(spaces.prolog_base), 0, 0 });
}

// ---- Collection, growth, moves

static Value recycle(Value)
{
    collect(true);
    return no_value;
}

static Value memory_growable_p()
{
    return boolean(spaces.growable);
}

static Value set_memory_growable_p(Value flag)
{
    spaces.growable = is_true_flag(flag);
    return no_value;
}

static Value grow_nodes_primitive(Value n)
{
    const uint32_t count = unsigned_value(n);
    collect(true);
    return boolean(grow_nodes(count));
}

static Value grow_heap(Value)
{
    return nil;
}

// Room for a move exists only when the space above has been moved up before.
static Value move_space(bool (*move)(uint32_t), Value bytes)
{
    if (!move(unsigned_value(bytes)))
        raise_error(kErrorType, bytes);
    return no_value;
}

static Value move_symbols_primitive(Value bytes)
{
    return move_space(move_symbols, bytes);
}
static Value move_nodes_primitive(Value bytes)
{
    return move_space(move_nodes, bytes);
}
static Value move_indirects(Value bytes)
{
    return move_space(move_heap, bytes);
}
static Value move_nothing(Value)
{
    return no_value;
}
static Value print_trace_string(Value)
{
    return no_value;
}

// ---- The gauge: one bar over the window's width, a zone a space, used part left, free part right,
// and one separating column at the end of each zone.

static struct Gauge {
    Value window;
    Value back;
    Value front;
    bool drawn;
    std::array<int, kSpaceCount> used_end; // as drawn
    std::array<int, kSpaceCount> right;
} gauge;

// First column behind each zone, and behind its used part.
static void gauge_ends(int width, std::array<int, kSpaceCount>* right,
                       std::array<int, kSpaceCount>* used_end)
{
    const SpaceFigures sizes = space_sizes();
    const SpaceFigures unused = free_sizes();
    uint64_t total = 0;
    for (int i = 0; i < kSpaceCount; ++i)
        total += uint64_t{ sizes[i] } * kUnitBytes[i];
    uint64_t before = 0;
    int left = 0;
    for (int i = 0; i < kSpaceCount; ++i) {
        before += uint64_t{ sizes[i] } * kUnitBytes[i];
        (*right)[i] = total ? static_cast<int>(before * width / total) : 0;
        const int inside = std::max(0, (*right)[i] - 1 - left);
        const uint64_t used = sizes[i] - std::min(sizes[i], unused[i]);
        (*used_end)[i] = left + (sizes[i] ? static_cast<int>(used * inside / sizes[i]) : 0);
        left = (*right)[i];
    }
}

static void draw_part(int left, int right, Value pattern)
{
    if (left < right)
        hooks.draw_gauge(gauge.window, left, right, pattern);
}

static void draw_gauge()
{
    int width, height;
    if (gauge.window == nil || !hooks.gauge_size(gauge.window, &width, &height))
        return;
    std::array<int, kSpaceCount> right, used_end;
    gauge_ends(width, &right, &used_end);
    const bool whole = !gauge.drawn || right != gauge.right;
    int left = 0;
    for (int i = 0; i < kSpaceCount; ++i) {
        if (whole) {
            draw_part(left, used_end[i], gauge.front);
            draw_part(used_end[i], right[i] - 1, gauge.back);
            draw_part(std::max(left, right[i] - 1), right[i], nil);
        } else {
            draw_part(gauge.used_end[i], used_end[i], gauge.front);
            draw_part(used_end[i], gauge.used_end[i], gauge.back);
        }
        left = right[i];
    }
    gauge.drawn = true;
    gauge.right = right;
    gauge.used_end = used_end;
}

static Value update_memory()
{
    draw_gauge();
    return no_value;
}

static Value paint_memory()
{
    gauge.drawn = false;
    draw_gauge();
    return no_value;
}

static Value setup_memory_window(Value window, Value back, Value front)
{
    if (window != nil && !is_object(window))
        raise_error(kErrorType, window);
    gauge.window = window;
    gauge.back = back;
    gauge.front = front;
    gauge.drawn = false;
    return no_value;
}

static Value find_zone(Value point)
{
    if (!is_pair(point))
        raise_error(kErrorType, point);
    const int32_t y = integer_value(car_of(point));
    const int32_t x = integer_value(cdr_of(point));
    int width, height;
    if (gauge.window == nil || !hooks.gauge_size(gauge.window, &width, &height) || x < 0 || y < 0 ||
        x >= width || y >= height)
        return make_fixnum(kOutside);
    std::array<int, kSpaceCount> right, used_end;
    gauge_ends(width, &right, &used_end);
    int zone = 0;
    while (zone < kOutside && x >= right[zone])
        ++zone;
    return make_fixnum(zone);
}

// ----

static const Primitive memory_primitives[] = {
    { "recycle", recycle, "(recycle flag): runs a collection now; the flag has no effect" },
    { "space-subr", space_subr,
      "(space-subr): sizes of the spaces as seven integers: symbol entries, Lisp stack words, "
      "Prolog "
      "stack words, nodes, heap bytes, system bytes, machine stack bytes" },
    { "free-space-subr", free_space_subr,
      "(free-space-subr): what is free of each space, in the order and units of space-subr" },
    { "space-size-subr", space_size_subr, "(space-size-subr): bytes per unit of each space" },
    { "zone-addresses", zone_addresses,
      "(zone-addresses): addresses of symbols, Lisp stack, nodes, heap, Prolog stack, then 0 and "
      "0" },
    { "memory-growable?", memory_growable_p,
      "(memory-growable?): t if nodes may be made out of free heap; nil at first" },
    { "set-memory-growable?", set_memory_growable_p,
      "(set-memory-growable? flag): lets nodes be made out of free heap, or not" },
    { "move-symbols", move_symbols_primitive,
      "(move-symbols bytes): moves the symbol table up; error 2 when there is no room above it" },
    { "move-lisp-stack", move_nothing, "(move-lisp-stack bytes): has no effect" },
    { "move-prolog-stack", move_nothing, "(move-prolog-stack bytes): has no effect" },
    { "move-nodes", move_nodes_primitive,
      "(move-nodes bytes): moves the nodes up, a multiple of 8; error 2 when there is no room "
      "above" },
    { "move-indirects", move_indirects,
      "(move-indirects bytes): moves the used heap up; error 2 when the free heap is smaller" },
    { "grow-nodes", grow_nodes_primitive,
      "(grow-nodes n): a collection, then n nodes (at least 5000) out of the free heap; t, or nil "
      "when "
      "growth is off or there is no room" },
    { "grow-heap", grow_heap, "(grow-heap bytes): nil, the heap does not grow" },
    { "update-memory", update_memory,
      "(update-memory): redraws what changed on the memory window's gauge" },
    { "paint-memory", paint_memory, "(paint-memory): redraws the whole gauge" },
    { "find-zone", find_zone,
      "(find-zone point): the space under a point (y . x) of the gauge, 0 to 5; 6 elsewhere" },
    { "setup-memory-window", setup_memory_window,
      "(setup-memory-window window back front): the window that shows the gauge, nil for none, and "
      "the "
      "patterns of what is free and what is used; error 2 when it is no object" },
    { "print-trace-string", print_trace_string, "(print-trace-string string): does nothing" },
};

static void mark_gauge()
{
    mark_value(gauge.window);
    mark_value(gauge.back);
    mark_value(gauge.front);
}

void init_memory()
{
    gauge = Gauge();
    define_primitives(memory_primitives);
    add_root_marker(mark_gauge);
}
