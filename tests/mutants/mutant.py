"""Wrong changes to sources: how one is described, and the lists of those made by people."""

import pathlib
import re


class Stale(Exception):
    """The text that a change replaces isn't in the source (any more), or not exactly once."""


class Mutant:
    """One wrong change to one source."""

    def __init__(self, subject, name, file, old, new, context="", programs=(), compiled=()):
        self.subject = subject
        self.name = name
        self.file = file
        self.old = old
        self.new = new
        self.context = context
        self.programs = list(programs)  # empty: those of the source
        self.compiled = list(compiled)  # for a header: the sources that see the change

    @property
    def key(self):
        return f"{self.file}|{self.context}|{self.old}|{self.new}"

    def apply(self, text):
        """The changed source. Lines keep their numbers, since the log shows them."""
        start = 0
        if self.context:
            start = _only(self.context, text, 0, "context").end()
            found = _pattern(self.old).search(text, start)
            if found is None:
                raise Stale(f"text not found after {self.context!r}")
        else:
            found = _only(self.old, text, 0, "text")
        new = " ".join(line.strip() for line in self.new.split("\n"))
        new += "\n" * found.group().count("\n")
        return text[: found.start()] + new + text[found.end() :]


def _pattern(text):
    """Blanks and line ends of any number stand for each other: layout isn't the list's business."""
    return re.compile(r"\s+".join(re.escape(word) for word in text.split()))


def _only(wanted, text, start, what):
    found = list(_pattern(wanted).finditer(text, start))
    if len(found) != 1:
        raise Stale(f"{what} found {len(found)} times: {wanted.strip()!r}")
    return found[0]


def read_list(path):
    """Read one list. Its form is described in README.md beside this file."""
    mutants = []
    file, programs, compiled = None, [], []
    entry = None

    def finish():
        if entry is None:
            return
        if not entry["old"]:
            raise SystemExit(f"{path}: {entry['name']}: no text to replace")
        mutants.append(
            Mutant(
                path.stem,
                entry["name"],
                entry["file"],
                "\n".join(entry["old"]),
                "\n".join(entry["new"]),
                entry["context"],
                entry["programs"],
                entry["compiled"],
            )
        )

    for number, line in enumerate(path.read_text(encoding="utf-8").split("\n"), 1):
        if line.startswith("== "):
            finish()
            entry = dict(name=line[3:].strip(), file=file, programs=programs, compiled=compiled,
                         old=[], new=[], context="")
        elif line.startswith(("file ", "tests ", "compile ")):
            finish()
            entry = None
            word, *rest = line.split()
            if word == "file":
                file, programs, compiled = rest[0], [], []
            elif word == "tests":
                programs = rest
            else:
                compiled = rest
        elif not line.strip() or line.startswith("#"):
            continue
        elif entry is None:
            raise SystemExit(f"{path}:{number}: a line that belongs to no entry")
        elif line[0] == "@":
            entry["context"] = line[1:].strip()
        elif line[0] == "-":
            entry["old"].append(line[1:])
        elif line[0] == "+":
            entry["new"].append(line[1:])
        elif line[0] == " ":
            entry["old"].append(line[1:])
            entry["new"].append(line[1:])
        else:
            raise SystemExit(f"{path}:{number}: not a line of a list: {line}")
    finish()
    names = [mutant.name for mutant in mutants]
    for name in names:
        if names.count(name) > 1:
            raise SystemExit(f"{path}: two entries are called {name}")
    return mutants


def read_lists(directory):
    return [mutant for path in sorted(pathlib.Path(directory).glob("*.txt")) for mutant in read_list(path)]
