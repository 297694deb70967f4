; Classes are written with define-class, objects made with new. What an object does when it is made
; is its `initialize`: plain objects take their slots from the creation arguments, those that are
; built from configurations go through the steps that their native side asks for.

; (define-class name (parent...) form...): the forms, defslot and define, run inside the new class.
(define define-class
  (syntax (_form)
    (let ((_class (apply new-class (cons (car _form) (map eval (cadr _form))))))
      (eval (list 'define (car _form) (list 'quote _class)))
      (eval (cons (list 'quote _class) (cddr _form)))
      (car _form))))

(define define-mixin
  (syntax (_form)
    (let ((_class (apply new-mixin (cons (car _form) (map eval (cadr _form))))))
      (eval (list 'define (car _form) (list 'quote _class)))
      (eval (cons (list 'quote _class) (cddr _form)))
      (car _form))))

; (new class :key value ...): an object, initialized with the arguments.
(define (new _class . _arguments)
  (let ((_object (make-instance _class)))
    (_object (initialize _arguments))
    _object))

(obj-root
  ; Each argument goes to the slot of its name; one that names no slot is error 2.
  (define (initialize _arguments)
    (while (pair? _arguments)
      (let ((_slot (keyword->symbol (car _arguments))))
        (if (slot-exists? _slot) (set _slot (cadr _arguments)) (test (slot-exists? _slot)))
        (set! _arguments (cddr _arguments)))))
  ; What an object says of itself when it is printed.
  (define (print-self)
    (string-append "#<" (symbol->string (class-name (object-class (self)))) ">")))

; ---- Objects made from configurations

(define config-creator nil)
(define config-parent-creator nil)
(define standard-name nil)
(define Named-Objects nil)   ; association list (name . object) of the open ones

(obj-persistence
  (defslot name :default nil)
  (defslot configuration :default nil)
  (defslot parent :default nil)
  (defslot page-parent :default nil)
  (defslot owners-inited? :type boolean :default nil)
  (defslot inherit-configuration? :default t)

  (define (initialize _arguments)
    (link-object)
    (setup-name _arguments)
    (setup-constructor _arguments)
    (initialize-setable-slots)
    (open)
    (remember-object)
    (initialize-writable-slots))

  (define (close)
    (forget-object)
    (close-link))

  (define (remember-object)
    (when name (set! Named-Objects (cons (cons name (self)) Named-Objects))))
  (define (forget-object)
    (let ((_entry (assq name Named-Objects)))
      (when _entry (set! Named-Objects (remove! _entry Named-Objects)))))

  ; The configurations below one that is used for the first time learn whom they belong to.
  (define (init-owners _configuration _owner)
    (set-owners (config-children _configuration) _owner)
    (set-owners (config-pages _configuration) _owner)
    (set! owners-inited? t)))

(define (set-owners _configurations _owner)
  (while (pair? _configurations)
    (let ((_header (config-header (car _configurations))))
      (when (and (pair? _header) (pair? (cddr _header))) (set-car! (cddr _header) _owner))
      (set! _configurations (cdr _configurations)))))

; The pages of an application. A child asks its page for the configurations that hold its own.
(define obj-page (new-class 'obj-page obj-interface))
(obj-page
  (defslot page-number :default 0 :initialize? t)
  (define (find-page-constructor _page) (cons (self) (get-constructor))))

; What a linked slot refers to: an object stands for itself, a name for the open object that bears
; it, or else for the object that is its value.
(define (find-link _reference _slot)
  (let ((_entry (assq _reference Named-Objects)))
    (cond ((object? _reference) _reference)
          (_entry (cdr _entry))
          ((and (symbol? _reference) (bound? _reference)) (symbol->value _reference))
          (else nil))))

(define (resolve-string _reference)
  (if (string? _reference) _reference (if (null? _reference) "" (string _reference))))

; A class was defined anew: the open objects of the old class of that name are made again.
(define (update-classes _class)
  (for-each
    (lambda (_entry)
      (let ((_object (cdr _entry)))
        (when (and (eq? (class-name (object-class _object)) (class-name _class))
                   (neq? (object-class _object) _class))
          (_object (close))
          (set-cdr! _entry (new _class :name (car _entry))))))
    (copy-list Named-Objects)))
