"""Wrong changes made by simple rules, without knowledge of what the source is for."""

import random
import re

from mutant import Mutant

TURNED = {"==": "!=", "!=": "==", "<": "<=", ">": ">=", "<=": "<", ">=": ">"}


def blank_out(text, strings):
    """The source with comments, preprocessor lines and what is for Windows blanked out, of equal
    length; with `strings` the contents of literals as well."""
    pattern = re.compile(
        r'//[^\n]*|/\*.*?\*/|"(?:\\.|[^"\\\n])*"|\'(?:\\.|[^\'\\\n])*\'', re.DOTALL
    )

    def blank(match):
        found = match.group()
        if found.startswith("/"):
            return re.sub(r"[^\n]", " ", found)
        return found[0] + " " * (len(found) - 2) + found[-1] if strings else found

    lines = pattern.sub(blank, text).split("\n")
    hidden = []  # of each open #if whether its part is for Windows
    for i, line in enumerate(lines):
        if line.lstrip().startswith("#"):
            if re.match(r"\s*#\s*if", line):
                hidden.append("_WIN32" in line and "!" not in line)
            elif re.match(r"\s*#\s*else", line) and hidden:
                hidden[-1] = not hidden[-1] and any("_WIN32" in other for other in lines[:i])
            elif re.match(r"\s*#\s*endif", line) and hidden:
                hidden.pop()
            lines[i] = " " * len(line)
        elif any(hidden):
            lines[i] = " " * len(line)
    return "\n".join(lines)


def _candidates(text):
    """Tuples of rule, start, end and new text."""
    code = blank_out(text, strings=True)
    for match in re.finditer(r"(?<= )(==|!=|<=|>=|<|>)(?= )", code):
        yield "a comparison turned", match.start(), match.end(), TURNED[match.group()]
    for match in re.finditer(r"&&|\|\|", code):
        if code[match.end()] == " " or code[match.end()] == "\n":
            yield "and and or swapped", match.start(), match.end(), "||" if match.group() == "&&" else "&&"
    for match in re.finditer(r"(?<![\w.])\d+U?L*(?![\w.])", code):
        before = code[: match.start()]
        if re.search(r"\w\[$", before) and re.match(r"\]\s*(=|;|\{|\()", code[match.end() :]):
            continue  # the room of an array
        number = re.match(r"\d+", match.group()).group()
        yield "a number changed", match.start(), match.end(), str(int(number) + 1) + match.group()[len(number) :]
    for match in re.finditer(r"\b(true|false)\b", code):
        yield "a flag turned", match.start(), match.end(), "false" if match.group() == "true" else "true"
    for match in re.finditer(r"\bif (constexpr )?\(", code):
        end = _closing(code, match.end() - 1)
        inside = text[match.end() : end]
        condition = inside.rsplit(";", 1)[-1] if ";" in code[match.end() : end] else inside
        start = end - len(condition)
        yield "a condition negated", start, end, " !(" + condition.strip() + ")" + "\n" * condition.count("\n")
    for match in re.finditer(r"\breturn (i[A-Z]\w*);", code):
        yield "a status replaced by 0", match.start(1), match.end(1), "0"
    for match in re.finditer(r"(?<=[;{}):])(\s*)((?:\(void\))?[A-Za-z_][\w:.]*(?:->\w+)*\()", code):
        name = match.group(2)
        if code[: match.start(2)].endswith("(void)"):
            continue
        if re.match(r"(if|for|while|switch|return|sizeof|catch|do|else)\b", name):
            continue
        end = _closing(code, match.end() - 1) + 1
        if code[end : end + 1] != ";":
            continue
        yield "a call dropped", match.start(2), end, "\n" * text[match.start(2) : end].count("\n")
    for match in re.finditer(r'"( *)"', code):
        if text[match.start() - 8 : match.start()].strip().endswith(("extern", "include")):
            continue
        yield "a text changed", match.start(), match.start() + 1, '"~'


def _closing(code, opening):
    depth = 0
    for i in range(opening, len(code)):
        depth += {"(": 1, ")": -1}.get(code[i], 0)
        if depth == 0:
            return i
    return len(code)


class MechanicalMutant(Mutant):
    """A change at a place of the source as it is now."""

    def __init__(self, file, text, rule, start, end, new):
        line = text.count("\n", 0, start) + 1
        first = text.rfind("\n", 0, start) + 1
        last = text.find("\n", end)
        super().__init__("/".join(file.split("/")[:-1]), f"{rule}, line {line}", file,
                         text[first:last].strip(), (text[first:start] + new + text[end:last]).strip())
        self._place = (start, end, new)

    def apply(self, text):
        start, end, new = self._place
        return text[:start] + new + text[end:]


def all_mutants(root, files):
    for file in files:
        text = (root / file).read_text(encoding="utf-8")
        for rule, start, end, new in _candidates(text):
            yield MechanicalMutant(file, text, rule, start, end, new)


def in_random_order(mutants, seed):
    mutants = list(mutants)
    random.Random(seed).shuffle(mutants)
    return mutants
