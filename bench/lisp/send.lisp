; 4 million sends of a method that changes a slot
(define counter (new-class 'counter))
(counter (defslot count :default 0))
(counter (define (up) (set! count (+ count 1))))
(define other (new-class 'other))
(other (define (up) nil))
(define c (make-instance counter))
(define (run _n) (repeat _n (send c up)))
(run 4000000)
