// The tree walker. eval_in is one switch on the tag of the head's value; forms in tail position loop
// inside it. What needs a destructor stands in a function of its own, called in return position, so
// that eval_in itself keeps a small machine frame.
#include "kernel/evaluator.h"

#include "kernel/equality.h"
#include "kernel/errors.h"
#include "kernel/hooks.h"
#include "kernel/lists.h"
#include "kernel/object_layout.h"
#include "kernel/primitive_table.h"
#include "kernel/symbols.h"

[[gnu::noinline]] static Value unbound(Value name)
{
    raise_error(kErrorUnbound, name);
}

// ---- Names

// A symbol without an index is in no member table and no object overrides it, so it means the same
// everywhere unless it holds one class's method.
static inline Value symbol_form_value(Value symbol)
{
    const SymbolEntry* const entry = symbol_of(symbol);
    if ((entry->slot_index < 0 || self_object == root_class) && entry->value != no_value.bits() &&
        entry->slot_class >> 24 != kTagClass) [[likely]]
        return Value::from_bits(entry->value);
    return bound_value(symbol);
}

Value* variable_slot(Value variable, LambdaFrame* frame)
{
    const uint32_t place = node_of(variable)->car & kPayloadMask;
    for (uint32_t depth = place >> 16; depth > 0 && frame; --depth)
        frame = frame->static_link;
    const uint32_t index = place & 0xffff;
    return frame && index < frame->local_count ? frame->locals + index : nullptr;
}

[[gnu::noinline]] Value variable_value(Value variable, LambdaFrame* frame)
{
    const Value* const slot = variable_slot(variable, frame);
    if (!slot)
        return unbound(variable);
    const Value v = slot->tag() == kTagReference ? hooks.resolve_term(*slot) : *slot;
    return v == no_value ? unbound(variable) : v;
}

static inline Value variable_form_value(Value variable, LambdaFrame* frame)
{
    // Depth above the index: one compare tests both.
    const uint32_t place = node_of(variable)->car & kPayloadMask;
    if (place < frame->local_count) [[likely]] {
        const Value v = frame->locals[place];
        if (v.tag() != kTagNoValue && v.tag() != kTagReference) [[likely]]
            return v;
    }
    return variable_value(variable, frame);
}

void assign(Value place, Value v, LambdaFrame* frame)
{
    if (place.tag() == kTagVariable) {
        Value* const slot = variable_slot(place, frame);
        if (!slot)
            raise_error(kErrorUnbound, place);
        *slot = v;
    } else if (is_symbol(place)) {
        set_symbol_value(place, v);
    } else {
        raise_error(kErrorType, place);
    }
}

// ---- Arguments

static Value eval_pair(Value form, LambdaFrame* frame);
static Value close_over(Value f, LambdaFrame* frame);

// What a form is worth, its common kinds first.
[[gnu::always_inline]] static inline Value eval_argument(Value form, LambdaFrame* frame)
{
    const Tag tag = form.tag();
    if (tag == kTagVariable)
        return variable_form_value(form, frame);
    if (is_pair(form))
        return eval_pair(form, frame);
    if (tag == kTagInteger)
        return form;
    if (tag == kTagSymbol)
        return symbol_form_value(form);
    if (tag == kTagFunction || tag == kTagGamma || tag == kTagSyntaxGamma)
        return close_over(form, frame);
    return form;
}

// The next argument's value, nil past the end; args steps.
[[gnu::always_inline]] static inline Value next_argument(Value& args, LambdaFrame* frame)
{
    if (!is_pair(args))
        return nil;
    const Value form = car_of(args);
    args = cdr_of(args);
    return eval_argument(form, frame);
}

// ---- Calling primitives

