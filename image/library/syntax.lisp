; Notation: back-quote for templates, and the form that macros are defined with.

; `(a ,b ,@c) reads as (quasiquote a (unquote b) (unquote-splicing c)); of what is no list, `x is 'x
; and `,x is x.
(dmc #\`
  (let ((_form (read t)))
    (cond ((and (pair? _form) (eq? (car _form) 'unquote)) (cadr _form))
          ((pair? _form) (cons 'quasiquote _form))
          (else (list 'quote _form)))))

; ,@ is read as a comma with a symbol that begins with "@", since "@" may stand in names.
(dmc #\,
  (let ((_form (read t)) (_name nil))
    (if (symbol? _form) (set! _name (symbol->string _form)) (set! _name ""))
    (cond ((string=? _name "@") (list 'unquote-splicing (read t)))
          ((and (not (string=? _name "")) (= (string-ref _name 0) 64))
           (list 'unquote-splicing (string->symbol (substring _name 1 nil))))
          (else (list 'unquote _form)))))

; (define-macro (name . params) body...): name's operands are bound unevaluated to params, as `bind`
; binds them, and the form that body answers is evaluated in the caller's place, with the caller's
; variables; it can bring no new variables of its own. The syntax form is put together by hand, since
; one that stands in a template is compiled where it stands.
(define define-macro
  (syntax (_form)
    (let ((_name (caar _form)) (_params (cdar _form)) (_body (cdr _form)))
      (eval (list 'define _name
                  (list 'syntax '(_operands _caller)
                        (list 'eval-in (append (list 'bind _params '_operands) _body) '_caller))))
      _name)))
