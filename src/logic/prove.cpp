// The proof: depth first, first solution, newest clause first. The goals still to prove are passed
// down as a chain; while a predicate has clauses left to try, the rest of the proof runs inside the
// try of one, on the machine stack, so that failing back is a plain return. The last clause that
// can match needs no way back: it takes its caller's place in the loop, and only its variables
// stay.
#include <alloca.h>

#include <new>

#include "kernel/evaluator.h"
#include "kernel/hooks.h"
#include "kernel/symbols.h"
#include "library/list_walk.h"
#include "logic/logic.h"
#include "logic/term.h"

static Value symbol_cut, symbol_clause;

// ---- Frames of clauses

struct ClauseScope : Scope {
    alignas(LambdaFrame) char frame_place[sizeof(LambdaFrame)];
};

// Built at the first Lisp goal, and never linked into the chain of frames nor destroyed: the proof
// restores at one stroke what its scopes hold.
LambdaFrame* frame_of(Scope* scope)
{
    if (!scope->frame) {
        Frame* const current = current_frame;
        ClauseScope* const clause = static_cast<ClauseScope*>(scope);
        scope->frame = new (clause->frame_place)
            LambdaFrame(nil, nullptr, scope->slots, scope->count);
        current_frame = current;
    }
    return scope->frame;
}

// Ends the scopes that were opened while it stands.
struct ScopeGuard {
    ~ScopeGuard()
    {
        while (newest_scope != mark) {
            if (newest_scope->frame)
                newest_scope->frame->serial = 0;
            close_scope();
        }
    }
    Scope* const mark = newest_scope;
};

// The words of a clause's variables, unbound.
static void open_scope(ClauseScope* scope, uint32_t count)
{
    if (reinterpret_cast<uintptr_t>(scope) < stack_limit) [[unlikely]]
        stack_limit_reached();
    check_lisp_stack(count);
    scope->slots = lisp_sp;
    scope->count = count;
    scope->box = nil;
    scope->frame = nullptr;
    scope->older = newest_scope;
    for (uint32_t i = 0; i < count; ++i)
        lisp_sp[i] = no_value;
    lisp_sp += count;
    newest_scope = scope;
}

// ---- Lisp in a proof

// While it stands, Lisp is evaluated among the variables of a scope.
struct GoalFrame : Frame {
    explicit GoalFrame(LambdaFrame* lambda) : Frame(current_frame, lambda) { current_frame = this; }
};

// The form's value in the scope, or end_of_args when a cut came through its Lisp frames.
[[gnu::noinline]] static Value eval_goal(Value form, Scope* scope)
{
    const SavedState state;
    try {
        const GoalFrame frame(frame_of(scope));
        return eval_in(form, frame.lambda_frame);
    } catch (const CutClass&) {
        state.restore();
        return end_of_args;
    }
}

// Whether an argument stands for itself, bound or not.
static bool is_term(Value v)
{
    switch (v.tag()) {
    case kTagVariable:
    case kTagInteger:
    case kTagString:
    case kTagReal:
    case kTagLong:
    case kTagUnsignedLong:
    case kTagVector:
        return true;
    default:
        return v == nil;
    }
}

// The list of terms that a goal hands to its predicate: variables as they are, every other item by
// its value, and what stands in the tail as it is. end_of_args when a cut came out of an item.
static Value goal_terms(Value items, Scope* scope)
{
    Value list = items;
    while (is_pair(list) && is_term(car_of(list)))
        list = cdr_of(list);
    if (!is_pair(list))
        return items;
    ListBuilder terms;
    ListGuard guard;
    for (list = items; is_pair(list) && guard.more(list); list = cdr_of(list)) {
        const Value item = car_of(list);
        const Value v = item.tag() == kTagVariable ? item : eval_goal(item, scope);
        if (is_end(v))
            return v;
        terms.add(v);
    }
    return terms.ending_in(list);
}

// ---- Clauses

static inline Value clause_patterns(Value clause) { return cdr_of(car_of(cdr_of(clause))); }
static inline Value clause_body(Value clause) { return cdr_of(cdr_of(clause)); }

// The first argument of a call, by which clauses that can't match are passed over unopened.
struct FirstArgument {
    FirstArgument(Value terms, Scope* scope)
        : term(is_pair(terms) ? car_of(terms) : no_value, scope)
    {
        term.follow();
    }

