; a value for each of ten symbols, read and written
(define h (new-hash))
(define names '(a b c d e f g h i j))
(define (count _n)
  (repeat _n
    (for-each (lambda (_k) (hash-set! h _k (+ (hash-ref h _k 0) 1))) names)))
(count 200000)
