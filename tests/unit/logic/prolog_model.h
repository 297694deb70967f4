// A plain prover to hold the engine against: it copies each clause it tries, binds through one
// table, and takes back every binding. Its cut is an exception, thrown when what follows it has
// failed and caught by the innermost predicate call that is still active.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

struct Term;
using TermPtr = std::shared_ptr<const Term>;

struct Term {
    enum Kind { atom, variable, pair } kind;
    std::string text;  // of an atom, or a variable's name; "()" ends a list
    TermPtr car, cdr;
};

TermPtr make_atom(const std::string& text);
TermPtr make_var(const std::string& name);
TermPtr make_pair_term(TermPtr car, TermPtr cdr);

// As Lisp reads it.
std::string show(const TermPtr& term);

// A goal is a list term: (name arg...), (cut), (clause x), (begin t), (begin nil) or (free _x). The
// arguments of a call hold what their evaluation leaves.
struct Rule {
    TermPtr head;
    std::vector<TermPtr> body;
};

class Prover {
public:
    // Newest rule last, as they are defined.
    std::map<std::string, std::vector<Rule>> rules;

    // Whether the goal holds; then bindings has what its variables came to be.
    bool prove(const TermPtr& goal);
    // The printed value of a query's variable, "free" when it has none.
    std::string value_of(const std::string& variable) const;

    bool endless = false;  // a term that contains itself came up: the answer means nothing
    bool tired = false;    // more steps than a test should take

private:
    struct CutThrown {};
    struct Rest;
    using RestPtr = std::shared_ptr<const Rest>;
    struct Rest {
        TermPtr goal;
        RestPtr next;
    };

    TermPtr walk(TermPtr term) const;
    bool unify(TermPtr a, TermPtr b);
    bool contains(const TermPtr& term, const std::string& variable) const;
    bool solve(const RestPtr& rest);
    bool try_rule(const Rule& rule, const TermPtr& terms, bool whole, const RestPtr& rest);
    bool clause_goal(const TermPtr& x, const RestPtr& rest);
    void undo(size_t mark);
    std::string resolved(const TermPtr& term) const;

    std::map<std::string, TermPtr> bindings_;
    std::vector<std::string> trail_;
    int renamed_ = 0;
    int steps_ = 0;
};
