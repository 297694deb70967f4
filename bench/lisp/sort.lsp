(set 'numbers (map (fn (i) (% (* i 7919) 10007)) (sequence 1 10000)))
(dotimes (i 30) (sort (append numbers) (fn (a b) (< a b))))
(exit)
