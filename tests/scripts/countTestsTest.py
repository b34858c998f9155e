#!/usr/bin/env python3
"""scripts/count-tests: what counts as passed, failed and skipped, and that failed tests are named."""
import pathlib
import subprocess
import sys
import tempfile
import unittest

COUNT = pathlib.Path(__file__).resolve().parents[2] / "scripts" / "count-tests"

# (name, one test as ctest writes it, the last line)
CASES = [
    ("passed", '<testcase name="a" status="run"/>', "1 passed, 0 failed, 0 skipped"),
    ("failed", '<testcase name="a" status="fail"><failure message=""/></testcase>', "0 passed, 1 failed, 0 skipped"),
    ("skippedByItsOwnWord",
     '<testcase name="a" status="notrun"><skipped message="SKIP_REGULAR_EXPRESSION_MATCHED"/></testcase>',
     "0 passed, 0 failed, 1 skipped"),
    ("switchedOff", '<testcase name="a" status="disabled"/>', "0 passed, 0 failed, 1 skipped"),
    ("couldNotStart",
     '<testcase name="a" status="notrun"><skipped message="Unable to find executable"/></testcase>',
     "0 passed, 1 failed, 0 skipped"),
]


class CountTests(unittest.TestCase):
    def test_table(self):
        for name, case, line in CASES:
            with self.subTest(name), tempfile.NamedTemporaryFile("w", suffix=".xml") as file:
                file.write(f"<testsuite>{case}</testsuite>")
                file.flush()
                result = subprocess.run([sys.executable, COUNT, file.name], capture_output=True, text=True, check=False)
                named = ["failed: a"] if "1 failed" in line else []
                self.assertEqual(result.stdout.splitlines(), [*named, line])
                self.assertEqual(result.returncode, 0 if ", 0 failed" in line else 1)


unittest.main()
