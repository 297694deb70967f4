; 10,000 integers by a lambda
(define numbers (for-collect 1 10000 (lambda (_i) (remainder (* _i 7919) 10007))))
(repeat 30 (sort numbers (lambda (_a _b) (< _a _b))))