Value call_entry(const Primitive& row, uint32_t n, const Value* a)
{
    using V = Value;
    const auto entry = row.entry;
    switch (n) {
    case 0:
        return reinterpret_cast<V (*)()>(entry)();
    case 1:
        return reinterpret_cast<V (*)(V)>(entry)(a[0]);
    case 2:
        return reinterpret_cast<V (*)(V, V)>(entry)(a[0], a[1]);
    case 3:
        return reinterpret_cast<V (*)(V, V, V)>(entry)(a[0], a[1], a[2]);
    case 4:
        return reinterpret_cast<V (*)(V, V, V, V)>(entry)(a[0], a[1], a[2], a[3]);
    case 5:
        return reinterpret_cast<V (*)(V, V, V, V, V)>(entry)(a[0], a[1], a[2], a[3], a[4]);
    case 6:
        return reinterpret_cast<V (*)(V, V, V, V, V, V)>(entry)(a[0], a[1], a[2], a[3], a[4], a[5]);
    case 7:
        return reinterpret_cast<V (*)(V, V, V, V, V, V, V)>(entry)(a[0], a[1], a[2], a[3], a[4],
                                                                  a[5], a[6]);
    case 8:
        return reinterpret_cast<V (*)(V, V, V, V, V, V, V, V)>(entry)(a[0], a[1], a[2], a[3], a[4],
                                                                     a[5], a[6], a[7]);
    default:
        raise_error(kErrorType, make_integer(static_cast<int32_t>(n)));
    }
}

// With n fixed arguments and then the run.
static Value call_rest_entry(const Primitive& row, uint32_t n, const Value* a, const Value* run)
{
    const auto entry = row.entry;
    switch (n) {
    case 0:
        return reinterpret_cast<Value (*)(const Value*)>(entry)(run);
    case 1:
        return reinterpret_cast<Value (*)(Value, const Value*)>(entry)(a[0], run);
    case 2:
        return reinterpret_cast<Value (*)(Value, Value, const Value*)>(entry)(a[0], a[1], run);
    default:
        raise_error(kErrorType, make_integer(static_cast<int32_t>(n)));
    }
}

static void reverse_run(Value* first_, Value* last)
{
    while (first_ < --last) {
        const Value v = *first_;
        *first_++ = *last;
        *last = v;
    }
}

[[gnu::noinline]] static Value call_rest_forms(const Primitive& row, uint32_t spec, Value args,
                                               LambdaFrame* frame)
{
    const uint32_t n = spec & kSpecArity;
    Value fixed[8];
    for (uint32_t i = 0; i < n && i < 8; ++i)
        fixed[i] = next_argument(args, frame);
    Value* const run = lisp_sp;
    while (is_pair(args)) {
        const Value v = next_argument(args, frame);
        check_lisp_stack(2);
        push(v);
    }
    if (spec & kSpecReverse)
        reverse_run(run, lisp_sp);
    check_lisp_stack(2);
    push(end_of_args);
    const Value result = call_rest_entry(row, n, fixed, run);
    lisp_sp = run;
    return result;
}

[[gnu::noinline]] static Value call_many_forms(const Primitive& row, uint32_t n, Value args,
                                               LambdaFrame* frame)
{
    Value fixed[8];
    for (uint32_t i = 0; i < n && i < 8; ++i)
        fixed[i] = next_argument(args, frame);
    return call_entry(row, n, fixed);
}

// a, b and c are the caller's, declared where they outlive the call: see eval_pair.
static inline Value call_primitive_forms(Value f, Value& args, LambdaFrame* frame, Value& a, Value& b,
                                         Value& c)
{
    const Node* const node = node_of(f);
    const uint32_t spec = node->car & (kPayloadMask & ~kSpecOptional);
    const Primitive& row = primitive_rows[node->cdr];
    switch (spec) {
    case 0:
        return row.entry ? reinterpret_cast<Value (*)()>(row.entry)() : no_value;
    case 1:
        a = next_argument(args, frame);
        return reinterpret_cast<Value (*)(Value)>(row.entry)(a);
    case 2:
        a = next_argument(args, frame);
        b = next_argument(args, frame);
        return reinterpret_cast<Value (*)(Value, Value)>(row.entry)(a, b);
    case 3:
        a = next_argument(args, frame);
        b = next_argument(args, frame);
        c = next_argument(args, frame);
        return reinterpret_cast<Value (*)(Value, Value, Value)>(row.entry)(a, b, c);
    case kSpecRest:
        if (row.two_entry && is_pair(args)) {
            b = cdr_of(args);
            if (is_pair(b) && cdr_of(b) == nil) {
                a = eval_argument(car_of(args), frame);
                b = eval_argument(car_of(b), frame);
                return row.two_entry(a, b);
            }
        }
        return call_rest_forms(row, spec, args, frame);
    default:
        if (spec & kSpecRest)
            return call_rest_forms(row, spec, args, frame);
        return call_many_forms(row, spec & kSpecArity, args, frame);
    }
}

