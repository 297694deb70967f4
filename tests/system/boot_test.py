import random
import shutil
import struct

from programs import BUILD, ProgramTest

LOOP = "(define (toplevel-loop) (quit))\n"


class Boot(ProgramTest):
    def image(self, source, manifest="", **files):
        for name, text in files.items():
            self.write(name, text)
        self.write("a.lisp", source)
        return self.build_image("load text a.lisp\n" + manifest)

    def say(self, form):
        """A form that shows a value on standard error through the internal-error dialog."""
        return f"(debugger {form})\n"

    def test_the_image_stands_beside_the_program_under_its_name(self):
        self.image(self.say('"from the image"') + LOOP)
        for name in ["app", "app.exe"]:
            shutil.copy(BUILD / "kalvex", self.folder / name)
            result = self.run_program(self.folder / name, "--host", "headless")
            self.assertIn(b"from the image", result.stderr)
            self.assertEqual(result.returncode, 0)

    def test_a_missing_or_damaged_image_has_its_dialog_and_status(self):
        whole = self.image(LOOP).read_bytes()
        self.write("empty.RI", b"")
        self.write("cut.RI", whole[:300])
        self.write("noise.RI", bytes(i * 7 % 256 for i in range(5000)))
        for name in ["nothing.RI", "empty.RI", "cut.RI", "noise.RI"]:
            _, err, status = self.boot(name)
            self.assertEqual((err, status), (f"The file {name} was not found!\n", 255))

    def test_loads_run_in_order_up_to_the_first_gap_then_the_hooks(self):
        self.write("b.lisp", self.say("'second"))
        image = self.image(self.say("(list 'first Load-File)"),
                           "load text c.lisp\nload text b.lisp\nload text d.lisp\n"
                           "resource Load 9 string \"(debugger 'never)\"\n",
                           **{"c.lisp": "", "d.lisp": "(define (init-kalvex) (debugger (list 'hook Load-File)))"
                              "(define (init-user) (debugger 'user))"
                              "(define (toplevel-loop) (debugger 'loop) (quit))"})
        _, err, status = self.boot(image)
        shown = [line for line in err.split("\n") if not line.startswith("An error")]
        self.assertEqual(shown, ["(first 0)", "second", "(hook ())", "user", "loop", ""])
        self.assertEqual(status, 0)

    def test_a_load_may_release_itself_or_close_its_file(self):
        _, err, _ = self.boot(self.image('(releaseresource (getresource "Load" 0))\n(new-handle 9)\n' +
                                         self.say('(countresources "Load")') + LOOP))
        self.assertIn("\n1\n", err)
        _, err, _ = self.boot(self.image('(closeresfile (curresfile))\n' + self.say("'closed") + LOOP))
        self.assertIn("\nclosed\n", err)

    def test_the_return_of_the_loop_ends_the_program_with_1(self):
        self.assertEqual(self.boot(self.image("(define (toplevel-loop) 5)"))[1:], ("", 1))

    def test_an_error_without_a_catch_ends_the_program(self):
        _, err, status = self.boot(self.image("(car 5)" + LOOP))
        self.assertEqual((err.split("\n")[1], status), ("Error: 2, 5, #<class KALVEX>, (), ()", 1))
        _, err, status = self.boot(self.image("(define a 1)"))
        self.assertIn("Error: 5, toplevel-loop", err)
        self.assertEqual(status, 1)

    def test_details_and_quit_are_answered_in_turn(self):
        image = self.image("(debugger 'shown) (debugger 'again)" + LOOP)
        _, err, status = self.boot(image, KALVEX_ALERTS="31")
        self.assertEqual(err.split("\n").count("shown"), 2)
        self.assertEqual((err.split("\n").count("again"), status), (1, 0))
        _, err, status = self.boot(image, KALVEX_ALERTS="2")
        self.assertNotIn("again", err)
        self.assertEqual(status, 0)

    def test_too_little_memory_has_its_dialog_in_the_language_of_the_image(self):
        image = self.image(LOOP, "window language=1\nspaces symbols=4096 lisp-stack=10000 prolog-stack=1000 "
                                 "nodes=10000 heap=1000000 machine-stack=100000\npartition 100000\n")
        _, err, status = self.boot(image)
        need = 16 * 4096 + 4 * 10000 + 32 + 8 * 10000 + 1000000 + 4 * 1000
        spare = 100000 - need
        kilobytes = 1 - int(spare / 1024)
        self.assertEqual(err, f"Il n'y a pas assez de mémoire RAM : {kilobytes} K\n")
        self.assertNotEqual(status, 0)

    def test_the_spaces_are_what_the_image_asks_for(self):
        source = self.say("(space-subr)") + LOOP
        sizes = "spaces symbols=4096 lisp-stack=10000 prolog-stack=2000 nodes=20000 heap=500000 reserve=3000 " \
                "machine-stack=100000 spare-to-nodes={} spare-to-reserve={}\npartition {}\n"
        exact = 16 * 4096 + 4 * 10000 + 32 + 8 * 20000 + 500000 + 4 * 2000 + 3000
        spare = 1000000
        for to_nodes, to_reserve, more in [(0, 0, 0), (50, 10, spare)]:
            image = self.image(source, sizes.format(to_nodes, to_reserve, exact + more))
            _, err, status = self.boot(image)
            nodes = 20000 + to_nodes * (more // 800)
            reserve = 3000 + to_reserve * (more // 100)
            figures = [int(word) for word in err.split("(")[1].split(")")[0].split()]
            self.assertEqual(figures[:4] + figures[5:], [4096, 10000, 2000, nodes, reserve, 98000])
            self.assertAlmostEqual(figures[4], 500000 + more - 8 * (nodes - 20000) - (reserve - 3000), delta=48)

    def test_the_frame_has_what_the_preferences_ask_for(self):
        show = self.say("(list (desktop-frame-width) (desktop-frame-height) (get-menubar?) "
                        "(screen-width) (screen-height))") + LOOP
        for window, shown in [("window width=800 height=600 flags=1", "(800 581 t 1024 768)"),
                              ("resource PREF 257 hex 0000 01 00 0100", "(640 461 t 1024 768)"),
                              ("", "(0 0 () 1024 768)"),
                              ("window width=1024 height=768 flags=2", "(1024 768 () 1024 768)")]:
            self.assertIn(shown, self.boot(self.image(show, window + "\n"))[1])

    def test_constants_of_boot(self):
        _, err, _ = self.boot(self.image(
            self.say("(list Machine Development-Stage Environment Load-File KALVEX Compare-Vector t nil "
                     "(boot-time))") + LOOP))
        self.assertIn("(ibm release standalone 0 #<class KALVEX> () t () 0)", err)

    def test_the_language_of_the_dialogs_can_be_set(self):
        source = "(set-language 1) (debugger 1) (set-language 2) (debugger 2) (set-language \"x\")" + LOOP
        _, err, status = self.boot(self.image(source, "window language=2\n"))
        lines = err.split("\n")
        self.assertTrue(lines[0].startswith("Une erreur interne"))
        self.assertTrue(lines[2].startswith("An error has occured."))
        self.assertEqual(status, 1)

    def test_the_splash_goes_on_by_its_waits(self):
        frame = struct.pack(">5h", 0, 0, 0, 100, 200).hex()
        pictures = "".join(f"resource PICT {i} hex {frame}\n" for i in [501, 502, 503])
        waits = "resource wait 501 hex 0006\nresource wait 502 hex 0006\n"
        source = "(define (init-user) (wait-boot-time nil))\n" + LOOP
        import time
        start = time.monotonic()
        self.assertEqual(self.boot(self.image(source, pictures + waits))[2], 0)
        self.assertGreater(time.monotonic() - start, 0.19)
        self.assertEqual(self.boot(self.image(source, pictures))[2], 0)

    def test_words_of_the_command_line_go_to_the_application(self):
        source = """
            (define Appl (new-class 'app obj-root))
            (try Appl
              (define (open-folder _p) (debugger (list 'folder _p)))
              (define (open-file _p _t) (debugger (list 'file _p)))
              (define (start-appl) (debugger 'start)))
        """ + LOOP
        image = self.image(source)
        _, err, _ = self.boot(image, "a.lisp", "missing", self.folder)
        self.assertRegex(err, r"\(file \(a\.lisp\)\)")
        self.assertRegex(err, r"\(folder ")
        self.assertNotIn("start", err)
        _, err, _ = self.boot(image, "missing")
        self.assertIn("start", err)


class DefaultImage(ProgramTest):
    """The Lisp library and the tour, as the build packs them."""

    def run_default(self, text=b"", **variables):
        result = self.run_program("kalvex", "--host", "headless", "--image", BUILD / "kalvex.RI", text=text,
                                  **variables)
        return result.stdout.decode(), result.stderr.decode(), result.returncode

    def test_the_tour_runs_by_itself_and_ends_well(self):
        out, err, status = self.run_default()
        self.assertEqual((err, status), ("", 0))
        for line in ["(factorial 10)  =>  3628800", "(has-feathers swims)))  =>  penguin",
                     "=>  (two and two are 4 not 5)", "=>  (\"Boris\" -50)", "the clock ends",
                     "Error 2: type ou valeur incorrecte: 7 (in careless)", "lost by making 150,000  =>  0"]:
            self.assertIn(line, out)

    def test_the_tour_is_the_same_however_often_memory_is_collected(self):
        def lines(result):
            self.assertEqual(result[1:], ("", 0))
            return [line for line in result[0].split("\n") if "ticks" not in line]  # these tell the time
        self.assertEqual(lines(self.run_default()), lines(self.run_default(KALVEX_GC_STRESS="7")))

    def test_damaged_images_end_in_an_orderly_way(self):
        whole = (BUILD / "kalvex.RI").read_bytes()
        chance = random.Random(4)
        for i in range(25):
            data = bytearray(whole)
            for _ in range(chance.choice([1, 5, 50])):
                data[chance.randrange(len(data))] = chance.choice([0, 15, 40, 41, 255, chance.randrange(256)])
            self.write("damaged.RI", bytes(data))
            status = self.boot("damaged.RI")[2]
            self.assertIn(status, [0, 1, 255], f"round {i}")

    def test_the_console_reads_evaluates_and_prints_behind_it(self):
        out, err, status = self.run_default(
            b"(define (g _x)\n (careless _x))\n(g 9) 'a\n(set! Langage 'fr)\n(throw 'z 1)\n\"\xc3\xa9\"\n(car")
        self.assertEqual(status, 0)
        tail = out.split("=>  0\n\n")[-1].split("\n")
        self.assertEqual(tail[:6], ["g", "Error 2: wrong type or value: 9 (in careless)", "a", "fr",
                                    "Error 17: rien n'attrape ce lancer: z (in read-eval-print)", '"é"'])

    def test_the_library_in_the_console_for_programmers(self):
        self.write("a.lisp", """
            (define-class point (obj-root) (defslot x :default 1) (defslot y :default 2))
            (define-macro (swap _a _b) `(set! ,_a (prog1 ,_b (set! ,_b ,_a))))
            (define a 1) (define b 2)
            (swap a b)
            (list a b)
            (let ((_p (new point :y 7))) (_p (list x y)))
            (define-class thing (obj-persistence) (defslot size :default 3 :initialize? t))
            (define t1 (new thing :name 'first :size 8))
            (t1 (list name size (object-opened?)))
            (define-class thing (obj-persistence) (defslot size :default 4 :initialize? t))
            (class-name (object-class (find-link 'first nil)))
            (new point :z 1)
        """)
        out, err, status = self.repl("--image", BUILD / "kalvex.RI", "a.lisp")
        for line in ["(2 1)", "(1 7)", "(first 8 t)", "thing"]:
            self.assertIn(line + "\n", out)
        self.assertEqual(err.count("Error"), 1)
