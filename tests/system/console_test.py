import os
import pty
import select
import signal
import termios
import time

from programs import BUILD, ProgramTest


class Console(ProgramTest):
    def test_expressions_and_files_run_in_order_and_show_their_values(self):
        self.write("one.lisp", "(define a 5)\n(* a 2) ; a comment\n")
        out, err, status = self.repl("-e", "(+ 1 2)", "one.lisp", "-e", '(list a "x\\"y" 1.5)')
        self.assertEqual(out, '3\na\n10\n(5 "x\\"y" 1.5)\n')
        self.assertEqual((err, status), ("", 0))

    def test_what_is_printed_has_line_feeds_and_no_value_is_not_shown(self):
        out, _, status = self.repl("-e", "(princ 'a)", "-e", "(void)", "-e", "(begin (prin 'b) (void))",
                                   "-e", "(princ '(c))")
        self.assertEqual(out, "a\na\nb(c)\n(c)\n")
        self.assertEqual(status, 0)

    def test_an_error_is_told_and_the_next_form_runs(self):
        out, err, status = self.repl("-e", "(car 5) (+ 1 1)", "-e", "(throw 'x 2)", "-e", "3")
        self.assertEqual(out, "2\n3\n")
        self.assertEqual(err, "Error: 2, 5, #<class KALVEX>, (), ()\n"
                              "Error: 17, x, #<class KALVEX>, (), ()\n")
        self.assertEqual(status, 1)

    def test_a_list_that_is_not_closed_is_an_error_and_so_is_a_stray_closer(self):
        out, err, status = self.repl("-e", "1 (+ 2")
        self.assertEqual((out, status), ("1\n", 1))
        self.assertIn("Error: 25", err)
        out, err, status = self.repl("-e", ") 7")
        self.assertEqual((out, status), ("7\n", 1))

    def test_standard_input_is_read_form_by_form(self):
        out, _, status = self.repl(text="(define (f _n)\n  (* _n 3))\n(f 4) 'b\n")
        self.assertEqual((out, status), ("f\n12\nb\n", 0))

    def test_lines_behind_a_form_are_typed_for_programs_that_read_the_edit_stream(self):
        out, _, status = self.repl(text="(set 'keys (cons editgetc (null-ptr)))\n(readline keys)\n"
                                        "two words\n(read keys)\n(a b) c\n(read keys)\n(edit-wait)\n")
        self.assertEqual(out.split("\n")[1:], ['"two words"', "(a b)", "c", "0", ""])
        self.assertEqual(status, 0)
        # forms that lie in a text leave the edit stream empty
        self.assertEqual(self.repl("-e", "(edit-wait)", text="typed\n")[0], "0\n")

    def test_text_is_windows_1252_inside_and_utf_8_outside(self):
        out, _, _ = self.repl("-e", '(string-length "é€")', "-e", '(prin "é€")')
        self.assertEqual(out, '2\né€\n"é€"\n')

    def test_endless_recursion_ends_in_an_error(self):
        out, err, status = self.repl("-e", "(define (f _n) (+ 1 (f _n)))", "-e", "(f 1)", "-e", "(+ 1 1)")
        self.assertEqual((out, status), ("f\n2\n", 1))
        self.assertRegex(err, r"^Error: stack overflow\n  in f, \d{5,} deep\n$")

    def test_running_out_of_memory_ends_the_form_only(self):
        out, err, status = self.repl("-e", "(define all nil)", "-e", "(while t (set! all (cons 1 all)))",
                                     "-e", "(define all nil)", "-e", "(length (list 1 2))")
        self.assertEqual((out, err, status), ("all\nall\n2\n", "Out of Memory\n", 1))

    def test_quit_ends_with_what_was_printed_so_far(self):
        out, _, status = self.repl("-e", "(prin 1)", "-e", "(quit)", "-e", "2")
        self.assertEqual((out, status), ("1\n1\n", 0))

    def test_names_and_usage_lines_can_be_asked_for(self):
        out, _, _ = self.repl("--names")
        names = out.split("\n")
        for name in ["if", "unless", "car", "quit", "obj-root", "link-object"]:
            self.assertIn(name, names)
        self.assertNotIn(":message", names)
        out, _, status = self.repl("--doc", "car")
        self.assertTrue(out.startswith("(car "))
        self.assertEqual(status, 0)
        self.assertEqual(self.repl("--doc", "no-such-name")[2], 1)

    def test_an_error_tells_the_calls_that_led_to_it(self):
        self.write("a.lisp", "; first line\n(define (inner _x)\n  (+ 1 (car _x)))\n"
                             "(define c (new-class 'c obj-root))\n"
                             "(c (define (go _x) (list (inner _x))))\n"
                             "(define (deep _n) (if (= _n 0) (inner 5) (+ 1 (deep (- _n 1)))))\n")
        _, err, _ = self.repl("a.lisp", "-e", "(deep 8)", "-e", "(catch 'toplevel (inner 1))",
                              "-e", "(send (make-instance c) go 3)", "-e", "(define (typed) (inner 2))",
                              "-e", "(typed)")
        self.assertEqual(err.split("\n"), [
            "Error: 2, 5, #<class KALVEX>, (), ()", "  in inner (a.lisp:2)", "  in deep, 9 deep (a.lisp:6)",
            "Error: 2, 3, #<instance>, (), ()", "  in inner (a.lisp:2)", "  in c go (a.lisp:5)",
            "Error: 2, 2, #<class KALVEX>, (), ()", "  in inner (a.lisp:2)", "  in typed", ""])

    def test_names_and_things_can_be_described(self):
        self.write("a.lisp", "(define (square _x) (* _x _x))\n(define point (new-class 'point obj-root))\n"
                             "(point (defslot x :default 3) (defslot y :type byte) (define (norm) x))\n")
        out, _, _ = self.repl("a.lisp", "-e", "(describe square)", "-e", "(describe point)",
                              "-e", "(describe (make-instance point))", "-e", "(describe 'car)",
                              "-e", "(describe 'nothing)", "-e", "(describe 5)", "-e", '(apropos "uare")')
        self.assertEqual(out.split("\n")[3:], [
            "square: (lambda _x)", "  defined in a.lisp:1",
            "class point", "  parents: obj-root", "  children: none", "  slot x: 3", "  slot y: <no-value>",
            "  methods: norm", "an instance of point", "  x: 3", "  y: 0",
            "(car pair): its first element; nil for nil; error 2 for an atom",
            "the symbol nothing", "5", "square", ""])

    def test_a_wrong_command_line_is_refused(self):
        self.assertEqual(self.repl("--nonsense")[2], 2)
        self.assertEqual(self.repl("-e")[2], 2)
        self.assertEqual(self.repl("missing.lisp")[2], 1)


