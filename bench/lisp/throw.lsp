(define (run) (dotimes (i 300000) (catch (throw 1))))
(run)
(exit)
