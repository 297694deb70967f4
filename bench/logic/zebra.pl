% Five houses: who keeps the zebra?
% A house is [nation, colour, pet, drink, smoke].
mem(X, [X|_]).
mem(X, [_|T]) :- mem(X, T).
right(A, B, [B,A|_]).
right(A, B, [_|T]) :- right(A, B, T).
next(A, B, L) :- right(A, B, L).
next(A, B, L) :- right(B, A, L).
zebra(Owner) :-
    Hs = [[norwegian,_,_,_,_],[_,_,_,_,_],[_,_,_,milk,_],[_,_,_,_,_],[_,_,_,_,_]],
    mem([english,red,_,_,_], Hs),
    mem([spanish,_,dog,_,_], Hs),
    mem([_,green,_,coffee,_], Hs),
    mem([ukrainian,_,_,tea,_], Hs),
    right([_,green,_,_,_], [_,ivory,_,_,_], Hs),
    mem([_,_,snails,_,winston], Hs),
    mem([_,yellow,_,_,kools], Hs),
    next([_,_,_,_,chesterfield], [_,_,fox,_,_], Hs),
    next([_,_,_,_,kools], [_,_,horse,_,_], Hs),
    mem([_,_,_,juice,lucky], Hs),
    mem([japanese,_,_,_,parliament], Hs),
    next([norwegian,_,_,_,_], [_,blue,_,_,_], Hs),
    mem([Owner,_,zebra,_,_], Hs).
run(0) :- !.
run(N) :- \+ \+ zebra(_), M is N - 1, run(M).
main :- run(400), zebra(Owner), !, write(Owner), nl.
:- initialization(main).
