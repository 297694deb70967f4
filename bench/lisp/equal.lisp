; flat lists of 100,000, and lists of lists
(define numbers (for-collect 1 100000 (lambda (_i) _i)))
(define again (copy-list numbers))
(define nested (map (lambda (_i) (list _i (list _i "text") _i)) (subseq numbers 0 10000)))
(define nested-again (copy-tree nested))
(repeat 400 (equal? numbers again))
(repeat 400 (equal? nested nested-again))
