; A tour of what the run-time does. It runs by itself when the default Image file boots, and ends;
; at a terminal the console stays open behind it.

(define (headline _text) (new-line) (princ _text))
(define (show-value _what _value) (prin "  ") (prin _what) (prin "  =>  ") (display _value))

; Shows a form and its value.
(define show-form
  (syntax (_form)
    (begin
      (prin "  ") (displ (car _form)) (prin "  =>  ") (display (eval (car _form))) (void))))

; ---- Functions, numbers, text

(define (factorial _n) (if (< _n 2) 1 (* _n (factorial (- _n 1)))))
(define (compose _f _g) (gamma (_x) (_f _g) (_f (_g _x))))

(define (tour-language)
  (headline "Functions, lists, numbers, text")
  (show-form (factorial 10))
  (show-form (/ 10 4.0))
  (show-form (map (lambda (_x) (* _x _x)) '(1 2 3 4)))
  (show-form ((compose car cdr) '(a b c)))
  (show-form (sort '(31 4 15 9 26) <))
  (show-form `(two and two are ,(+ 2 2) ,@(list 'not 5)))
  (show-form (string-append "one" ", " "two"))
  (show-form
    (catch 'found (for-each (lambda (_x) (when (even? _x) (throw 'found _x))) '(7 5 8 3)))))

; ---- Classes

(define-class account (obj-root)
  (defslot owner)
  (defslot balance :default 0)
  (defslot frozen? :type boolean :default nil)
  (define (deposit _amount) (set! balance (+ balance _amount)))
  (define (withdraw _amount)
    (if (allowed? _amount) (set! balance (- balance _amount)) 'refused))
  (define (allowed? _amount) (and (not frozen?) (<= _amount balance))))

(define-class credit-account (account)
  (defslot limit :default 100)
  (define (allowed? _amount) (<= _amount (+ balance limit))))

(define Anne nil)
(define Boris nil)

(define (tour-classes)
  (headline "Classes: slots are variables of the object that is current")
  (set! Anne (new account :owner "Anne" :balance 50))
  (set! Boris (new credit-account :owner "Boris"))
  (show-form Anne)
  (show-form (send Anne withdraw 80))
  (show-form (send Boris withdraw 80))
  (show-form (Boris (deposit 30) (list owner balance)))
  (show-form (map class-name (genealogy credit-account))))

; ---- Logic: an expert who tells animals by what is seen of them

(defclause (animal _facts penguin) (bird _facts) (seen _facts 'swims) (not (seen _facts 'flies)))
(defclause (animal _facts albatross) (bird _facts) (seen _facts 'flies) (seen _facts 'lives-at-sea))
(defclause (animal _facts tiger)
  (mammal _facts) (seen _facts 'eats-meat) (seen _facts 'has-stripes))
(defclause (animal _facts zebra)
  (mammal _facts) (seen _facts 'has-hooves) (seen _facts 'has-stripes))
(defclause (bird _facts) (seen _facts 'has-feathers))
(defclause (bird _facts) (seen _facts 'flies) (seen _facts 'lays-eggs))
(defclause (mammal _facts) (seen _facts 'has-hair))
(defclause (mammal _facts) (seen _facts 'gives-milk))
(define (seen _facts _fact) (memq _fact _facts))

(define (which-animal _facts)
  (let ((_answer))
    (if (animal _facts _answer) _answer 'unknown)))

(defclause (joined () _ys _ys))
(defclause (joined (_x . _xs) _ys (_x . _zs)) (joined _xs _ys _zs))

(define (tour-logic)
  (headline "Logic: clauses are proved, the variables hold the answer")
  (show-form (which-animal '(has-feathers swims)))
  (show-form (which-animal '(lays-eggs flies lives-at-sea)))
  (show-form (which-animal '(gives-milk has-hooves has-stripes)))
  (show-form (which-animal '(has-wheels)))
  (show-form (let ((_rest)) (joined '(1 2) _rest '(1 2 3 4)) _rest)))

; ---- Processes

(define ticks-seen 0)
(define (tour-processes)
  (headline "Processes: functions that run when their time has come")
  (run-process (new-process (lambda () (set! ticks-seen (+ ticks-seen 1))) 'counter 3 nil nil nil))
  (run-process (new-clock-process
    (lambda () (princ "  the clock starts"))
    (lambda (_elapsed) (prin "  ") (prin _elapsed) (princ " ticks have passed"))
    (lambda () (princ "  the clock ends"))
    'clock 0 12 6 nil))
  (while (find-process 'clock) (give-time))
  (kill-process 'counter)
  (show-value "runs of the counter, one every 3 ticks" ticks-seen))

; ---- Errors

(define (careless _x) (+ 1 (car _x)))
(define (tour-errors)
  (headline "Errors are worded in the language of the user, and the next form runs")
  (for-each
    (lambda (_language)
      (set! Langage _language)
      (prin "  ")
      (catch 'toplevel (careless 7)))
    '(en fr es))
  (set! Langage 'en))

; ---- Memory

(define (tour-memory)
  (headline "Memory: nodes and blocks are collected and compacted")
  (let ((_before (list-ref (free-space-subr) 3)) (_after))
    (repeat 50000 (list 1 2 3))
    (recycle nil)
    (set! _after (list-ref (free-space-subr) 3))
    (show-value "nodes lost by making 150,000" (max 0 (- _before _after)))))

(define (tour)
  (tour-language) (tour-classes) (tour-logic) (tour-processes) (tour-errors) (tour-memory)
  (new-line))

(define-class tour-application (obj-root)
  (define (start-appl) (tour))
  (define (open-file _path _type) (show-value "a file to open" _path))
  (define (open-folder _path) (show-value "a folder to open" _path)))

(define Appl (new tour-application))
