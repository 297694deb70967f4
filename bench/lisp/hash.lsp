(new Tree 'H)
(set 'names '("a" "b" "c" "d" "e" "f" "g" "h" "i" "j"))
(dotimes (i 200000) (dolist (k names) (H k (+ (or (H k) 0) 1))))
(exit)