static Value run_to_list(const Value* run)
{
    Value list = nil;
    const Value* end = run;
    while (!is_end(*end))
        ++end;
    while (end > run)
        list = cons(*--end, list);
    return list;
}

[[gnu::noinline]] static Value call_primitive_run(Value f, const Value* run)
{
    const Node* const node = node_of(f);
    const uint32_t spec = node->car & kPayloadMask;
    const Primitive& row = primitive_rows[node->cdr];
    const uint32_t n = spec & kSpecArity;
    Value fixed[8];
    uint32_t given = 0;
    while (given < n && given < 8 && !is_end(*run))
        fixed[given++] = *run++;
    if (!(spec & kSpecRest))
        return call_entry(row, n, fixed);
    if (row.two_entry && n == 0 && !is_end(run[0]) && !is_end(run[1]) && is_end(run[2]))
        return row.two_entry(run[0], run[1]);
    const StackFrame frame;
    Value* const copy = lisp_sp;
    for (; !is_end(*run); ++run) {
        check_lisp_stack(2);
        push(*run);
    }
    if (spec & kSpecReverse)
        reverse_run(copy, lisp_sp);
    push(end_of_args);
    return call_rest_entry(row, n, fixed, copy);
}

// ---- Calling functions

Value eval_body(Value forms, LambdaFrame* frame)
{
    Value result = no_value;
    while (is_pair(forms)) {
        result = eval_argument(car_of(forms), frame);
        forms = cdr_of(forms);
    }
    return result;
}

// The body of a gamma stands behind its capture list.
static inline Value body_of(Value f)
{
    const Value body = function_body(f);
    return f.tag() == kTagGamma || f.tag() == kTagSyntaxGamma ? rest(body) : body;
}

struct CallShape {
    explicit CallShape(Value f) : flags(node_of(f)->car) {}

    uint32_t required() const { return flags >> 18 & 0x3f; }
    uint32_t takes_rest() const { return flags >> 16 & 1; }
    uint32_t captures() const { return flags >> 9 & 0x7f; }
    uint32_t total() const { return required() + takes_rest() + captures() + (flags & 0x1ff); }

    const uint32_t flags;
};

// Reserves the whole run, filled with no-value: missing arguments are settled, and the collector
// never meets a stale word.
static inline Value* reserve_run(uint32_t total)
{
    check_lisp_stack(total + 2);
    Value* const run = lisp_sp;
    Value* const end = run + total;
    for (Value* p = run; p < end; ++p)
        *p = no_value;
    lisp_sp = end;
    return run;
}

static void store_captures(Value* place, Value captured, uint32_t count)
{
    for (; count > 0 && is_pair(captured); --count, captured = cdr_of(captured))
        *place++ = car_of(captured);
}

static Value eval_list(Value args, LambdaFrame* frame)
{
    if (!is_pair(args))
        return nil;
    const Value list = cons(next_argument(args, frame), nil);
    Value last = list;
    while (is_pair(args)) {
        const Value v = next_argument(args, frame);
        const Value pair = cons(v, nil);
        set_cdr(last, pair);
        last = pair;
    }
    return list;
}

[[gnu::always_inline]] static inline Value run_body(Value f, LambdaFrame* static_link, Value* locals, uint32_t total)
{
    LambdaFrame frame(f, static_link, locals, total);
    Value body = body_of(f);
    if (!is_pair(body))
        return no_value;
    for (;;) {
        const Value form = car_of(body);
        body = cdr_of(body);
        const Value v = eval_argument(form, &frame);
        if (!is_pair(body))
            return v;
    }
}

