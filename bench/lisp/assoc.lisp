; the last of 10,000 entries, by number and by list
(define numbers (for-collect 1 10000 (lambda (_i) _i)))
(define by-number (map (lambda (_i) (cons _i _i)) numbers))
(define by-list (map (lambda (_i) (cons (list 'key _i) _i)) numbers))
(repeat 3000 (assoc 10000 by-number))
(repeat 600 (assoc '(key 10000) by-list))
