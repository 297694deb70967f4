// The one walk over a lambda's list structure that resolves its local variables in place to (depth,
// index) pairs, and the protection of defined code.
#include <vector>

#include "kernel/evaluator.h"
#include "kernel/errors.h"
#include "kernel/lists.h"
#include "kernel/shapes.h"
#include "kernel/symbols.h"

static constexpr uint32_t kMostLocals = 511;
static constexpr uint32_t kMostRequired = 63;
static constexpr uint32_t kMostCaptures = 127;

// Symbols stand in the table for ever, so they may lie in a vector.
struct Binding {
    Value symbol;
    int depth;
    uint32_t index;
};
struct Environment {
    std::vector<Binding> bindings;
};

static Value lambda_symbol, gamma_symbol, syntax_symbol, syntax_gamma_symbol, quote_symbol,
    define_symbol, defclause_symbol, new_clause_symbol, dmc_symbol, ddc_symbol;

static bool is_gamma_symbol(Value head) { return head == gamma_symbol || head == syntax_gamma_symbol; }
static bool is_function_symbol(Value head)
{
    return head == lambda_symbol || head == syntax_symbol || is_gamma_symbol(head);
}

static Tag function_tag(Value head)
{
    if (head == lambda_symbol)
        return kTagFunction;
    if (head == syntax_symbol)
        return kTagSyntax;
    return head == gamma_symbol ? kTagGamma : kTagSyntaxGamma;
}

// A list that goes on for longer than there are nodes goes round.
struct LengthGuard {
    explicit LengthGuard(Value list_) : list(list_) {}
    void step()
    {
        if (++steps > spaces.node_count)
            raise_error(kErrorType, list);
    }
    const Value list;
    uint32_t steps = 0;
};

class Walk {
public:
    explicit Walk(Environment& environment) : environment_(environment) {}

    Value function(Value head, Value arguments);
    Value clause(Value arguments);

    // A form that stands by itself: functions in it are left to their evaluation.
    void toplevel(Value form);

    uint32_t next_index = 0;

private:
    enum class Nested { compile, leave };

    void variable(Value v);
    void declare(Value variable);
    void form(Value v, Nested nested);
    void members(Value list, Nested nested);
    uint32_t parameters(Value params, bool* takes_rest);
    void captures(Value list);
    Value node(Value head, Value params, Value body, uint32_t flags);
    Value lambda(Value head, Value arguments);
    Value gamma(Value head, Value arguments);

    Environment& environment_;
    int depth_ = 0;
    int outward_ = 0;         // greatest distance to a variable outside the current function
    bool no_new_names_ = false;
    Value captures_;          // the capture list under way, for its error
};

static void resolve(Value variable, uint32_t depth, uint32_t index)
{
    Node* const node = node_of(variable);
    node->car = (node->car & kPermanentMark) | make_fixnum(static_cast<int32_t>(depth << 16 | index)).bits();
}

void Walk::declare(Value variable)
{
    environment_.bindings.push_back({ variable_symbol(variable), depth_, next_index });
    resolve(variable, 0, next_index++);
}

void Walk::variable(Value v)
{
    const Value symbol = variable_symbol(v);
    for (size_t i = environment_.bindings.size(); i-- > 0;) {
        const Binding& binding = environment_.bindings[i];
        if (binding.symbol != symbol)
            continue;
        const int distance = depth_ - binding.depth;
        outward_ = distance > outward_ ? distance : outward_;
        resolve(v, static_cast<uint32_t>(distance), binding.index);
        return;
    }
    if (no_new_names_)
        raise_error(kErrorType, captures_);
    declare(v);
}

// A clause is compiled when it is defined, with the functions in its goals.
static bool is_data(Value head) { return head == quote_symbol || head == defclause_symbol; }

void Walk::form(Value v, Nested nested)
{
    if (v.tag() == kTagVariable)
        variable(v);
    else if (is_pair(v))
        members(v, is_data(car_of(v)) ? Nested::leave : nested);
}

// The members of a list and its dotted tail. A function form among them is replaced by its value.
void Walk::members(Value list, Nested nested)
{
    check_stack();
    LengthGuard guard(list);
    for (; is_pair(list); list = cdr_of(list)) {
        guard.step();
        const Value item = car_of(list);
        if (is_pair(item) && is_function_symbol(car_of(item))) {
            if (nested == Nested::compile)
                set_car(list, function(car_of(item), cdr_of(item)));
        } else {
            form(item, nested);
        }
    }
    form(list, nested);
}

// Numbers the parameters and answers how many are required.
uint32_t Walk::parameters(Value params, bool* takes_rest)
{
    uint32_t required = 0;
    for (; is_pair(params); params = cdr_of(params)) {
        if (car_of(params).tag() != kTagVariable || ++required > kMostRequired)
            raise_error(kErrorType, car_of(params));
        declare(car_of(params));
    }
    *takes_rest = params.tag() == kTagVariable;
    if (*takes_rest)
        declare(params);
    else if (params != nil)
        raise_error(kErrorType, params);
    return required;
}

