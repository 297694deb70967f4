from programs import ProgramTest


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
        self.assertEqual((out, err, status), ("f\n2\n", "Error: stack overflow\n", 1))

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

    def test_a_wrong_command_line_is_refused(self):
        self.assertEqual(self.repl("--nonsense")[2], 2)
        self.assertEqual(self.repl("-e")[2], 2)
        self.assertEqual(self.repl("missing.lisp")[2], 1)