[[gnu::noinline]] static Value call_function_forms(Value f, Value args, LambdaFrame* frame,
                                                   LambdaFrame* static_link, Value captured)
{
    const CallShape shape(f);
    const uint32_t total = shape.total();
    Value* const locals = reserve_run(total);
    const uint32_t required = shape.required();
    for (uint32_t i = 0; i < required && is_pair(args); ++i)
        locals[i] = next_argument(args, frame);
    if (shape.takes_rest()) [[unlikely]]
        locals[required] = eval_list(args, frame);
    if (shape.captures()) [[unlikely]]
        store_captures(locals + required + shape.takes_rest(), captured, shape.captures());
    return run_body(f, static_link, locals, total);
}

// A function with neither rest list nor captures: few values live across the arguments, so the
// machine frame of a Lisp level stays small.
[[gnu::noinline]] static Value call_plain_forms(Value f, Value args, LambdaFrame* frame)
{
    const uint32_t flags = node_of(f)->car;
    if (flags & (kFlagRest | kFlagCaptures)) [[unlikely]]
        return call_function_forms(f, args, frame, nullptr, nil);
    const uint32_t required = flags >> 18 & 0x3f;
    const uint32_t total = required + (flags & 0x1ff);
    Value* const locals = reserve_run(total);
    Value* const end = locals + required;
    for (Value* p = locals; p < end && is_pair(args); ++p)
        *p = next_argument(args, frame);
    LambdaFrame callee(f, nullptr, locals, total);
    Value body = cdr_of(cdr_of(f));
    Value v = no_value;
    while (is_pair(body)) {
        const Value form = car_of(body);
        body = cdr_of(body);
        v = eval_argument(form, &callee);
    }
    return v;
}

[[gnu::noinline]] static Value call_function_run(Value f, const Value* run, LambdaFrame* static_link,
                                                 Value captured)
{
    const CallShape shape(f);
    const uint32_t total = shape.total();
    Value* const locals = reserve_run(total);
    const uint32_t required = shape.required();
    for (uint32_t i = 0; i < required && !is_end(*run); ++i)
        locals[i] = *run++;
    if (shape.takes_rest()) [[unlikely]]
        locals[required] = run_to_list(run);
    if (shape.captures()) [[unlikely]]
        store_captures(locals + required + shape.takes_rest(), captured, shape.captures());
    return run_body(f, static_link, locals, total);
}

// A macro gets its operands as one list, and on request the caller's frame.
[[gnu::noinline]] static Value call_syntax(Value f, Value args, Value captured)
{
    const CallShape shape(f);
    const uint32_t total = shape.total();
    Value* const locals = reserve_run(total);
    if (total > 0)
        locals[0] = args;
    if (shape.required() > 1) {
        const uintptr_t caller = reinterpret_cast<uintptr_t>(current_lambda());
        locals[1] = make_pointer(kPointerPlain, static_cast<uint32_t>(caller));
    }
    store_captures(locals + shape.required() + shape.takes_rest(), captured, shape.captures());
    push(end_of_args);
    return run_body(f, nullptr, locals, total);
}

// ---- Objects

// Forms evaluated with another object current.
[[gnu::noinline]] static Value eval_with_object(Value object, Value forms)
{
    const ObjectFrame frame(object);
    return eval_body(forms, current_lambda());
}

[[gnu::noinline]] static Value eval_send(Value args, LambdaFrame* frame)
{
    const Value object = next_argument(args, frame);
    if (!is_object(object))
        raise_error(kErrorType, object);
    const Value selector = first(args);
    args = rest(args);
    Value* const run = lisp_sp;
    while (is_pair(args)) {
        const Value v = next_argument(args, frame);
        check_lisp_stack(2);
        push(v);
    }
    check_lisp_stack(2);
    push(end_of_args);
    Value result;
    {
        const ObjectFrame receiver(object);
        const Value method = is_symbol(selector) ? symbol_form_value(selector) : eval_in(selector, frame);
        if (method.tag() == kTagFunction)
            result = call_function_run(method, run, nullptr, nil);
        else
            result = is_symbol(method) ? call_args(method, run) : apply_run(method, run, selector);
    }
    lisp_sp = run;
    return result;
}

