// Clauses under their symbol. A predicate is a list of clauses, the newest first, with the
// predicate's tag on its first pair; a clause is a function node whose flags count its variables.
#include "kernel/evaluator.h"
#include "kernel/primitive.h"
#include "kernel/symbols.h"
#include "library/list_walk.h"
#include "logic/logic.h"
#include "logic/term.h"
#include "objects/objects.h"

static Value first_of(Value args) { return is_pair(args) ? car_of(args) : nil; }

// definition: ((name pattern...) goal...)
static Value add_clause(Value definition)
{
    if (!is_pair(definition))
        raise_error(kErrorType, definition);
    const Value head = car_of(definition);
    if (!is_pair(head))
        raise_error(kErrorType, head);
    const Value name = car_of(head);
    if (!is_symbol(name))
        raise_error(kErrorType, name);
    const Value clause = compile_clause(cons(cdr_of(head), cdr_of(definition)));
    set_car(car_of(cdr_of(clause)), name);
    give_slot_index(name);
    if (self_object != root_class)
        raise_message_error("can not define clause inside an object");
    // A method of that name stays with its class.
    prepare_symbol(name, root_class, true);
    const Value old = global_value(name);
    const Value older = old.tag() == kTagPredicate ? old.with_tag(kTagList) : nil;
    set_global_value(name, cons(clause, older).with_tag(kTagPredicate));
    return name;
}

static Value defclause(Value args)
{
    return add_clause(args);
}

// The clause of a list made at run time gets variables of its own: those in the list may belong to
// the function that made it, and are numbered anew for the clause.
static Value with_own_variables(Value v)
{
    check_stack();
    if (v.tag() == kTagVariable)
        return make_variable(variable_symbol(v));
    ListBuilder list;
    ListGuard guard;
    for (; is_pair(v) && guard.more(v); v = cdr_of(v))
        list.add(with_own_variables(car_of(v)));
    return list.ending_in(v.tag() == kTagVariable ? make_variable(variable_symbol(v)) : v);
}

static Value asserte(Value definition)
{
    return add_clause(with_own_variables(definition));
}

static Value clause_p(Value v) { return boolean(v.tag() == kTagPredicate); }
static Value logvar_p(Value v) { return boolean(v.tag() == kTagVariable); }

// What is no variable is asked for its value.
static Value has_no_value(Value form)
{
    return boolean(eval(form) == no_value);
}

static Value free_(Value args)
{
    const Value form = first_of(args);
    if (form.tag() != kTagVariable)
        return has_no_value(form);
    LambdaFrame* const frame = current_lambda();
    if (!variable_slot(form, frame))
        return symbol_t;
    Scope scope{ frame->locals, frame->local_count, nil, nullptr, frame };
    Term term(form, &scope);
    term.follow();
    return boolean(term.is_unbound());
}

static Value free_p(Value args)
{
    const Value form = first_of(args);
    if (form.tag() != kTagVariable)
        return has_no_value(form);
    const Value* const slot = variable_slot(form, current_lambda());
    return boolean(!slot || *slot == no_value);
}

static const Primitive logic_primitives[] = {
    Primitive::special("defclause", defclause,
        "(defclause (name pattern...) goal...): adds a clause, tried before the older ones; name. "
        "Error 2 when the head is no list that begins with a symbol, a text error in an object"),
    { "asserte", asserte,
      "(asserte ((name pattern...) goal...)): defclause of a list made at run time; name" },
    { "clause?", clause_p, "(clause? v): whether v is a predicate" },
    { "logvar?", logvar_p, "(logvar? v): whether v is a variable" },
    Primitive::special("free", free_, "(free _x): whether the variable, followed, ends unbound"),
};

static const Primitive free_primitive =
    Primitive::special("free?", free_p, "(free? _x): whether the variable itself is unbound");

void init_logic()
{
    intern("new-clause");
    define_primitives(logic_primitives);
    redefine_primitive(free_primitive);
    init_proof();
}
