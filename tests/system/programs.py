"""Runs the programs of a build in a folder of their own."""
import os
import pathlib
import shutil
import subprocess
import tempfile
import unittest

BUILD = pathlib.Path(os.environ["KALVEX_BUILD"])


class ProgramTest(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp())
        self.addCleanup(shutil.rmtree, self.folder)

    def run_program(self, name, *words, text=None, **variables):
        environment = {**os.environ, "HOME": str(self.folder), **variables}
        program = name if isinstance(name, pathlib.Path) else BUILD / name
        return subprocess.run([program, *map(str, words)], input=text, capture_output=True,
                              cwd=self.folder, env=environment, timeout=60)

    def repl(self, *words, text="", **variables):
        result = self.run_program("kalvex-repl", *words, text=text.encode(), **variables)
        return result.stdout.decode(), result.stderr.decode(), result.returncode

    def write(self, name, text):
        path = self.folder / name
        path.write_bytes(text if isinstance(text, bytes) else text.encode())
        return path

    def build_image(self, manifest, output="app.RI"):
        self.write("app.manifest", manifest)
        result = self.run_program("kalvex-image", "build", "app.manifest", "-o", output)
        self.assertEqual((result.returncode, result.stderr), (0, b""))
        return self.folder / output

    def boot(self, image, *words, **variables):
        result = self.run_program("kalvex", "--host", "headless", "--image", image, *words, **variables)
        return result.stdout.decode(), result.stderr.decode(), result.returncode