static Value send_run(const Value* run, Value name)
{
    if (is_end(run[0]) || is_end(run[1]))
        raise_error(kErrorType, name);
    if (!is_object(run[0]))
        raise_error(kErrorType, run[0]);
    const ObjectFrame receiver(run[0]);
    const Value method = is_symbol(run[1]) ? symbol_form_value(run[1]) : run[1];
    return apply_run(method, run + 2, run[1]);
}

// ---- Loops

[[gnu::noinline]] static Value eval_while(Value args, LambdaFrame* frame)
{
    const Value test = first(args);
    const Value body = rest(args);
    while (eval_argument(test, frame) != nil) {
        check_stack();
        for (Value forms = body; is_pair(forms); forms = cdr_of(forms))
            eval_argument(car_of(forms), frame);
    }
    return no_value;
}

[[gnu::noinline]] static Value eval_until(Value args, LambdaFrame* frame)
{
    const Value test = first(args);
    const Value body = rest(args);
    do {
        check_stack();
        for (Value forms = body; is_pair(forms); forms = cdr_of(forms))
            eval_argument(car_of(forms), frame);
    } while (eval_argument(test, frame) == nil);
    return no_value;
}

[[gnu::noinline]] static Value eval_repeat(Value args, LambdaFrame* frame)
{
    const Value body = rest(args);
    for (uint32_t count = unsigned_value(eval_in(first(args), frame)); count > 0; --count) {
        check_stack();
        for (Value forms = body; is_pair(forms); forms = cdr_of(forms))
            eval_argument(car_of(forms), frame);
    }
    return no_value;
}

// ---- Choices

static Value symbol_else, symbol_arrow, symbol_lambda, symbol_gamma, symbol_syntax,
    symbol_syntax_gamma;

// What stands behind "=>" in a clause: a name or callable as it is, a function form by its value.
static Value clause_function(Value form, LambdaFrame* frame)
{
    if (form.tag() == kTagFunction || form.tag() == kTagGamma)
        return eval_in(form, frame);
    if (is_pair(form)) {
        const Value head = car_of(form);
        if (head == symbol_lambda || head == symbol_gamma)
            return eval_in(form, frame);
    }
    return form.tag() == kTagVariable ? eval_in(form, frame) : form;
}

// What a cond comes to: forms still to run, or with end_of_args for forms a value. It is returned in
// a register: a local of eval_pair whose address is taken would cost it its tail calls.
struct Choice {
    Value forms;
    Value value;
};

[[gnu::noinline]] static Choice choose_clause(Value clauses, LambdaFrame* frame)
{
    for (; is_pair(clauses); clauses = cdr_of(clauses)) {
        const Value clause = car_of(clauses);
        if (!is_pair(clause))
            raise_error(kErrorType, clause);
        const Value head = car_of(clause);
        const Value body = cdr_of(clause);
        const bool otherwise = head == symbol_else;
        const Value test = otherwise ? symbol_t : eval_argument(head, frame);
        if (test == nil)
            continue;
        if (is_pair(body) && car_of(body) == symbol_arrow) {
            const Value f = clause_function(first(cdr_of(body)), frame);
            return { end_of_args, call_value(f, test) };
        }
        if (is_pair(body))
            return { body, nil };
        return { end_of_args, test };
    }
    return { end_of_args, no_value };
}

static bool case_matches(Value head, Value key)
{
    if (head == symbol_t || head == symbol_else)
        return true;
    if (head.tag() != kTagList)
        return eqv(head, key);
    for (; is_pair(head); head = cdr_of(head))
        if (eqv(car_of(head), key))
            return true;
    return false;
}

[[gnu::noinline]] static Value choose_case(Value args, LambdaFrame* frame)
{
    const Value key = next_argument(args, frame);
    for (; is_pair(args); args = cdr_of(args)) {
        const Value clause = car_of(args);
        if (!is_pair(clause))
            raise_error(kErrorType, clause);
        if (case_matches(car_of(clause), key))
            return cdr_of(clause);
    }
    return nil;
}

