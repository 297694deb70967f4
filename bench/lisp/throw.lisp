(define (run) (repeat 300000 (catch 'tag (throw 'tag 1))))
(run)
