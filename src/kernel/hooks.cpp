// The defaults of the hooks, and the list of root markers.
#include "kernel/hooks.h"

#include <cstdio>
#include <cstdlib>

#include "kernel/collector.h"
#include "kernel/errors.h"

static void nothing() {}

static void exit_program(int status) { throw ProgramExit{ status }; }

static int alert_on_stderr(int, const char* p0, const char*, const char*, const char*)
{
    fprintf(stderr, "%s\n", p0);
    return 1;
}

[[noreturn]] static void no_such_module(Value v) { raise_error(kErrorNotHere, v); }

static Value refuse_term(Value v) { no_such_module(v); }
static Value refuse_query(Value, Value predicate, LambdaFrame*) { no_such_module(predicate); }
static Value refuse_link(Value, Value name) { no_such_module(name); }
static Value refuse_predicate(Value, const Value*, Value name) { no_such_module(name); }
static void refuse_class_value(Value, Value, Value v) { no_such_module(v); }

static const Hooks default_hooks = {
    .poll_events = nothing,
    .end_drawing = nothing,
    .reset_windows = nothing,
    .show_watch = nothing,
    .show_arrow = nothing,
    .error_reported = nothing,
    .flush_output = nothing,
    .quit = exit_program,
    .alert = alert_on_stderr,
    .gauge_size = [](Value, int*, int*) { return false; },
    .draw_gauge = [](Value, int, int, Value) {},
    .resolve_link = refuse_link,
    .resolve_term = refuse_term,
    .prove = refuse_query,
    .apply_predicate = refuse_predicate,
    .prepare_definition = [](Value, bool) {},
    .define_member = [](Value symbol, Value) { no_such_module(symbol); },
    .define_slot = [](Value options) { no_such_module(options); },
    .class_defined = [](Value, Value) {},
    .write_class_value = refuse_class_value,
    .dispose_pointer = no_such_module,
};

Hooks hooks = default_hooks;

int dialog_language;

static constexpr int kMostMarkers = 64;
static RootMarker markers[kMostMarkers];
static int marker_count;

void add_root_marker(RootMarker marker)
{
    for (int i = 0; i < marker_count; ++i)
        if (markers[i] == marker)
            return;
    if (marker_count == kMostMarkers)
        abort();
    markers[marker_count++] = marker;
}

void call_root_markers()
{
    for (int i = 0; i < marker_count; ++i)
        markers[i]();
}

void reset_hooks()
{
    hooks = default_hooks;
    dialog_language = 0;
    marker_count = 0;
}
