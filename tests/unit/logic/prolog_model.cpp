#include "prolog_model.h"

TermPtr make_atom(const std::string& text)
{
    return std::make_shared<Term>(Term{ Term::atom, text, nullptr, nullptr });
}

TermPtr make_var(const std::string& name)
{
    return std::make_shared<Term>(Term{ Term::variable, name, nullptr, nullptr });
}

TermPtr make_pair_term(TermPtr car, TermPtr cdr)
{
    return std::make_shared<Term>(Term{ Term::pair, "", std::move(car), std::move(cdr) });
}

std::string show(const TermPtr& term)
{
    if (term->kind != Term::pair)
        return term->text;
    std::string text = "(" + show(term->car);
    TermPtr rest = term->cdr;
    for (; rest->kind == Term::pair; rest = rest->cdr)
        text += " " + show(rest->car);
    if (rest->text != "()")
        text += " . " + rest->text;
    return text + ")";
}

TermPtr Prover::walk(TermPtr term) const
{
    while (term->kind == Term::variable) {
        const auto found = bindings_.find(term->text);
        if (found == bindings_.end())
            break;
        term = found->second;
    }
    return term;
}

bool Prover::contains(const TermPtr& term, const std::string& variable) const
{
    const TermPtr t = walk(term);
    if (t->kind == Term::pair)
        return contains(t->car, variable) || contains(t->cdr, variable);
    return t->kind == Term::variable && t->text == variable;
}

bool Prover::unify(TermPtr a, TermPtr b)
{
    a = walk(a);
    b = walk(b);
    if (a->kind == Term::variable && b->kind == Term::variable && a->text == b->text)
        return true;
    if (a->kind == Term::variable)
        std::swap(a, b);
    if (b->kind == Term::variable) {
        if (contains(a, b->text)) {
            endless = true;
            return false;
        }
        bindings_[b->text] = a;
        trail_.push_back(b->text);
        return true;
    }
    if (a->kind == Term::pair && b->kind == Term::pair)
        return unify(a->car, b->car) && unify(a->cdr, b->cdr);
    return a->kind == b->kind && a->text == b->text;
}

void Prover::undo(size_t mark)
{
    for (; trail_.size() > mark; trail_.pop_back())
        bindings_.erase(trail_.back());
}

static TermPtr renamed(const TermPtr& term, const std::string& suffix)
{
    switch (term->kind) {
    case Term::variable:
        return make_var(term->text + suffix);
    case Term::pair:
        return make_pair_term(renamed(term->car, suffix), renamed(term->cdr, suffix));
    default:
        return term;
    }
}

// whole: the terms are the rule itself, ((name pattern...) goal...).
bool Prover::try_rule(const Rule& rule, const TermPtr& terms, bool whole, const RestPtr& rest)
{
    const std::string suffix = "/" + std::to_string(++renamed_);
    const size_t mark = trail_.size();
    std::vector<TermPtr> body;
    for (const TermPtr& goal : rule.body)
        body.push_back(renamed(goal, suffix));
    TermPtr pattern = renamed(rule.head, suffix);
    if (whole) {
        TermPtr list = make_atom("()");
        for (size_t i = body.size(); i-- > 0;)
            list = make_pair_term(body[i], list);
        pattern = make_pair_term(pattern, list);
    } else {
        pattern = pattern->cdr;
    }
    RestPtr goals = rest;
    for (size_t i = body.size(); i-- > 0;)
        goals = std::make_shared<Rest>(Rest{ body[i], goals });
    try {
        if (unify(pattern, terms) && solve(goals))
            return true;
    } catch (const CutThrown&) {
        undo(mark);
        throw;
    }
    undo(mark);
    return false;
}

bool Prover::clause_goal(const TermPtr& x, const RestPtr& rest)
{
    const TermPtr term = walk(x);
    const TermPtr head = term->kind == Term::pair ? walk(term->car) : term;
    const TermPtr name = head->kind == Term::pair ? walk(head->car) : head;
    if (term->kind != Term::pair || head->kind != Term::pair || !rules.contains(name->text))
        return false;
    const std::vector<Rule>& tried = rules[name->text];
    for (size_t i = tried.size(); i-- > 0;)
        if (try_rule(tried[i], term, true, rest))
            return true;
    return false;
}

bool Prover::solve(const RestPtr& rest)
{
    if (!rest)
        return true;
    if (endless || tired || ++steps_ > 3000) {
        tired = !endless;
        return false;
    }
    const TermPtr goal = rest->goal;
    const std::string name = goal->car->text;
    if (name == "cut") {
        if (solve(rest->next))
            return true;
        throw CutThrown();
    }
    if (name == "clause")
        return clause_goal(goal->cdr->car, rest->next);
    if (name == "begin")
        return goal->cdr->car->text == "t" && solve(rest->next);
    if (name == "free")
        return walk(goal->cdr->car)->kind == Term::variable && solve(rest->next);
    const std::vector<Rule>& tried = rules[name];
    try {
        for (size_t i = tried.size(); i-- > 0;)
            if (try_rule(tried[i], goal->cdr, false, rest->next))
                return true;
    } catch (const CutThrown&) {
    }
    return false;
}

bool Prover::prove(const TermPtr& goal)
{
    try {
        return solve(std::make_shared<Rest>(Rest{ goal, nullptr }));
    } catch (const CutThrown&) {
        return false;
    }
}

std::string Prover::resolved(const TermPtr& term) const
{
    const TermPtr t = walk(term);
    if (t->kind == Term::variable)
        return "<no-value>";
    if (t->kind == Term::atom)
        return t->text;
    std::string text = "(" + resolved(t->car);
    TermPtr rest = walk(t->cdr);
    for (; rest->kind == Term::pair; rest = walk(rest->cdr))
        text += " " + resolved(rest->car);
    if (rest->kind == Term::variable)
        text += " . <no-value>";
    else if (rest->text != "()")
        text += " . " + rest->text;
    return text + ")";
}

std::string Prover::value_of(const std::string& variable) const
{
    const TermPtr t = walk(make_var(variable));
    return t->kind == Term::variable ? "free" : resolved(t);
}
