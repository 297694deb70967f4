; The wording of errors. The run-time has numbers only: its report goes to the object in
; Error-Handler as error-trap, which words it in the language that Langage names and prints it.

(define Langage 'en)

(define Error-Wordings '(
  (0  en "error"
      fr "erreur"
      es "error")
  (2  en "wrong type or value"
      fr "type ou valeur incorrecte"
      es "tipo o valor incorrecto")
  (5  en "this cannot be called"
      fr "ceci ne peut pas être appelé"
      es "esto no se puede llamar")
  (6  en "this has no value"
      fr "ceci n'a pas de valeur"
      es "esto no tiene valor")
  (9  en "there is not enough memory for a new object"
      fr "il n'y a pas assez de mémoire pour un nouvel objet"
      es "no hay memoria suficiente para un nuevo objeto")
  (17 en "nothing catches this throw"
      fr "rien n'attrape ce lancer"
      es "nada captura este lanzamiento")
  (25 en "the text ends inside a form, or a closing bracket is too many"
      fr "le texte finit dans une expression, ou il y a une parenthèse de trop"
      es "el texto acaba dentro de una expresión, o sobra un paréntesis")
  (31 en "the file was not found"
      fr "le fichier est introuvable"
      es "no se encontró el fichero")
  (32 en "too many files are open"
      fr "trop de fichiers sont ouverts"
      es "hay demasiados ficheros abiertos")
  (33 en "access to the file is denied"
      fr "l'accès au fichier est refusé"
      es "se deniega el acceso al fichero")
  (36 en "the file system failed"
      fr "le système de fichiers a échoué"
      es "falló el sistema de ficheros")
  (38 en "the file is not open"
      fr "le fichier n'est pas ouvert"
      es "el fichero no está abierto")
  (42 en "there is nothing to compare"
      fr "il n'y a rien à comparer"
      es "no hay nada que comparar")
  (45 en "the disk cannot be read or written"
      fr "le disque ne peut être ni lu ni écrit"
      es "no se puede leer o escribir el disco")
  (46 en "the disk is full"
      fr "le disque est plein"
      es "el disco está lleno")
  (47 en "this does not exist on this platform"
      fr "ceci n'existe pas sur cette plate-forme"
      es "esto no existe en esta plataforma")
  (56 en "the class has its layout already: no slot can be added"
      fr "la classe est déjà disposée : aucun attribut ne peut être ajouté"
      es "la clase ya está dispuesta: no se puede añadir ningún atributo")
  (57 en "the class has its layout already: this cannot be changed"
      fr "la classe est déjà disposée : ceci ne peut être changé"
      es "la clase ya está dispuesta: esto no se puede cambiar")
  (58 en "division by zero"
      fr "division par zéro"
      es "división por cero")
  (60 en "the handle cannot be locked"
      fr "le bloc ne peut être verrouillé"
      es "no se puede bloquear el bloque")
  (62 en "the movie failed"
      fr "le film a échoué"
      es "falló la película")))

; The databases count their errors for themselves.
(define Database-Wordings '(
  (1 en "the database is damaged" fr "la base de données est endommagée"
     es "la base de datos está dañada")
  (2 en "the database refuses this value" fr "la base de données refuse cette valeur"
     es "la base de datos rechaza este valor")
  (3 en "the database was not found" fr "la base de données est introuvable"
     es "no se encontró la base de datos")
  (5 en "the record does not exist" fr "l'enregistrement n'existe pas"
     es "el registro no existe")
  (6 en "the record is in use" fr "l'enregistrement est utilisé" es "el registro está en uso")
  (7 en "the database cannot be written" fr "la base de données ne peut être écrite"
     es "no se puede escribir la base de datos")
  (8 en "the database is full" fr "la base de données est pleine"
     es "la base de datos está llena")
  (9 en "there is not enough memory for the database"
     fr "mémoire insuffisante pour la base de données"
     es "memoria insuficiente para la base de datos")))

; The text of a property list (key text...) for the language, the first one if it has none.
(define (text-of _texts)
  (let ((_found (getf Langage _texts)))
    (if (string? _found) _found (cadr _texts))))

(define Unknown-Error '(en "unknown error" fr "erreur inconnue" es "error desconocido"))

(define (error-wording _kind _code)
  (let ((_entry (assv _code (if (eqv? _kind 1011) Database-Wordings Error-Wordings))))
    (if _entry (text-of (cdr _entry)) (text-of Unknown-Error))))

(define-class obj-error-handler (obj-root)
  ; Error 2: wrong type or value: 5 (in f)
  (define (error-trap _kind _code _value _object _a _b)
    (let ((_functions (remove "obj-error-handler error-trap" (running-functions))))
      (if (null? _kind)
          (begin (prin "Error: ") (prin _value))
          (begin
            (prin "Error ") (prin _code) (prin ": ") (prin (error-wording _kind _code))
            (unless (null? _value) (prin ": ") (displ _value))))
      (when _functions (prin " (in ") (prin (car _functions)) (prin ")"))
      (new-line))))

(define Error-Handler (new obj-error-handler))
