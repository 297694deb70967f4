// The logic engine: clauses kept under a symbol, a depth-first proof of a query form, and the
// matching of Lisp data against source text.
#pragma once

#include "kernel/errors.h"
#include "kernel/frames.h"

// What a cut throws when no predicate call of its own proof can take it: it goes on through the
// Lisp frames to the nearest predicate call of the proof around them.
struct CutClass : NonLocalExit {};

// Proves form, a call of predicate, with the locals of frame as the query's variables: t with the
// variables bound to what the first solution gives them, or nil.
Value prove(Value form, Value predicate, LambdaFrame* frame);

// A term copied out of its frames: what a reference cell stands for. Unbound variables in it become
// no_value. Error 2 when one of its frames is gone, a text error for a term that contains itself.
Value resolve_term(Value cell);

void init_logic();         // clauses and proofs
void init_proof();         // by init_logic
void init_text_matcher();  // search-symbolic and its kin
