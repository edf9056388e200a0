"""Tests of check.py over small made-up measurements: each fault that it is there for is reported."""

import json
import pathlib
import subprocess
import sys
import tempfile
import unittest

CHECK = pathlib.Path(__file__).with_name("check.py")
SOURCE = ["int f(int i) {", "    if (i < 0)", "        return 1;", "    if (i > 9)", "        return 1;",
          "    return 0;", "}"]
LISTED = """# a comment
src/a.cpp
    2x return 1;
        Only a caller that
        doesn't exist comes here.
"""


class Check(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.root = pathlib.Path(directory.name)
        (self.root / "src").mkdir()
        (self.root / "src/a.cpp").write_text("\n".join(SOURCE) + "\n")

    def check(self, counts, listed, least_lines=0, least_branches=0):
        """Runs check.py: counts are those of the lines, as {number: count}."""
        lines = [{"line_number": number, "count": count, "gcovr/noncode": False,
                  "branches": [{"count": count, "fallthrough": False, "throw": False},
                               {"count": 1, "fallthrough": True, "throw": False}] if number in (2, 4) else []}
                 for number, count in counts.items()]
        measured = {"files": [{"file": "src/a.cpp", "lines": lines}]}
        (self.root / "coverage.json").write_text(json.dumps(measured))
        (self.root / "unreached.txt").write_text(listed)
        return subprocess.run([sys.executable, CHECK, "coverage.json", "unreached.txt",
                               str(least_lines), str(least_branches)],
                              cwd=self.root, capture_output=True, text=True, check=False)

    def assert_fails(self, run, text):
        self.assertIn(text, run.stderr)
        self.assertEqual(run.returncode, 1)

    def test_AListThatIsCompleteIsAccepted(self):
        run = self.check({1: 1, 2: 1, 3: 0, 4: 1, 5: 0, 6: 1}, LISTED)
        self.assertEqual((run.returncode, run.stderr), (0, ""))
        self.assertIn("4 of 6 lines of src/ reached: 66.7 %", run.stdout)

    def test_ALineThatIsNotListedIsReportedWithItsPlace(self):
        run = self.check({1: 1, 2: 1, 3: 1, 4: 1, 5: 1, 6: 0}, "")
        self.assert_fails(run, "not reached and not in the list: src/a.cpp:[6]: return 0;")

    def test_OneLineMoreOfTheSameTextIsReported(self):
        run = self.check({2: 1, 3: 0, 5: 0}, LISTED.replace("2x ", ""))
        self.assert_fails(run, "not reached and not in the list: src/a.cpp:[3, 5]: return 1;")

    def test_AnEntryThatIsReachedByNowIsReported(self):
        run = self.check({2: 1, 3: 1, 5: 0}, LISTED)
        self.assert_fails(run, "in the list, but reached or gone: src/a.cpp: return 1;")

    def test_AnEntryOfAFileThatIsGoneIsReported(self):
        run = self.check({2: 1}, LISTED.replace("a.cpp", "b.cpp"))
        self.assert_fails(run, "in the list, but reached or gone: src/b.cpp: return 1;")

    def test_AnEntryWithoutReasonIsReported(self):
        run = self.check({2: 1, 3: 0, 5: 0}, "src/a.cpp\n    2x return 1;\n")
        self.assert_fails(run, "src/a.cpp: return 1;: no reason is given")

    def test_AnEntryThatStandsTwiceIsReported(self):
        run = self.check({2: 1, 3: 0, 5: 0}, LISTED + "    return 1;\n        Again.\n")
        self.assert_fails(run, "unreached.txt:6: src/a.cpp: return 1;: is in the list already")

    def test_AReasonWithoutItsLineIsReported(self):
        run = self.check({2: 1}, "src/a.cpp\n        A reason.\n")
        self.assert_fails(run, "unreached.txt:2: a reason without its line")

    def test_ALineWithoutItsFileIsReported(self):
        run = self.check({2: 1}, "    return 1;\n        A reason.\n")
        self.assert_fails(run, "unreached.txt:1: expected a line of code under a file name")

    def test_TooFewLinesAreReportedAlsoIfAllAreListed(self):
        run = self.check({1: 1, 2: 1, 3: 0, 4: 1, 5: 0, 6: 1}, LISTED, least_lines=67)
        self.assert_fails(run, "less than 67 % of the lines are reached")

    def test_TooFewBranchesAreReported(self):
        run = self.check({1: 1, 2: 1, 4: 0, 3: 0, 5: 0}, LISTED + "    if (i > 9)\n        None.\n",
                         least_branches=80)
        self.assert_fails(run, "less than 80 % of the branches are taken")
        self.assertIn("3 of 4 branches taken: 75.0 %", run.stdout)

    def test_AMeasurementOfNothingFails(self):
        run = self.check({}, "", least_lines=98)
        self.assert_fails(run, "less than 98 % of the lines are reached")


unittest.main()