    // False only when the first step of unification would fail, before it binds anything.
    bool may_match(Value clause) const
    {
        const Value patterns = clause_patterns(clause);
        if (!is_pair(patterns) || term.value == no_value || term.value.tag() == kTagVariable)
            return true;
        const Value pattern = car_of(patterns);
        const Value v = term.value;
        if (pattern == v || pattern.tag() == kTagVariable)
            return true;
        if (pattern.tag() == kTagList || v.tag() == kTagList)
            return is_pair(pattern) && is_pair(v);
        return !is_plain_name(pattern) || !is_plain_name(v);
    }

    Term term;

private:
    static bool is_plain_name(Value v) { return is_symbol(v) || is_fixnum(v); }
};

static Value skip_clauses(Value clauses, const FirstArgument& first)
{
    while (clauses != nil && !first.may_match(car_of(clauses)))
        clauses = cdr_of(clauses);
    return clauses;
}

// ---- The proof

enum class Outcome { failed, proved, cut };

// The rest of a proof: what follows in a body, and what follows that. The last of the chain holds
// the query itself and marks the end.
struct Goals {
    Value list;
    Scope* scope;
    const Goals* rest;
};

// A clause about to be tried: patterns against terms that are read in the caller's scope.
struct Try {
    Value patterns;
    Value body;
    uint32_t count;
    Value terms;
    Scope* caller;
};

static Outcome solve(const Try* first, const Goals* rest);

// What must be put back before the next clause is tried.
struct ChoicePoint {
    void restore() const
    {
        undo_trail(trail);
        lisp_sp = stack;
    }
    uint32_t* const trail = prolog_sp;
    Value* const stack = lisp_sp;
};

// Tries all but the last of the clauses in tries of their own. failed: the last one is left in
// *next.
[[gnu::noinline]] static Outcome try_but_last(Value clauses, const FirstArgument& first, bool whole,
                                              Try* next, const Goals* rest)
{
    const ChoicePoint choice;
    for (;;) {
        const Value clause = car_of(clauses);
        next->patterns = whole ? cdr_of(clause) : clause_patterns(clause);
        next->body = clause_body(clause);
        next->count = function_flags(clause);
        clauses = cdr_of(clauses);
        if (!whole)
            clauses = skip_clauses(clauses, first);
        if (clauses == nil)
            return Outcome::failed;
        const Outcome outcome = solve(next, rest);
        if (outcome != Outcome::failed) {
            if (outcome == Outcome::cut)
                choice.restore();
            return outcome;
        }
        choice.restore();
    }
}

// The predicate that a goal's head names, or nil.
static inline Value goal_predicate(Value head)
{
    if (head.tag() == kTagPredicate)
        return head;
    if (!is_symbol(head))
        return nil;
    const Value v = self_object == root_class ? global_value(head) : symbol_value(head);
    return v.tag() == kTagPredicate ? v : nil;
}

static Value followed(Value v, Scope* scope, Scope** found)
{
    Term term(v, scope);
    term.follow();
    *found = term.scope;
    return term.is_unbound() ? nil : term.value;
}

// The predicate whose clauses (clause x) looks through, or nil.
static Value clause_goal_predicate(Value x, Scope* scope)
{
    x = followed(x, scope, &scope);
    if (!is_pair(x))
        return nil;
    const Value head = followed(car_of(x), scope, &scope);
    if (!is_pair(head))
        return nil;
    const Value name = followed(car_of(head), scope, &scope);
    return is_symbol(name) ? goal_predicate(name) : nil;
}

// The proof is complete: the query's variables get values that Lisp can read.
static void finish(const Goals* sentinel);

