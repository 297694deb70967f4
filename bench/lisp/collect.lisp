; 200 collections of 1,000,000 nodes, 400,000 of them live
(define live (let ((_l nil)) (repeat 200000 (set! _l (cons (cons 1 2) _l))) _l))
(repeat 590000 (cons 1 2))
(repeat 200 (recycle))
