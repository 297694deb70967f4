// Random small programs, by the engine and by a plain prover that copies its terms.
#include <gtest/gtest.h>

#include "kernel/collector.h"
#include "lisp.h"
#include "prolog_model.h"

namespace {

// Predicates call only those behind them, so every proof ends.
const char* const kNames[] = { "pa", "pb", "pc", "pd" };
constexpr int kNameCount = 4;
constexpr int kArguments = 2;

class Programs {
public:
    explicit Programs(uint32_t seed) : random_(seed) {}

    TermPtr term(const char* variables, int depth)
    {
        if (random_.once_in(3)) {
            const char name[] = { '_', variables[random_.below(3)], 0 };
            return make_var(name);
        }
        if (depth > 0 && random_.below(5) < 2) {
            TermPtr list = random_.once_in(3) ? term(variables, 0) : make_atom("()");
            for (uint32_t n = 1 + random_.below(2); n > 0; --n)
                list = make_pair_term(term(variables, depth - 1), list);
            return list;
        }
        static const char* const atoms[] = { "a", "b", "1", "2", "()" };
        return make_atom(atoms[random_.below(5)]);
    }

    TermPtr call(int name, const char* variables)
    {
        TermPtr list = make_atom("()");
        for (int i = 0; i < kArguments; ++i)
            list = make_pair_term(term(variables, 2), list);
        return make_pair_term(make_atom(kNames[name]), list);
    }

    TermPtr unary(const char* name, TermPtr argument)
    {
        const TermPtr list = make_pair_term(std::move(argument), make_atom("()"));
        return make_pair_term(make_atom(name), list);
    }

    TermPtr goal(int of)
    {
        const uint32_t kind = random_.below(14);
        if (kind == 0)
            return unary("begin", make_atom("t"));
        if (kind == 1)
            return unary("begin", make_atom("nil"));
        if (kind <= 3)
            return make_pair_term(make_atom("cut"), make_atom("()"));
        if (kind == 4)
            return unary("free", make_var("_x"));
        const int callee = of + 1 + static_cast<int>(random_.below(
                                        static_cast<uint32_t>(kNameCount - of - 1)));
        if (kind >= 5 && kind <= 7)
            return unary("clause", make_pair_term(call(callee, "xyz"), make_var("_w")));
        return call(callee, "xyz");
    }

    // The same call with another last argument, so that two tries of a clause meet in a variable.
    TermPtr like(const TermPtr& goal)
    {
        if (goal->car->text[0] != 'p')
            return goal;
        const TermPtr last = make_pair_term(term("xyz", 1), make_atom("()"));
        return make_pair_term(goal->car, make_pair_term(goal->cdr->car, last));
    }

    Rule rule(int of)
    {
        Rule made;
        made.head = call(of, "xyz");
        if (of + 1 < kNameCount)
            for (uint32_t n = random_.below(4); n > 0; --n) {
                made.body.push_back(goal(of));
                if (random_.once_in(3))
                    made.body.push_back(like(made.body.back()));
            }
        return made;
    }

    Random random_;
};

// Arguments of calls are evaluated: what stands for itself is quoted.
std::string quoted_call(const TermPtr& goal)
{
    std::string text = "(" + goal->car->text;
    for (TermPtr rest = goal->cdr; rest->kind == Term::pair; rest = rest->cdr)
        text += (rest->car->kind == Term::variable ? " " : " '") + show(rest->car);
    return text + ")";
}

std::string goal_text(const TermPtr& goal)
{
    const std::string& name = goal->car->text;
    const bool calls = name != "begin" && name != "cut" && name != "free" && name != "clause";
    return calls ? quoted_call(goal) : show(goal);
}

std::string rule_text(const Rule& rule)
{
    std::string text = "(defclause " + show(rule.head);
    for (const TermPtr& goal : rule.body)
        text += " " + goal_text(goal);
    return text + ")\r";
}

const char kQuery[] = "(let () (list (if %s 'yes 'no) (if (free _x) 'free _x) "
                      "(if (free _y) 'free _y) (if (free _z) 'free _z)))";

void check_program(uint32_t seed, int* proved)
{
    Programs programs(seed);
    Prover model;
    std::string text;
    for (int name = 0; name < kNameCount; ++name) {
        text += std::string("(set! ") + kNames[name] + " nil)\r";
        model.rules[kNames[name]] = {};
        for (uint32_t n = 1 + programs.random_.below(3); n > 0; --n) {
            const Rule rule = programs.rule(name);
            model.rules[kNames[name]].push_back(rule);
            text += rule_text(rule);
        }
    }
    const TermPtr query = programs.call(0, "xyz");
    const bool holds = model.prove(query);
    if (model.endless || model.tired)
        return;
    *proved += holds;
    std::string wanted = holds ? "(yes" : "(no";
    for (const char* variable : { "_x", "_y", "_z" })
        wanted += " " + (holds ? model.value_of(variable) : std::string("free"));
    char form[1024];
    snprintf(form, sizeof form, kQuery, quoted_call(query).c_str());
    EXPECT_EQ(evaluate(text + form), wanted + ")") << "seed " << seed << "\n" << text << form;
}

}

TEST(proofs, agree_with_a_prover_that_copies_terms)
{
    run_interpreter(small_sizes(), [] {
        int proved = 0;
        for (uint32_t seed = 1; seed <= 6000 && !testing::Test::HasFailure(); ++seed)
            check_program(seed, &proved);
        EXPECT_GT(proved, 1000);
        EXPECT_EQ(prolog_sp, spaces.prolog_top);
        EXPECT_STREQ(verify_heap(), nullptr);
        return 0;
    });
}
