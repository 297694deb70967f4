// The keywords' rows, and the forms and primitives of evaluation that are not built into eval.
#include "kernel/evaluator.h"

#include <cstring>

#include "kernel/errors.h"
#include "kernel/hooks.h"
#include "kernel/lists.h"
#include "kernel/object_layout.h"
#include "kernel/primitive.h"
#include "kernel/printer.h"
#include "kernel/symbols.h"
#include "kernel/types.h"

static Value symbol_else, symbol_unquote, symbol_unquote_splicing, symbol_destroy;

// Grows a list at its end. The two Values stand in a local of the caller, where the scan sees them.
struct ListBuilder {
    void add(Value v)
    {
        const Value pair = cons(v, nil);
        if (last == nil)
            list = pair;
        else
            set_cdr(last, pair);
        last = pair;
    }
    Value list;
    Value last;
};

// ---- Specials

static Value unless(Value args)
{
    if (eval(first(args)) != nil)
        return nil;
    return eval_body(rest(args), current_lambda());
}

static bool type_head_matches(Value head, Value v)
{
    if (head == symbol_else)
        return true;
    if (head.tag() != kTagList)
        return is_type(v, head);
    for (; is_pair(head); head = cdr_of(head))
        if (is_type(v, car_of(head)))
            return true;
    return false;
}

static Value typecase(Value args)
{
    const Value v = eval(first(args));
    for (Value clauses = rest(args); is_pair(clauses); clauses = cdr_of(clauses)) {
        const Value clause = car_of(clauses);
        if (!is_pair(clause))
            raise_error(kErrorType, clause);
        if (type_head_matches(car_of(clause), v))
            return eval_body(cdr_of(clause), current_lambda());
    }
    return no_value;
}

static Value prog1(Value args)
{
    if (!is_pair(args))
        return no_value;
    const Value v = eval(car_of(args));
    eval_body(cdr_of(args), current_lambda());
    return v;
}

static Value object_argument(Value v)
{
    if (!is_object(v))
        raise_error(kErrorType, v);
    return v;
}

static Value try_(Value args)
{
    const Value object = eval(first(args));
    if (object == nil)
        return nil;
    const ObjectFrame frame(object_argument(object));
    return eval_body(rest(args), current_lambda());
}

static Value put_x(Value args)
{
    const Value object = eval(first(args));
    const Value name = first(rest(args));
    const Value v = eval(first(rest(rest(args))));
    if (!is_symbol(name))
        raise_error(kErrorType, name);
    const ObjectFrame frame(object_argument(object));
    set_symbol_value(name, v);
    return v;
}

static Value comment(Value)
{
    return no_value;
}

static Value free_p(Value args)
{
    const Value form = first(args);
    if (form.tag() == kTagVariable) {
        const Value* const slot = variable_slot(form, current_lambda());
        return boolean(!slot || *slot == no_value);
    }
    return boolean(eval(form) == no_value);
}

static Value test(Value args)
{
    const Value form = first(args);
    if (eval(form) == nil)
        raise_error(kErrorType, form);
    return no_value;
}

static void dispose_bound(Value v)
{
    if (is_object(v) && v != root_class)
        call_with_object(v, symbol_destroy);
    else if (v.tag() == kTagPointer &&
             (pointer_kind(v) == kPointerMemory || pointer_kind(v) == kPointerHandle))
        hooks.dispose_pointer(v);
}

// What has been bound is given back in order; each once, even if a later one throws.
static void dispose_all(Value variables, LambdaFrame* frame)
{
    if (!is_pair(variables))
        return;
    with_cleanup(
        [&] {
            const Value* const slot = variable_slot(car_of(variables), frame);
            if (slot)
                dispose_bound(*slot);
            return nil;
        },
        [&] { dispose_all(cdr_of(variables), frame); });
}

static Value with(Value args)
{
    LambdaFrame* const frame = current_lambda();
    ListBuilder bound;  // variables whose inits have run
    return with_cleanup(
        [&] {
            for (Value list = first(args); is_pair(list); list = cdr_of(list)) {
                const Value binding = car_of(list);
                const Value variable = is_pair(binding) ? car_of(binding) : binding;
                if (variable.tag() != kTagVariable)
                    raise_error(kErrorType, variable);
                const Value init = is_pair(binding) ? cdr_of(binding) : nil;
                assign(variable, is_pair(init) ? eval(car_of(init)) : no_value, frame);
                bound.add(variable);
            }
            return eval_body(rest(args), frame);
        },
        [&] { dispose_all(bound.list, frame); });
}

// ---- quasiquote

static Value fill_template(Value v);

static void splice(ListBuilder& out, Value list)
{
    for (; is_pair(list); list = cdr_of(list))
        out.add(car_of(list));
}

