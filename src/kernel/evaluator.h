// Evaluation and application. There is no bytecode: the list structure is walked as it stands, its
// local variables resolved in place when a lambda is first evaluated.
#pragma once

#include "kernel/frames.h"
#include "kernel/value.h"

// Evaluates in the innermost call of a Lisp function, or in a given one.
Value eval(Value form);
Value eval_in(Value form, LambdaFrame* frame);

// Evaluates a form that stands by itself (typed, loaded, made by `parse`): its local variables, if
// they have not been resolved yet, become those of a call of its own.
Value eval_toplevel(Value form);

// Forms in order; the value of the last, no_value for none.
Value eval_body(Value forms, LambdaFrame* frame);

// f may be a symbol, whose value is taken. args is a run closed by end_of_args, which must not lie in
// a heap block.
Value call_args(Value f, const Value* args);
Value apply_run(Value f, const Value* args, Value name);
Value apply_list(Value f, Value args, Value name);

template <class... Values> Value call_value(Value f, Values... arguments)
{
    const Value run[] = { arguments..., end_of_args };
    return call_args(f, run);
}

// Calls f, looked up with object current. A symbol for object is evaluated first. The guarded form
// keeps a throw from crossing the platform's frames: it is held and the call answers no_value.
Value call_with_object_run(Value object, Value f, const Value* args);
Value call_with_object_guarded_run(Value object, Value f, const Value* args);

template <class... Values> Value call_with_object(Value object, Value f, Values... arguments)
{
    const Value run[] = { arguments..., end_of_args };
    return call_with_object_run(object, f, run);
}
template <class... Values> Value call_with_object_guarded(Value object, Value f, Values... arguments)
{
    const Value run[] = { arguments..., end_of_args };
    return call_with_object_guarded_run(object, f, run);
}

// Whether apply knows what to do with f.
bool is_callable(Value f);

// ---- Function nodes: car the flags word, cdr ((head . params) . body)

constexpr uint32_t kFlagRest = 1 << 16;
constexpr uint32_t kFlagCaptures = 0x7f << 9;
constexpr uint32_t kFlagOuter = 1 << 17;  // refers to a variable of an outer function
inline uint32_t function_flags(Value f) { return node_of(f)->car & kPayloadMask; }
inline uint32_t flag_locals(uint32_t flags) { return flags & 0x1ff; }
inline uint32_t flag_captures(uint32_t flags) { return flags >> 9 & 0x7f; }
inline uint32_t flag_required(uint32_t flags) { return flags >> 18 & 0x3f; }
inline Value function_head(Value f) { return car_of(car_of(cdr_of(f))); }
inline Value function_body(Value f) { return cdr_of(cdr_of(f)); }

// ---- Variables

// A variable as the reader makes it: depth and index are not known yet.
constexpr uint32_t kUnresolved = 0x02ffffff;
Value make_variable(Value symbol, uint32_t car = kUnresolved);
inline Value variable_symbol(Value variable) { return cdr_of(variable); }

// The slot of a resolved variable, or null when it has none in this frame.
Value* variable_slot(Value variable, LambdaFrame* frame);
Value variable_value(Value variable, LambdaFrame* frame);
// Stores in a variable's slot or in a symbol; anything else is error 2.
void assign(Value place, Value v, LambdaFrame* frame);
inline LambdaFrame* current_lambda() { return current_frame->lambda_frame; }

// ---- The compiling walk

// The function node of a (head params body...) form, its variables resolved in place.
// arguments: (params . body). head: the symbol that names the kind.
Value compile_function(Value head, Value arguments);
// The same without the variables around it: for what `define` and its like make of a form.
Value compile_alone(Value head, Value arguments);
// The value of such a form where it stands: a function, or a closure for the gamma kinds.
Value evaluate_lambda(Tag keyword, Value arguments, LambdaFrame* frame);
// The clause of a (new-clause (pattern...) goal...) form: a function node whose car counts its
// variables and whose cdr is ((nil . patterns) . goals).
Value compile_clause(Value arguments);
// Marks all nodes of defined code permanent; a kind of node that code can't hold is a text error, and
// nothing is marked then.
void protect(Value v);

// The local variables of the form that stands by itself and runs innermost; null when frame is none.
struct Environment;
const Environment* toplevel_environment(const LambdaFrame* frame);

void init_special_forms();
void init_compiler();
void init_evaluator();
