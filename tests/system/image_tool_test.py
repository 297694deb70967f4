import struct

from programs import BUILD, ProgramTest

SOURCE = """; a comment with ( and "
(define (square _x) (* _x _x)) ; é
(define things '(1 -5 300 -32768 40000 a.b "s (\\" é" #\\a #\\space :key [x . 2] 1.5 -  1e5 e5 +5 z\\ w))
(define v #(1 2 square))
(define m #{fr "un" en "one"})
(define c '(&mac 1 2 &(not mac) 3))
(dmc #\\` (list 'quasiquote (read t)))
"""


def resources(data):
    """Type, id -> (attributes, name, bytes), read from the layout of the format alone."""
    data_at, map_at, _, _ = struct.unpack(">4i", data[:16])
    types_at = map_at + struct.unpack(">H", data[map_at + 24:map_at + 26])[0]
    names_at = map_at + struct.unpack(">H", data[map_at + 26:map_at + 28])[0]
    found = {}
    for t in range(struct.unpack(">h", data[types_at:types_at + 2])[0] + 1):
        kind, count, at = struct.unpack(">4sHH", data[types_at + 2 + 8 * t:types_at + 10 + 8 * t])
        for r in range(count + 1):
            entry = types_at + at + 12 * r
            number, name, place = struct.unpack(">hHI", data[entry:entry + 8])
            start = data_at + (place & 0xffffff)
            length = struct.unpack(">I", data[start:start + 4])[0]
            text = b"" if name == 0xffff else data[names_at + name + 1:names_at + name + 1 + data[names_at + name]]
            found[kind, number] = (place >> 24, text, data[start + 4:start + 4 + length])
    return found


class ImageTool(ProgramTest):
    def tool(self, *words):
        result = self.run_program("kalvex-image", *words)
        return result.stdout, result.stderr.decode(), result.returncode

    def test_a_manifest_becomes_a_file_that_other_readers_understand(self):
        self.write("a.lisp", "(define é 1)\r\n(b)\n")
        self.write("p.bin", bytes(range(256)))
        image = self.build_image(
            'type APPL\ncreator KLVX\ntitle "Démo"\nwindow width=800 height=600 flags=0x21 language=2\n'
            "spaces symbols=4096 heap=1000000\npartition 9000000 # all of it\nload text a.lisp\n"
            'resource "STR " 128 name "né" attributes 0x20 hex 02 string "oé"\nresource PICT -3 file p.bin\n')
        found = resources(image.read_bytes())
        self.assertEqual(image.read_bytes()[82:90], b"APPLKLVX")
        self.assertEqual(found[b"PREF", 258][2], b"\x04D\xe9mo")
        self.assertEqual(found[b"PREF", 257][2], bytes([0, 0, 0x21, 2, 3, 32, 2, 88, 0]))
        self.assertEqual(struct.unpack(">9I", found[b"VPRF", 256][2]), (4096, 0, 0, 0, 1000000, 0, 0, 0, 0))
        self.assertEqual(found[b"SIZE", -1][2][2:6], struct.pack(">I", 9000000))
        self.assertEqual(found[b"Load", 0][2], b"(define \xe9 1)\r(b)\r")
        self.assertEqual(found[b"STR ", 128], (0x20, b"n\xe9", b"\x02o\xe9"))
        self.assertEqual(found[b"PICT", -3][2], bytes(range(256)))
        self.assertEqual(self.tool("check", image)[::2], (b"", 0))
        self.assertEqual(self.tool("extract", image, "PICT", "-3")[0], bytes(range(256)))
        self.assertIn("'STR '    128  20        3  né", self.tool("list", image)[0].decode())

    def test_the_compact_form_loads_as_the_text_does(self):
        self.write("a.lisp", SOURCE)
        shown = []
        for form in ["text", "compact"]:
            image = self.build_image(f"load {form} a.lisp\n")
            shown.append(self.repl("--image", image, "-e", "things", "-e", "v", "-e", "m", "-e", "c",
                                   "-e", "(square 7)"))
        self.assertEqual(shown[0], shown[1])
        self.assertEqual(shown[0][2], 0)
        self.assertIn("49\n", shown[0][0])
        size = len(resources(image.read_bytes())[b"Load", 0][2])
        self.assertLess(size, len(SOURCE) * 0.6)

    def test_more_names_than_short_references_reach(self):
        names = [f"name-{i}" for i in range(4400)]
        self.write("a.lisp", "(define names '(" + " ".join(names) + " _last))\n")
        image = self.build_image("load compact a.lisp\nspaces symbols=16384 lisp-stack=100000 "
                                 "prolog-stack=1000 nodes=100000 heap=1000000 machine-stack=1000000\n")
        out, _, status = self.repl("--image", image, "-e", "names")
        self.assertEqual(out, "(" + " ".join(names) + " _last)\n")
        self.assertEqual((status, self.tool("check", image)[2]), (0, 0))

    def test_a_wrong_manifest_is_refused_with_its_line_and_leaves_nothing(self):
        for text, told in [("load tekst a\n", "line 1"), ("\nresource STR 1 hex 0\n", "line 2"),
                           ("window wide=3\n", "line 1"), ('title "x\n', "line 1"),
                           ("resource A 1 hex 00\nresource A 1 hex 00\n", "line 2"),
                           ("load text missing.lisp\n", "missing.lisp")]:
            self.write("app.manifest", text)
            _, error, status = self.tool("build", "app.manifest", "-o", "app.RI")
            self.assertEqual(status, 1, text)
            self.assertIn(told, error)
        self.assertEqual([p.name for p in self.folder.iterdir()], ["app.manifest"])

    def test_check_finds_what_boot_would_stumble_over(self):
        for manifest, told in [("resource Load 1 hex 00\n", "comes behind a gap"),
                               ("resource Load 0 hex 0f\n", "cut off"),
                               ("resource Load 0 hex 0f00\n", "past the symbol table"),
                               ("resource Load 0 hex 00\nresource SYMB 0 hex 0002 6100\n", "fewer names"),
                               ("resource Load 0 hex 00\nresource VPRF 256 hex 00\n", "shorter than 36")]:
            out, _, status = self.tool("check", self.build_image(manifest))
            self.assertEqual(status, 1, manifest)
            self.assertIn(told, out.decode())

    def test_damaged_files_are_refused(self):
        self.write("a.lisp", "(define a 1)")
        whole = self.build_image("load text a.lisp\n").read_bytes()
        for size in [0, 10, 255, 256, len(whole) - 1]:
            self.write("cut.RI", whole[:size])
            for command in ["list", "check"]:
                _, error, status = self.tool(command, "cut.RI")
                self.assertEqual((status, error), (1, "kalvex-image: cut.RI: is no resource file\n"))
