#!/usr/bin/env python3
"""Tests of scripts/merge-counters with a real program: what its processes counted adds up.

  merge_counters_test.py MERGE_COUNTERS COMPILER
"""
import pathlib
import subprocess
import sys
import tempfile
import unittest

MERGE, COMPILER = sys.argv[1:3]
PROGRAM = """
int main(int count, char**) {
    if (count > 1)
        return 0;
    return 1;
}
"""


class MergeCountersTest(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.build = pathlib.Path(directory.name).resolve()
        (self.build / "main.cpp").write_text(PROGRAM)
        self.call(COMPILER, "--coverage", f"-fprofile-dir={self.build}/counters/%p", "-c", "main.cpp", "-o",
                  "main.o")
        self.call(COMPILER, "--coverage", "main.o", "-o", "program")

    def call(self, *words):
        return subprocess.run(words, cwd=self.build, check=True, stdout=subprocess.PIPE, text=True).stdout

    def run_program(self, *arguments):
        subprocess.run([self.build / "program", *arguments], check=False)

    def counts(self):
        """{line: how often it ran}, as gcov tells"""
        lines = {}
        for line in self.call("gcov", "--stdout", "main.o").splitlines():
            count, number, _ = line.split(":", 2)
            if count.strip().isdigit():
                lines[int(number)] = int(count)
        return lines

    def test_what_each_process_counted_adds_up(self):
        self.run_program()
        self.run_program("argument")
        self.run_program("argument")
        self.assertEqual(len(list((self.build / "counters").iterdir())), 3)
        self.assertIn("counters of 1 objects; files cut short: 0", self.call(MERGE, str(self.build)))
        self.assertEqual(self.counts(), {2: 3, 3: 3, 4: 2, 5: 1})

    def test_a_file_that_is_cut_short_is_left_out(self):
        self.run_program()
        whole = next((self.build / "counters").glob("*/*"))
        for size in (0, 3, 10, 30, whole.stat().st_size - 1):
            copy = self.build / "counters" / f"cut{size}" / whole.name
            copy.parent.mkdir()
            copy.write_bytes(whole.read_bytes()[:size])
        self.assertIn("files cut short: 5", self.call(MERGE, str(self.build)))
        self.assertEqual(self.counts()[2], 1)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