static Value fill_list(Value list)
{
    check_stack();
    ListBuilder out;
    for (; is_pair(list); list = cdr_of(list)) {
        if (car_of(list) == symbol_unquote && out.last != nil && is_pair(cdr_of(list)) &&
            cdr_of(cdr_of(list)) == nil) {
            // (a . ,b) reads as (a unquote b)
            set_cdr(out.last, eval(first(cdr_of(list))));
            return out.list;
        }
        const Value item = car_of(list);
        if (is_pair(item) && car_of(item) == symbol_unquote_splicing)
            splice(out, eval(first(cdr_of(item))));
        else
            out.add(fill_template(item));
    }
    if (list != nil && out.last != nil)
        set_cdr(out.last, list);
    return out.list;
}

static Value fill_template(Value v)
{
    if (!is_pair(v))
        return v;
    return car_of(v) == symbol_unquote ? eval(first(cdr_of(v))) : fill_list(v);
}

static Value quasiquote(Value args)
{
    return fill_list(args);
}

// ---- Primitives

static Value apply(Rest args)
{
    if (is_end(args[0]))
        raise_error(kErrorNotCallable, nil);
    const StackFrame frame;
    Value* const run = lisp_sp;
    const Value* p = args + 1;
    for (; !is_end(p[0]) && !is_end(p[1]); ++p) {
        check_lisp_stack(2);
        push(*p);
    }
    if (!is_end(*p)) {
        if (p->tag() != kTagList)
            raise_error(kErrorType, *p);
        for (Value list = *p; is_pair(list); list = cdr_of(list)) {
            check_lisp_stack(2);
            push(car_of(list));
        }
    }
    check_lisp_stack(2);
    push(end_of_args);
    return call_args(args[0], run);
}

// Walks several lists at once: a list steps, an atom repeats.
class ListWalk {
public:
    explicit ListWalk(Rest lists) : lists_(lisp_sp)
    {
        for (; !is_end(*lists); ++lists, ++count_) {
            check_lisp_stack(4);
            push(*lists);
            any_ = any_ || lists->tag() == kTagList;
        }
        check_lisp_stack(count_ + 4);
        run_ = lisp_sp;
        for (uint32_t i = 0; i < count_; ++i)
            push(nil);
        push(end_of_args);
    }

    // Sets the run for the next round; false when a list is used up, or after one round of atoms.
    bool step()
    {
        if (!any_ && rounds_++ > 0)
            return false;
        for (uint32_t i = 0; i < count_; ++i) {
            if (lists_[i].tag() != kTagList) {
                run_[i] = lists_[i];
            } else if (lists_[i] == nil) {
                return false;
            } else {
                run_[i] = car_of(lists_[i]);
                const Value next = cdr_of(lists_[i]);
                lists_[i] = next.tag() == kTagList ? next : nil;
            }
        }
        return true;
    }
    const Value* run() const { return run_; }

private:
    const StackFrame frame_;
    Value* const lists_;
    Value* run_;
    uint32_t count_ = 0;
    uint32_t rounds_ = 0;
    bool any_ = false;
};

static Value for_each(Value f, Rest lists)
{
    ListWalk walk(lists);
    while (walk.step())
        call_args(f, walk.run());
    return no_value;
}

static Value map(Value f, Rest lists)
{
    ListWalk walk(lists);
    ListBuilder out;
    while (walk.step())
        out.add(call_args(f, walk.run()));
    return out.list;
}

static Value void_()
{
    return no_value;
}

static Value mapatoms(Value f)
{
    Value list = nil;
    for (uint32_t i = 0; i < spaces.symbol_count; ++i) {
        const Value symbol(kTagSymbol, i * sizeof(SymbolEntry));
        if (symbol_of(symbol)->name != 0 && call_value(f, symbol) != nil)
            list = cons(symbol, list);
    }
    return list;
}

static Value symbol_argument(Value v)
{
    if (!is_symbol(v))
        raise_error(kErrorType, v);
    return v;
}

static Value symbol_to_value(Value symbol)
{
    const Value v = symbol_value(symbol_argument(symbol));
    if (v == no_value)
        raise_error(kErrorUnbound, symbol);
    return v;
}

static Value set(Value place, Value v)
{
    assign(place, v, current_lambda());
    return v;
}

static bool has_value(Value v)
{
    if (is_symbol(v))
        return is_bound(v);
    if (v.tag() != kTagVariable)
        raise_error(kErrorType, v);
    const Value* const slot = variable_slot(v, current_lambda());
    return slot && *slot != no_value;
}

static Value bound_p(Value v) { return boolean(has_value(v)); }
static Value unbound_p(Value v) { return boolean(!has_value(v)); }

static Value find_symbol_(Value v)
{
    const Value string = coerce_to_string(v);
    return find_symbol(string_chars(string));
}

// ---- Tables

