; The console of an application that has no windows: standard input and output.

(define terminal-in (cons terminal-getc (null-ptr)))
(define terminal-out (cons terminal-putc (null-ptr)))

(define InQuit? nil)

; Events are pumped where there is a window layer; processes have their turn in any case.
(define (run-once)
  (when (bound? 'process-events) (process-events nil))
  (give-time))

; Reads, evaluates and prints, until the input ends. An error comes back to the prompt.
(define (read-eval-print)
  (let ((_form nil) (_value nil))
    (while (not (terminal-ended?))
      (catch 'toplevel
        (set! _form (read nil))
        (set! _value (eval _form))
        (when (bound? '_value) (display _value)))
      (run-once)
      (when (terminal-interactive?) (prin "kalvex> ") (terminal-flush)))))

; The application may have a loop of its own: a method `run` of Appl. Then comes the console.
(define (toplevel-loop)
  (when (terminal-interactive?) (prin "kalvex> ") (terminal-flush))
  (read-eval-print)
  (quit))