Value Walk::node(Value head, Value params, Value body, uint32_t flags)
{
    const Value shape = cons(cons(head, params), body);
    return new_node(function_tag(head), make_fixnum(static_cast<int32_t>(flags)).bits(), shape.bits());
}

static uint32_t local_flags(uint32_t count, Value params)
{
    if (count > kMostLocals)
        raise_error(kErrorType, params);
    return count;
}

Value Walk::lambda(Value head, Value arguments)
{
    const Value params = first(arguments);
    const Value body = rest(arguments);
    const size_t mark = environment_.bindings.size();
    const uint32_t saved_index = next_index;
    const int saved_outward = outward_;
    const bool saved_names = no_new_names_;
    no_new_names_ = false;
    ++depth_;
    next_index = 0;
    outward_ = 0;
    bool takes_rest;
    const uint32_t required = parameters(params, &takes_rest);
    members(body, Nested::compile);
    uint32_t flags = required << 18 | local_flags(next_index - required - takes_rest, params);
    flags |= takes_rest ? kFlagRest : 0;
    flags |= outward_ > 0 ? kFlagOuter : 0;
    const int beyond = outward_ - 1;
    --depth_;
    next_index = saved_index;
    outward_ = beyond > saved_outward ? beyond : saved_outward;
    no_new_names_ = saved_names;
    environment_.bindings.resize(mark);
    return node(head, params, body, flags);
}

// The items of a capture list belong to the scope around the gamma and may only use its names.
void Walk::captures(Value list)
{
    const bool saved_names = no_new_names_;
    const Value saved_list = captures_;
    no_new_names_ = true;
    captures_ = list;
    for (Value item = list; is_pair(item); item = cdr_of(item)) {
        const Value capture = car_of(item);
        if (is_pair(capture)) {
            if (car_of(capture).tag() != kTagVariable)
                raise_error(kErrorType, list);
            members(rest(capture), Nested::compile);
        } else if (capture.tag() == kTagVariable) {
            variable(capture);
        } else {
            raise_error(kErrorType, list);
        }
    }
    no_new_names_ = saved_names;
    captures_ = saved_list;
}

// A gamma stands on its own: its body sees its parameters, its captures by value, and its locals.
Value Walk::gamma(Value head, Value arguments)
{
    const Value params = first(arguments);
    const Value capture_list = first(rest(arguments));
    const Value body = rest(rest(arguments));
    captures(capture_list);

    Environment own;
    Walk inner(own);
    bool takes_rest;
    const uint32_t required = inner.parameters(params, &takes_rest);
    uint32_t captured = 0;
    for (Value list = capture_list; is_pair(list); list = cdr_of(list), ++captured) {
        const Value item = car_of(list);
        const Value name = is_pair(item) ? car_of(item) : item;
        own.bindings.push_back({ variable_symbol(name), 0, inner.next_index++ });
    }
    if (captured > kMostCaptures)
        raise_error(kErrorType, capture_list);
    inner.members(body, Nested::compile);
    uint32_t flags = required << 18 | captured << 9 |
                     local_flags(inner.next_index - required - takes_rest - captured, params);
    flags |= takes_rest ? kFlagRest : 0;
    return node(head, params, cons(capture_list, body), flags);
}

Value Walk::function(Value head, Value arguments)
{
    check_stack();
    return is_gamma_symbol(head) ? gamma(head, arguments) : lambda(head, arguments);
}

Value Walk::clause(Value arguments)
{
    const Value patterns = first(arguments);
    form(patterns, Nested::compile);
    members(rest(arguments), Nested::compile);
    const Value shape = cons(cons(nil, patterns), rest(arguments));
    const uint32_t flags = make_fixnum(static_cast<int32_t>(next_index)).bits();
    return new_node(kTagFunction, flags, shape.bits());
}

// Forms whose variables are those of what they define.
static bool defines_scope(Value head, Value args)
{
    return head == defclause_symbol || head == new_clause_symbol || head == dmc_symbol ||
           head == ddc_symbol || (head == define_symbol && is_pair(args) && is_pair(car_of(args)));
}

void Walk::toplevel(Value v)
{
    check_stack();
    if (v.tag() == kTagVariable) {
        variable(v);
        return;
    }
    if (!is_pair(v))
        return;
    const Value head = car_of(v);
    if (is_gamma_symbol(head)) {
        for (Value list = first(rest(cdr_of(v))); is_pair(list); list = cdr_of(list))
            toplevel(is_pair(car_of(list)) ? rest(car_of(list)) : car_of(list));
        return;
    }
    if (is_function_symbol(head) || defines_scope(head, cdr_of(v)))
        return;
    LengthGuard guard(v);
    for (; is_pair(v); v = cdr_of(v)) {
        guard.step();
        toplevel(car_of(v));
    }
    toplevel(v);
}

// ---- Forms that stand by themselves