static const Primitive keyword_rows[] = {
    Primitive::keyword("quote", kTagQuote, "(quote x): x, unevaluated"),
    Primitive::keyword("if", kTagIf,
        "(if test then else...): then if test is not nil, otherwise the last of else; no value without else"),
    Primitive::keyword("when", kTagWhen, "(when test body...): nil if test is nil, else the last of body"),
    Primitive::keyword("cond", kTagCond,
        "(cond (test body...)...): body of the first clause whose test holds, the test's value if the "
        "body is empty; else holds; (test => f) calls f on the test's value"),
    Primitive::keyword("set!", kTagSet, "(set! place value): stores in a variable or symbol; value"),
    Primitive::keyword("new-clause", kTagNewClause,
        "(new-clause (pattern...) goal...): a clause, as defclause compiles it"),
    Primitive::keyword("case", kTagCase,
        "(case key (head body...)...): body of the first clause whose head, or a member of it, is eqv? "
        "to key; t and else match; no value if none does"),
    Primitive::keyword("repeat", kTagRepeat, "(repeat count body...): runs body count times"),
    Primitive::keyword("until", kTagUntil, "(until test body...): runs body, then test, until test is not nil"),
    Primitive::keyword("while", kTagWhile, "(while test body...): runs body as long as test is not nil"),
    Primitive::keyword("begin", kTagBegin, "(begin form...): value of the last form"),
    Primitive::keyword("or", kTagOr, "(or form...): first value that is not nil, else nil"),
    Primitive::keyword("and", kTagAnd, "(and form...): nil as soon as a value is nil, else the last; t if empty"),
    Primitive::keyword("lambda", kTagLambda,
        "(lambda (_a ... . _rest) body...): a function; it may use the variables around it while their "
        "function runs"),
    Primitive::keyword("send", kTagSend,
        "(send object selector arg...): the method that selector names for object, called on the "
        "arguments with object current; error 2 if object is none, error 6 if it knows no such name"),
    Primitive::keyword("gamma", kTagGammaForm,
        "(gamma (params) (captures) body...): a function closed over the captures' values"),
    Primitive::keyword("syntax", kTagSyntaxForm,
        "(syntax (_args) body...): a function that gets its operands unevaluated, as one list"),
    Primitive::keyword("fluid-let", kTagFluidLet,
        "(fluid-let ((symbol value)...) body...): body with other values for a while"),
    Primitive::keyword("syntax-gamma", kTagSyntaxGammaForm,
        "(syntax-gamma (_args) (captures) body...): a syntax closed over the captures' values"),
    Primitive::keyword("let", kTagLet,
        "(let ((_v init)...) body...): binds in order; the names are locals of the function around it"),
    Primitive::keyword("let*", kTagLet, "(let* ((_v init)...) body...): the same as let"),
    Primitive::keyword("letrec", kTagLet, "(letrec ((_v init)...) body...): the same as let"),
};

static const Primitive special_rows[] = {
    Primitive::special("unless", unless, "(unless test body...): nil if test holds, else the last of body"),
    Primitive::special("typecase", typecase,
        "(typecase value (head body...)...): as case, a head matching by type?; else matches"),
    Primitive::special("with", with,
        "(with ((_v init)...) body...): as let; on any exit each object bound is sent destroy, each "
        "memory pointer and handle disposed"),
    Primitive::special("prog1", prog1, "(prog1 form body...): value of form"),
    Primitive::special("try", try_,
        "(try object body...): nil if object is nil, else body with object current; error 2 if it is none"),
    Primitive::special("put!", put_x, "(put! object name value): sets name with object current; value"),
    Primitive::special("comment", comment, "(comment ...): nothing is evaluated; no value"),
    Primitive::special("free?", free_p, "(free? form): t if the variable or form has no value"),
    Primitive::special("test", test, "(test form): error 2 with form if its value is nil"),
    Primitive::special("quasiquote", quasiquote,
        "(quasiquote item...): the list of the items, (unquote x) replaced by x's value and "
        "(unquote-splicing x) by the members of its value"),
};

static const Primitive primitives[] = {
    { "eval", eval_toplevel, "(eval form): its value" },
    { "apply", apply, "(apply f a... list): f called on a... and the members of list; error 2 if it is none" },
    { "for-each", for_each, "(for-each f list...): f on each round of elements; an atom repeats" },
    { "map", map, "(map f list...): the list of f's values; an atom repeats" },
    { "void", void_, "(void): no value" },
    { "mapatoms", mapatoms, "(mapatoms f): the symbols for which f is not nil" },
    { "symbol->value", symbol_to_value, "(symbol->value symbol): its value; error 6 if it has none" },
    { "set", set, "(set symbol value): sets what symbol evaluates to; value" },
    { "bound?", bound_p, "(bound? symbol): t if the symbol or variable has a value; error 2 for others" },
    { "unbound?", unbound_p, "(unbound? symbol): t if it has no value; error 2 for others" },
    { "find-symbol", find_symbol_, "(find-symbol name): the symbol of that name if there is one, else nil" },
};

void init_special_forms()
{
    symbol_else = intern("else");
    symbol_unquote = intern("unquote");
    symbol_unquote_splicing = intern("unquote-splicing");
    symbol_destroy = intern("destroy");
    define_primitives(keyword_rows);
    define_primitives(special_rows);
    define_primitives(primitives);
}
