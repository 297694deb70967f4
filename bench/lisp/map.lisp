(define (iota _n) (let ((_l nil)) (repeat _n (set! _l (cons 1 _l))) _l))
(define (run)
    (let ((_l (iota 1000)))
        (repeat 2000
            (for-each (lambda (_x) (+ _x 1)) _l)
            (map (lambda (_x) (+ _x 1)) _l))))
(run)
