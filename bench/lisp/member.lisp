; the last of 100,000, as a number and as a string
(define numbers (for-collect 1 100000 (lambda (_i) _i)))
(define texts (map (lambda (_i) (string-append "n" _i)) (subseq numbers 0 10000)))
(repeat 400 (member 100000 numbers))
(repeat 400 (member "n10000" texts))