class Terminal(ProgramTest):
    def setUp(self):
        super().setUp()
        self.seen = b""
        self.process, self.terminal = pty.fork()
        if self.process == 0:
            os.environ.update(HOME=str(self.folder), TERM="dumb")
            os.execv(BUILD / "kalvex-repl", ["kalvex-repl"])

    def read_until(self, text):
        end = time.monotonic() + 20
        while text.encode() not in self.seen and time.monotonic() < end:
            if select.select([self.terminal], [], [], 0.2)[0]:
                self.seen += os.read(self.terminal, 4096)
        self.assertIn(text, self.seen.decode(errors="replace"))
        self.seen = self.seen.partition(text.encode())[2]

    # The line editor takes the terminal over just after it has written the prompt; a ^D that comes
    # before that would be the terminal's own.
    def type(self, text):
        end = time.monotonic() + 20
        while termios.tcgetattr(self.terminal)[3] & termios.ICANON and time.monotonic() < end:
            time.sleep(0.01)
        os.write(self.terminal, text.encode())

    def exit_status(self):
        end = time.monotonic() + 20
        while time.monotonic() < end:
            pid, status = os.waitpid(self.process, os.WNOHANG)
            if pid:
                return os.waitstatus_to_exitcode(status)
            time.sleep(0.02)
        os.kill(self.process, signal.SIGKILL)
        os.waitpid(self.process, 0)
        self.fail("the console did not end")

    def test_forms_may_run_over_lines_and_the_history_is_kept(self):
        self.read_until("kalvex> ")
        self.type("(list 1\n")
        self.read_until("... ")
        self.type("(+ 1 1))\n")
        self.read_until("\n(1 2)")
        self.read_until("kalvex> ")
        self.type("(quit)\n")
        self.assertEqual(self.exit_status(), 0)
        self.assertIn("+", (self.folder / ".kalvex_history").read_text())

    def test_an_interrupt_ends_the_form_that_runs(self):
        self.read_until("kalvex> ")
        self.type("(while t (list 1))\n")
        time.sleep(0.3)
        os.kill(self.process, signal.SIGINT)
        self.read_until("Error: interrupted")
        self.read_until("kalvex> ")
        self.type("(+ 40 2)\n")
        self.read_until("\n42")
        self.read_until("kalvex> ")
        self.type("\x04")
        self.assertEqual(self.exit_status(), 1)
