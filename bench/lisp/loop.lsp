(define (count-up l) (let (n 0) (while (< n l) (set 'n (+ n 1))) n))
(count-up 8000000)
(exit)
