"""Compares the lines of src/ that no test reached with the list of those that are known, with reasons.

check.py COVERAGE_JSON UNREACHED_TXT LEAST_LINES LEAST_BRANCHES
COVERAGE_JSON is what gcovr --json writes. A line is known by its file and its text, so that the list
survives lines moving; the list says how many such lines a file has. Fails if a line isn't in the list,
if an entry of the list is reached by now, or if fewer percent of the lines are reached or of the
branches taken than asked for.
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
            if entry in known:
                sys.exit(f"{path}:{number}: {file}: {match[2]}: is in the list already")
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
    """Counts and unreached lines: ((reached, lines), (taken, branches), {(file, text): [line numbers]})."""
    lines = reached = branches = taken = 0
    unreached = collections.defaultdict(list)
    for file in json.loads(path.read_text())["files"]:
        text = pathlib.Path(file["file"]).read_text().splitlines()
        for line in file["lines"]:
            if line.get("gcovr/noncode"):
                continue
            lines += 1
            branches += len(line["branches"])
            taken += sum(branch["count"] > 0 for branch in line["branches"])
            if line["count"]:
                reached += 1
            else:
                number = line["line_number"]
                unreached[file["file"], text[number - 1].strip()].append(number)
    return (reached, lines), (taken, branches), unreached


def percent(part, whole):
    return 100.0 * part / whole if whole else 0.0


def main():
    measured, known_path = pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2])
    least_lines, least_branches = sys.argv[3:5]
    known = read_known(known_path)
    (reached, lines), (taken, branches), unreached = read_measured(measured)
    failures = []
    for (file, text), numbers in sorted(unreached.items()):
        expected = known.get((file, text), (0, ""))[0]
        if len(numbers) > expected:
            failures.append(f"not reached and not in the list: {file}:{numbers}: {text}")
    for (file, text), (count, _) in sorted(known.items()):
        if len(unreached.get((file, text), [])) < count:
            failures.append(f"in the list, but reached or gone: {file}: {text}")
    print(f"{reached} of {lines} lines of src/ reached: {percent(reached, lines):.1f} %")
    print(f"{taken} of {branches} branches taken: {percent(taken, branches):.1f} %")
    if percent(reached, lines) < float(least_lines):
        failures.append(f"less than {least_lines} % of the lines are reached")
    if percent(taken, branches) < float(least_branches):
        failures.append(f"less than {least_branches} % of the branches are taken")
    for failure in failures:
        print(failure, file=sys.stderr)
    if not failures:
        print(f"{lines - reached} lines are not reached, each with its reason in {known_path}")
    sys.exit(1 if failures else 0)


main()
