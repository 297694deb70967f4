% The first solution of the eight queens, by permutation with a test at each queen.
sel(X, [X|T], T).
sel(X, [H|T], [H|R]) :- sel(X, T, R).
safe(_, _, []).
safe(Q, D, [P|Ps]) :- P - Q =\= D, Q - P =\= D, D1 is D + 1, safe(Q, D1, Ps).
place([], All, All).
place(Free, Placed, All) :-
    Free = [_|_], sel(Q, Free, Left), safe(Q, 1, Placed), place(Left, [Q|Placed], All).
queens(All) :- place([1,2,3,4,5,6,7,8], [], All).
run(0) :- !.
run(N) :- \+ \+ queens(_), M is N - 1, run(M).
main :- run(1000), queens(All), !, write(All), nl.
:- initialization(main).
