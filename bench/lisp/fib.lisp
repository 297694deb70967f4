(define (fib _n) (if (< _n 2) _n (+ (fib (- _n 1)) (fib (- _n 2)))))
(fib 32)
