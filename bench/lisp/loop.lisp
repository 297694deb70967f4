(define (count-up _limit) (let ((_n 0)) (while (< _n _limit) (set! _n (+ _n 1))) _n))
(count-up 8000000)