// ---- Binding

static inline void store(Value place, Value v, LambdaFrame* frame)
{
    if (place.tag() == kTagVariable) {
        const uint32_t index = node_of(place)->car & kPayloadMask;
        if (index < frame->local_count) [[likely]] {
            frame->locals[index] = v;
            return;
        }
    } else if (is_symbol(place)) {
        set_symbol_value(place, v);
        return;
    }
    assign(place, v, frame);
}

// (_v init), or a bare _v.
static void bind_local(Value binding, LambdaFrame* frame)
{
    const Value variable = is_pair(binding) ? car_of(binding) : binding;
    if (variable.tag() != kTagVariable)
        raise_error(kErrorType, variable);
    const Value init = is_pair(binding) ? cdr_of(binding) : nil;
    const Value v = is_pair(init) ? eval_argument(car_of(init), frame) : no_value;
    store(variable, v, frame);
}

static void restore_places(Value undo, LambdaFrame* frame)
{
    for (; is_pair(undo); undo = cdr_of(undo))
        assign(car_of(car_of(undo)), cdr_of(car_of(undo)), frame);
}

static Value current_value(Value place, LambdaFrame* frame)
{
    if (is_symbol(place))
        return symbol_value(place);
    if (place.tag() != kTagVariable)
        raise_error(kErrorType, place);
    const Value* const slot = variable_slot(place, frame);
    return slot ? *slot : no_value;
}

// New values are evaluated and set one after the other; undo holds (place . old value), newest first.
[[gnu::noinline]] static Value eval_fluid_let(Value args, LambdaFrame* frame)
{
    Value undo = nil;
    return with_cleanup(
        [&] {
            for (Value list = first(args); is_pair(list); list = cdr_of(list)) {
                const Value binding = car_of(list);
                const Value place = is_pair(binding) ? car_of(binding) : binding;
                const Value init = is_pair(binding) ? cdr_of(binding) : nil;
                const Value old = current_value(place, frame);
                const Value v = is_pair(init) ? eval_in(car_of(init), frame) : no_value;
                undo = cons(cons(place, old), undo);
                assign(place, v, frame);
            }
            return eval_body(rest(args), frame);
        },
        [&] { restore_places(undo, frame); });
}

// ---- Closures

// The values of a gamma's captures, in order.
static Value eval_captures(Value captures, LambdaFrame* frame)
{
    if (!is_pair(captures))
        return nil;
    Value list = nil;
    Value last = nil;
    for (; is_pair(captures); captures = cdr_of(captures)) {
        const Value item = car_of(captures);
        const Value v = is_pair(item) ? eval_in(first(rest(item)), frame) : eval_in(item, frame);
        const Value pair = cons(v, nil);
        if (last == nil)
            list = pair;
        else
            set_cdr(last, pair);
        last = pair;
    }
    return list;
}

[[gnu::noinline]] static Value close_over(Value f, LambdaFrame* frame)
{
    switch (f.tag()) {
    case kTagFunction: {
        if (!(node_of(f)->car & kFlagOuter) || !frame)
            return f;
        const Value box = frame_box(frame);
        return cons(box, f).with_tag(kTagLexical);
    }
    case kTagGamma:
        return cons(f, eval_captures(first(function_body(f)), frame)).with_tag(kTagClosed);
    case kTagSyntaxGamma:
        return cons(f, eval_captures(first(function_body(f)), frame)).with_tag(kTagClosedSyntax);
    default:
        return f;
    }
}

Value evaluate_lambda(Tag keyword, Value arguments, LambdaFrame* frame)
{
    const Value head = keyword == kTagLambda      ? symbol_lambda
                       : keyword == kTagGammaForm ? symbol_gamma
                       : keyword == kTagSyntaxForm ? symbol_syntax
                                                   : symbol_syntax_gamma;
    return close_over(compile_function(head, arguments), frame);
}

// ---- eval

Value eval_in(Value form, LambdaFrame* frame)
{
    return eval_argument(form, frame);
}

