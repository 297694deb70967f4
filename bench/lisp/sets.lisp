; lists of 300 as sets
(define a (for-collect 1 300 (lambda (_i) _i)))
(define b (for-collect 150 450 (lambda (_i) _i)))
(repeat 200 (intersection a b) (difference a b) (union a b))
