% Naive reverse of 30 elements: 496 inferences a round.
app([], L, L).
app([H|T], L, [H|R]) :- app(T, L, R).
nrev([], []).
nrev([H|T], R) :- nrev(T, RT), app(RT, [H], R).
run(0) :- !.
run(N) :-
    \+ \+ nrev([1,2,3,4,5,6,7,8,9,10,11,12,13,14,15,16,17,18,19,20,21,22,23,24,25,26,27,28,29,30], _),
    M is N - 1, run(M).
main :- run(40000).
:- initialization(main).
