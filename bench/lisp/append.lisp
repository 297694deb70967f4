(define (iota _n) (let ((_l nil)) (repeat _n (set! _l (cons 1 _l))) _l))
(define live (iota 200000))
(define (run) (let ((_l (iota 1000)) (_e '(1))) (repeat 12000 (append _l _e))))
(run)
