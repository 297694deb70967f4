import pathlib
import re
import subprocess
import sys

from programs import ProgramTest

ROOT = pathlib.Path(__file__).parent.parent.parent


class Sources(ProgramTest):
    def check(self, folder):
        return subprocess.run([sys.executable, ROOT / "tools" / "check-includes", folder], capture_output=True,
                              text=True)

    def test_every_include_points_down(self):
        result = self.check(ROOT / "src")
        self.assertEqual(result.returncode, 0, result.stdout)

    def test_the_check_sees_what_points_up_or_nowhere(self):
        for name, line in [("kernel/a.cpp", "library/b.h"), ("storage/a.cpp", "storage/b_primitives.h"),
                           ("platform/a.h", "platform/none.h"), ("elsewhere/a.h", "platform/z.h")]:
            for folder in ["kernel", "library", "storage", "platform", "elsewhere"]:
                (self.folder / folder).mkdir(exist_ok=True)
            for header in ["library/b.h", "storage/b_primitives.h", "platform/z.h"]:
                self.write(header, "")
            path = self.write(name, f'#include "{line}"\n')
            result = self.check(self.folder)
            self.assertEqual(result.returncode, 1, name)
            self.assertIn(name, result.stdout)
            path.unlink()


class Reference(ProgramTest):
    def test_every_primitive_has_a_usage_line_that_begins_with_its_form(self):
        out, _, status = self.repl("--reference")
        rows = [line for line in out.split("\n") if line.startswith("- ")]
        self.assertEqual(status, 0)
        self.assertGreater(len(rows), 600)
        for row in rows:
            match = re.fullmatch(r"- \*\*(.+?)\*\* `(.*?)`: (.+)", row)
            self.assertTrue(match, row)
            self.assertTrue(match[2].startswith("(" + match[1]), row)
