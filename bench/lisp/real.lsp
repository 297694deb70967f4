(define (run l)
  (let (n 0 x 0.5) (while (< n l) (set 'x (add x 1.5)) (set 'n (+ n 1))) x))
(run 4000000)
(exit)
