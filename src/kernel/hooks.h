// What the kernel must ask of the modules above it. Each is filled at boot by the module that does
// it; until then it does nothing or answers the default.
#pragma once

#include "kernel/value.h"

struct LambdaFrame;

struct Hooks {
    void (*poll_events)();              // pumps the event queue once
    void (*end_drawing)();              // gives the drawing context of a drawing in progress back
    void (*reset_windows)();            // mouse capture, drags: ready for a fresh start
    void (*show_watch)();               // cursor while collecting
    void (*show_arrow)();
    void (*error_reported)();           // before the error object or the user is told
    void (*flush_output)();             // hands what the edit stream holds to its owner
    void (*quit)(int status);           // ends the program; does not return
    // Shows an alert dialog (the id includes the language) with the parameters ^0 to ^3, and answers
    // the button: 1 for the first.
    int (*alert)(int id, const char* p0, const char* p1, const char* p2, const char* p3);
    // Size in pixels of the window that shows the memory gauge, false when it has none; and the columns
    // [left, right) of the gauge in a pattern, or as a separating line when that is nil.
    bool (*gauge_size)(Value window, int* width, int* height);
    void (*draw_gauge)(Value window, int left, int right, Value pattern);
    // resolve_link finds the object that a linked slot refers to; raw is the stored value.
    Value (*resolve_link)(Value raw, Value name);
    // resolve_term copies a logic term out of its frames; prove runs a query form, whose head's value
    // is the predicate, among the locals of frame.
    Value (*resolve_term)(Value cell);
    Value (*prove)(Value form, Value predicate, LambdaFrame* frame);
    Value (*apply_predicate)(Value predicate, const Value* args, Value name);
    // What `define` in a class does, and the name made known there first.
    void (*prepare_definition)(Value symbol, bool method);
    void (*define_member)(Value symbol, Value v);
    void (*define_slot)(Value options);
    void (*class_defined)(Value symbol, Value cls);
    // Sets a slot's value for the class itself, making the record the class's own first.
    void (*write_class_value)(Value cls, Value descriptor, Value v);
    // Disposes what a memory pointer or handle names and makes the pointer null.
    void (*dispose_pointer)(Value pointer);
};

extern Hooks hooks;

// Language of the dialogs: 0 English, 1 French, 2 Spanish, added to each dialog's base id.
extern int dialog_language;

// Called at each collection to mark what a module holds outside the arena, through mark_value().
using RootMarker = void (*)();
void add_root_marker(RootMarker marker);
void call_root_markers();

// Every hook its default, no markers: before a boot and after a run.
void reset_hooks();
