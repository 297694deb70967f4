; two million directives in mixed lines
(define (lines _n)
  (let ((_i 0))
    (while (< _i _n)
      (format t "~a: ~8@a ~,2f ~x ~[no~;yes~]~%" "name" _i 1.5 255 1)
      (set! _i (+ _i 1)))))
(lines 333333)
