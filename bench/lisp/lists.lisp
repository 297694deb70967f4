; copying, turning, measuring, removing in lists of 1,000
(define numbers (for-collect 1 1000 (lambda (_i) _i)))
(repeat 10000
    (reverse numbers)
    (copy-list numbers)
    (length numbers)
    (last numbers)
    (list-ref numbers 900)
    (remove 500 numbers))
