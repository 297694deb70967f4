; fib 30 as a method: each name is looked up through the object
(define numbers (new-class 'numbers))
(numbers (define (fibonacci _n)
    (if (< _n 2) _n (+ (fibonacci (- _n 1)) (fibonacci (- _n 2))))))
(send (make-instance numbers) fibonacci 30)