// Whether a form holds a variable, outside of functions, that has no slot in the frame.
static bool has_loose_variable(Value v, LambdaFrame* frame)
{
    check_stack();
    if (v.tag() == kTagVariable)
        return !variable_slot(v, frame);
    if (!is_pair(v))
        return false;
    const Value head = car_of(v);
    if (is_gamma_symbol(head))
        return has_loose_variable(first(rest(cdr_of(v))), frame);
    if (is_function_symbol(head) || defines_scope(head, cdr_of(v)))
        return false;
    LengthGuard guard(v);
    for (; is_pair(v); v = cdr_of(v)) {
        guard.step();
        if (has_loose_variable(car_of(v), frame))
            return true;
    }
    return has_loose_variable(v, frame);
}

static const LambdaFrame* toplevel_frame;
static const Environment* toplevel_names;

const Environment* toplevel_environment(const LambdaFrame* frame)
{
    return frame == toplevel_frame ? toplevel_names : nullptr;
}

struct ToplevelScope {
    ToplevelScope(const LambdaFrame* frame, const Environment* names)
        : saved_frame(toplevel_frame), saved_names(toplevel_names)
    {
        toplevel_frame = frame;
        toplevel_names = names;
    }
    ~ToplevelScope()
    {
        toplevel_frame = saved_frame;
        toplevel_names = saved_names;
    }
    const LambdaFrame* const saved_frame;
    const Environment* const saved_names;
};

Value eval_toplevel(Value form)
{
    LambdaFrame* const caller = current_lambda();
    if (!has_loose_variable(form, caller))
        return eval_in(form, caller);
    Environment names;
    Walk walk(names);
    walk.toplevel(form);
    check_lisp_stack(walk.next_index + 2);
    Value* const locals = lisp_sp;
    for (uint32_t i = 0; i < walk.next_index; ++i)
        push(no_value);
    LambdaFrame frame(nil, nullptr, locals, walk.next_index);
    const ToplevelScope scope(&frame, &names);
    return eval_in(form, &frame);
}

// A function form met by the evaluator itself sees the variables of the form that it stands in when
// that one stands alone, and none otherwise: within a function such forms have been replaced.
Value compile_function(Value head, Value arguments)
{
    Environment environment;
    if (const Environment* names = toplevel_environment(current_lambda()))
        environment = *names;
    Walk walk(environment);
    return walk.function(head, arguments);
}

Value compile_alone(Value head, Value arguments)
{
    Environment environment;
    Walk walk(environment);
    return walk.function(head, arguments);
}

Value compile_clause(Value arguments)
{
    Environment environment;
    Walk walk(environment);
    return walk.clause(arguments);
}

Value make_variable(Value symbol, uint32_t car)
{
    return new_node(kTagVariable, car, symbol.bits());
}

// ---- Protection

// Nodes whose words are Values to be protected too, single header nodes, and what code can't hold.
enum class Protection { nothing, plain, header, unknown };

static Protection protection_of(Value v)
{
    const uint32_t shape = shape_of(v);
    if (shape == kShapeNone || v.payload() == 0)
        return Protection::nothing;
    if (node_of(v)->car & kPermanentMark)
        return Protection::nothing;
    if (shape == kShapeNode)
        return Protection::plain;
    const bool known = shape == kHeaderBox || shape == kHeaderString || shape == kHeaderReal;
    return known ? Protection::header : Protection::unknown;
}

// Finds the nodes first and marks them last, so that an error leaves no permanent node with a mortal
// one behind it. Meanwhile the collector's bit, which no one else uses outside a collection, tells
// what has been found. Nothing here allocates Lisp data.
void protect(Value v)
{
    std::vector<Node*> found;
    std::vector<Value> open{ v };
    bool sound = true;
    while (!open.empty() && sound) {
        const Value next = open.back();
        open.pop_back();
        const Protection kind = protection_of(next);
        sound = kind != Protection::unknown;
        if (!sound || kind == Protection::nothing || (node_of(next)->car & kCollectorMark))
            continue;
        Node* const node = node_of(next);
        if (kind == Protection::plain) {
            open.push_back(Value::from_bits(node->car));
            open.push_back(Value::from_bits(node->cdr));
        }
        node->car |= kCollectorMark;
        found.push_back(node);
    }
    for (Node* node : found)
        node->car = (node->car & ~kCollectorMark) | (sound ? kPermanentMark : 0);
    if (!sound)
        raise_message_error("bad type in protect fonction");
}

void init_compiler()
{
    toplevel_frame = nullptr;
    toplevel_names = nullptr;
    lambda_symbol = intern("lambda");
    gamma_symbol = intern("gamma");
    syntax_symbol = intern("syntax");
    syntax_gamma_symbol = intern("syntax-gamma");
    quote_symbol = intern("quote");
    define_symbol = intern("define");
    defclause_symbol = intern("defclause");
    new_clause_symbol = intern("new-clause");
    dmc_symbol = intern("dmc");
    ddc_symbol = intern("ddc");
}