// Proves the rest, after the first clause if one is given. A cut that fails back goes to the
// nearest predicate call that is still open: in this loop once one was entered here (its failure is
// then that of the loop), else further out.
static Outcome solve(const Try* first, const Goals* rest)
{
    const ScopeGuard guard;
    Outcome failure = Outcome::failed;
    bool call_open = false;
    Try next;
    bool trying = first;
    if (first)
        next = *first;
    Value goals;
    Scope* scope = nullptr;
    for (;;) {
        if (trying) {
            ClauseScope* const own = static_cast<ClauseScope*>(alloca(sizeof(ClauseScope)));
            open_scope(own, next.count);
            if (!unify(next.patterns, own, next.terms, next.caller))
                return failure;
            goals = next.body;
            scope = own;
            trying = false;
        }
        if (!is_pair(goals)) {
            if (!rest->rest) {
                finish(rest);
                return Outcome::proved;
            }
            goals = rest->list;
            scope = rest->scope;
            rest = rest->rest;
        }
        check_stack();
        const Value goal = car_of(goals);
        goals = cdr_of(goals);
        const Value head = is_pair(goal) ? car_of(goal) : nil;
        if (head == symbol_cut) {
            if (!call_open)
                failure = Outcome::cut;
            continue;
        }
        const bool whole = head == symbol_clause;
        const Value x = whole && is_pair(cdr_of(goal)) ? car_of(cdr_of(goal)) : nil;
        const Value predicate = whole ? clause_goal_predicate(x, scope) : goal_predicate(head);
        if (predicate == nil) {
            const Value v = whole ? nil : eval_goal(goal, scope);
            if (is_end(v))
                return call_open ? failure : Outcome::cut;
            if (v == nil)
                return failure;
            continue;
        }
        next.terms = whole ? x : goal_terms(cdr_of(goal), scope);
        if (is_end(next.terms))
            return call_open ? failure : Outcome::cut;
        next.caller = scope;
        if (is_pair(goals)) {
            Goals* const later = static_cast<Goals*>(alloca(sizeof(Goals)));
            *later = { goals, scope, rest };
            rest = later;
        }
        const FirstArgument argument(next.terms, scope);
        const Value clauses = whole ? predicate : skip_clauses(predicate, argument);
        if (clauses == nil)
            return failure;
        const Outcome outcome = try_but_last(clauses, argument, whole, &next, rest);
        if (outcome == Outcome::proved)
            return outcome;
        if (outcome == Outcome::cut)
            return whole && !call_open ? Outcome::cut : failure;
        call_open |= !whole;
        trying = true;
    }
}

// ---- Queries

// The scope of a query, and what is put back when it ends: in failure and in a throw the bindings
// too.
struct QueryFrame : StackFrame {
    explicit QueryFrame(LambdaFrame* lambda)
        : scope{ lambda->locals, lambda->local_count, nil, newest_scope, lambda }
    {
        newest_scope = &scope;
        ++depth;
    }
    ~QueryFrame()
    {
        if (proved)
            prolog_sp = trail;
        else
            undo_trail(trail);
        close_scope();
        --depth;
    }

    Scope scope;
    uint32_t* const trail = prolog_sp;
    bool proved = false;
    static uint32_t depth;  // queries that are being proved
};

uint32_t QueryFrame::depth;

struct Sentinel : Goals {
    const QueryFrame* query;
};

static void finish(const Goals* rest)
{
    const Sentinel* const sentinel = static_cast<const Sentinel*>(rest);
    const QueryFrame* const query = sentinel->query;
    resolve_variables(cdr_of(sentinel->list), sentinel->scope);
    resolve_trailed(query->trail, query->stack_mark, &query->scope);
}

static Outcome run_query(Value goal, LambdaFrame* frame)
{
    QueryFrame query(frame);
    Sentinel sentinel{ { goal, &query.scope, nullptr }, &query };
    const Goals all = { cons(goal, nil), &query.scope, &sentinel };
    const Outcome outcome = solve(nullptr, &all);
    query.proved = outcome == Outcome::proved;
    return outcome;
}

Value prove(Value form, Value predicate, LambdaFrame* frame)
{
    // A head that is no symbol has been evaluated already, and stands as its value.
    const Value goal = is_symbol(car_of(form)) ? form : cons(predicate, cdr_of(form));
    const Outcome outcome = run_query(goal, frame);
    if (outcome == Outcome::cut && QueryFrame::depth > 0)
        throw CutClass();
    return boolean(outcome == Outcome::proved);
}

// A call from outside a form: the goal is made of the arguments, quoted.
static Value apply_predicate(Value predicate, const Value* args, Value)
{
    const Value quote = intern("quote");
    ListBuilder goal;
    goal.add(predicate);
    for (; !is_end(*args); ++args)
        goal.add(cons(quote, cons(*args, nil)));
    return prove(goal.list(), predicate, current_lambda());
}

void init_proof()
{
    symbol_cut = intern("cut");
    symbol_clause = intern("clause");
    hooks.prove = prove;
    hooks.resolve_term = resolve_term;
    hooks.apply_predicate = apply_predicate;
}
