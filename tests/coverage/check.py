"""Compares the lines of src/ that no test reached with the list of those that are known, with reasons.

check.py COVERAGE_JSON UNREACHED_TXT LEAST_PERCENT
COVERAGE_JSON is what gcovr --json writes. A line is known by its file and its text, so that the list
survives lines moving; the list says how many such lines a file has. Fails if a line isn't in the list,
if an entry of the list is reached by now, or if too few lines are reached.
"""

import collections
import json
import pathlib
import re
import sys


def read_known(path):
    """Entries by file and text: {(file, text): (count, reason)}."""
    known = {}
    file = None
    entry = None
    for number, line in enumerate(path.read_text().splitlines(), 1):
        if not line.strip() or line.startswith("#"):
            continue
        if not line.startswith(" "):
            file = line.strip()
        elif not line.startswith("        "):
            match = re.fullmatch(r"    (?:(\d+)x )?(\S.*)", line)
            if not match or file is None:
                sys.exit(f"{path}:{number}: expected a line of code under a file name, found: {line}")
            entry = (file, match[2])
            known[entry] = (int(match[1] or 1), "")
        else:
            if entry is None:
                sys.exit(f"{path}:{number}: a reason without its line")
            count, reason = known[entry]
            known[entry] = (count, (reason + " " + line.strip()).strip())
    for (file, text), (_, reason) in known.items():
        if not reason:
            sys.exit(f"{path}: {file}: {text}: no reason is given")
    return known


def read_measured(path):
    """Counts and unreached lines: (all, reached, {(file, text): [line numbers]})."""
    lines = reached = 0
    unreached = collections.defaultdict(list)
    for file in json.loads(path.read_text())["files"]:
        text = pathlib.Path(file["file"]).read_text().splitlines()
        for line in file["lines"]:
            if line.get("gcovr/noncode"):
                continue
            lines += 1
            if line["count"]:
                reached += 1
            else:
                number = line["line_number"]
                unreached[file["file"], text[number - 1].strip()].append(number)
    return lines, reached, unreached


def main():
    measured, known_path, least = pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2]), float(sys.argv[3])
    known = read_known(known_path)
    lines, reached, unreached = read_measured(measured)
    failures = []
    for (file, text), numbers in sorted(unreached.items()):
        expected = known.get((file, text), (0, ""))[0]
        if len(numbers) > expected:
            failures.append(f"not reached and not in the list: {file}:{numbers}: {text}")
    for (file, text), (count, _) in sorted(known.items()):
        if len(unreached.get((file, text), [])) < count:
            failures.append(f"in the list, but reached or gone: {file}: {text}")
    percent = 100.0 * reached / lines if lines else 0.0
    print(f"{reached} of {lines} lines of src/ reached: {percent:.1f} %, "
          f"{lines - reached} not, each with its reason in {known_path}")
    if percent < least:
        failures.append(f"less than {least} % of the lines are reached")
    for failure in failures:
        print(failure, file=sys.stderr)
    sys.exit(1 if failures else 0)


main()