static Value eval_pair(Value form, LambdaFrame* frame)
{
    check_stack();
    // Declared here and not in the loop: what a round destroys would keep the compiler from dropping
    // this frame when it calls in return position.
    Value head, args, f, a, b, c;
    Value forms;  // what is left of a sequence in tail position
    for (;;) {
        head = car_of(form);
        args = cdr_of(form);
        f = is_symbol(head) ? symbol_form_value(head) : eval_argument(head, frame);
        if (f.tag() == kTagPrimitive) [[likely]]
            return call_primitive_forms(f, args, frame, a, b, c);
        if (f.tag() == kTagFunction)
            return call_plain_forms(f, args, frame);
        switch (f.tag()) {
        case kTagLexical:
            return call_function_forms(cdr_of(f), args, frame, frame_of_box(car_of(f), f), nil);
        case kTagClosed:
            return call_function_forms(car_of(f), args, frame, nullptr, cdr_of(f));
        case kTagSpecial:
            return reinterpret_cast<Value (*)(Value)>(primitive_row(f).entry)(args);
        case kTagSyntax:
            return call_syntax(f, args, nil);
        case kTagClosedSyntax:
            return call_syntax(car_of(f), args, cdr_of(f));
        case kTagInstance:
        case kTagClass:
            return eval_with_object(f, args);
        case kTagPredicate:
            return hooks.prove(form, f, frame);

        case kTagQuote:
            return first(args);
        case kTagIf: {
            const Value test = next_argument(args, frame);
            if (test != nil) {
                form = first(args);
                if (is_pair(form))
                    continue;
                return eval_argument(form, frame);
            }
            forms = rest(args);
            break;
        }
        case kTagWhen:
            if (next_argument(args, frame) == nil)
                return nil;
            forms = args;
            break;
        case kTagBegin:
            forms = args;
            break;
        case kTagCond: {
            const Choice choice = choose_clause(args, frame);
            if (is_end(choice.forms))
                return choice.value;
            forms = choice.forms;
            break;
        }
        case kTagCase:
            forms = choose_case(args, frame);
            break;
        case kTagOr:
            if (!is_pair(args))
                return nil;
            while (is_pair(cdr_of(args))) {
                const Value v = next_argument(args, frame);
                if (v != nil)
                    return v;
            }
            form = car_of(args);
            if (is_pair(form))
                continue;
            return eval_argument(form, frame);
        case kTagAnd:
            if (!is_pair(args))
                return symbol_t;
            while (is_pair(cdr_of(args)))
                if (next_argument(args, frame) == nil)
                    return nil;
            form = car_of(args);
            if (is_pair(form))
                continue;
            return eval_argument(form, frame);
        case kTagLet:
            for (Value list = first(args); is_pair(list); list = cdr_of(list))
                bind_local(car_of(list), frame);
            forms = rest(args);
            break;
        case kTagSet: {
            const Value place = first(args);
            args = rest(args);
            const Value v = next_argument(args, frame);
            store(place, v, frame);
            return v;
        }
        case kTagWhile:
            return eval_while(args, frame);
        case kTagUntil:
            return eval_until(args, frame);
        case kTagRepeat:
            return eval_repeat(args, frame);
        case kTagSend:
            return eval_send(args, frame);
        case kTagFluidLet:
            return eval_fluid_let(args, frame);
        case kTagLambda:
        case kTagGammaForm:
        case kTagSyntaxForm:
        case kTagSyntaxGammaForm:
            return evaluate_lambda(f.tag(), args, frame);
        case kTagNewClause:
            return compile_clause(args);
        default:
            raise_error(kErrorNotCallable, head);
        }

        // The last form of the sequence takes this one's place.
        if (!is_pair(forms))
            return no_value;
        for (Value next = cdr_of(forms); is_pair(next); next = cdr_of(forms)) {
            eval_argument(car_of(forms), frame);
            forms = next;
        }
        form = car_of(forms);
        if (!is_pair(form))
            return eval_argument(form, frame);
    }
}

Value eval(Value form)
{
    return eval_argument(form, current_lambda());
}

// ---- apply

bool is_callable(Value f)
{
    switch (f.tag()) {
    case kTagPrimitive:
    case kTagFunction:
    case kTagLexical:
    case kTagClosed:
    case kTagSpecial:
    case kTagSyntax:
    case kTagClosedSyntax:
    case kTagInstance:
    case kTagClass:
    case kTagPredicate:
        return true;
    default:
        return f.tag() >= kTagQuote && f.tag() <= kTagLet && f.tag() != kHeaderPointer &&
               f.tag() != kTagSyntaxGamma;
    }
}

static Value quoted(Value v)
{
    const bool evaluates = v.tag() == kTagVariable || is_symbol(v) || is_pair(v) ||
                           v.tag() == kTagFunction || v.tag() == kTagGamma;
    return evaluates ? cons(intern("quote"), cons(v, nil)) : v;
}

// A built-in form applied to values. The forms that only choose among their operands get them
// quoted; the others are given their operands as they stand.
static Value apply_keyword(Value f, const Value* run, Value name)
{
    if (f.tag() == kTagSend)
        return send_run(run, name);
    if (f.tag() == kTagQuote)
        return is_end(*run) ? nil : *run;
    Value args = run_to_list(run);
    switch (f.tag()) {
    case kTagIf:
    case kTagWhen:
    case kTagBegin:
    case kTagOr:
    case kTagAnd:
        for (Value list = args; is_pair(list); list = cdr_of(list))
            set_car(list, quoted(car_of(list)));
        break;
    default:
        break;
    }
    return eval(cons(f, args));
}

Value apply_run(Value f, const Value* run, Value name)
{
    check_stack();
    switch (f.tag()) {
    case kTagPrimitive:
        return call_primitive_run(f, run);
    case kTagFunction:
        return call_function_run(f, run, nullptr, nil);
    case kTagLexical:
        return call_function_run(cdr_of(f), run, frame_of_box(car_of(f), f), nil);
    case kTagClosed:
        return call_function_run(car_of(f), run, nullptr, cdr_of(f));
    case kTagSpecial: {
        const Value args = run_to_list(run);
        return reinterpret_cast<Value (*)(Value)>(primitive_row(f).entry)(args);
    }
    case kTagSyntax:
        return call_syntax(f, run_to_list(run), nil);
    case kTagClosedSyntax:
        return call_syntax(car_of(f), run_to_list(run), cdr_of(f));
    case kTagInstance:
    case kTagClass:
        return eval_with_object(f, run_to_list(run));
    case kTagPredicate:
        return hooks.apply_predicate(f, run, name);
    default:
        if (is_callable(f))
            return apply_keyword(f, run, name);
        raise_error(kErrorNotCallable, name);
    }
}

Value call_args(Value f, const Value* args)
{
    return apply_run(is_symbol(f) ? symbol_value(f) : f, args, f);
}

Value apply_list(Value f, Value args, Value name)
{
    const StackFrame frame;
    Value* const run = lisp_sp;
    for (; is_pair(args); args = cdr_of(args)) {
        check_lisp_stack(2);
        push(car_of(args));
    }
    check_lisp_stack(2);
    push(end_of_args);
    return apply_run(f, run, name);
}

// ---- Calls from native code

Value call_with_object_run(Value object, Value f, const Value* args)
{
    if (is_symbol(object))
        object = symbol_form_value(object);
    if (!is_object(object))
        raise_error(kErrorType, object);
    const ObjectFrame frame(object);
    if (!is_symbol(f))
        return call_args(f, args);
    return apply_run(symbol_value(f), args, f);
}

Value call_with_object_guarded_run(Value object, Value f, const Value* args)
{
    const SavedState state;
    try {
        return call_with_object_run(object, f, args);
    } catch (const thrower& thrown) {
        hold_pending_throw(thrown);
    } catch (const NonLocalExit&) {
    }
    state.restore();
    return no_value;
}

void init_evaluator()
{
    symbol_else = intern("else");
    symbol_arrow = intern("=>");
    symbol_lambda = intern("lambda");
    symbol_gamma = intern("gamma");
    symbol_syntax = intern("syntax");
    symbol_syntax_gamma = intern("syntax-gamma");
    init_special_forms();
    init_compiler();
}
