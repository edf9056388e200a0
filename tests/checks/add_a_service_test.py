"""Follows docs/add-a-service.md in a copy of the files that it names: each step has to be missed before it is
done, and nothing after it. Of the library the new source alone is compiled.
add_a_service_test.py SOURCE_DIRECTORY WORK_DIRECTORY CMAKE COMPILER NM GENERATED_DIRECTORY"""

import pathlib
import re
import shutil
import subprocess
import sys

SERVICE = "KELD_ObjectText"
COMPARED = {"src/platform/keld_se.h", "cmake/exports/keld_se.txt", "docs/services.md",
            "tests/fuzz/CMakeLists.txt", "tests/faults/*_sweep_test.cpp",
            "tests/memory/entry_memory_test.cpp"}
STEP = re.compile(r"^## \d+\. `([^`]+)`\n(.*?)(?=^## |\Z)", re.M | re.S)
PLACE = re.compile(r"^(A new file|At the end|Before the line `([^`]+)`|"
                   r"After the last line that begins with (?:`([^`]+)`|``(.+?)``)):\n\n```\w*\n(.*?)^```$", re.M | re.S)

source, work, cmake, compiler, nm, generated = sys.argv[1:]
source, work = pathlib.Path(source), pathlib.Path(work)
copy, build = work / "copy", work / "build"


def fail(text):
    sys.exit(f"add-a-service: {text}")


def run(*command, wanted=0):
    done = subprocess.run([str(word) for word in command], capture_output=True, text=True, check=False)
    if (done.returncode == 0) != (wanted == 0):
        fail(f"{' '.join(map(str, command))} ends with {done.returncode}\n{done.stdout}{done.stderr}")
    return done.stdout


def follow(path, body):
    """Do what a step says."""
    found = PLACE.search(body)
    if not found:
        fail(f"the step of {path} says no place and no text")
    kind, before, after, quoted, text = found.groups()
    file = copy / path
    if kind == "A new file":
        if file.exists():
            fail(f"{path} isn't new")
        file.parent.mkdir(exist_ok=True)
        file.write_text(text)
        return
    lines = file.read_text().splitlines(keepends=True)
    if kind == "At the end":
        at = len(lines)
    elif before:
        fits = [i for i, line in enumerate(lines) if line.strip() == before]
        at = fits[0] if fits else fail(f"{path} has no line {before}")
    else:
        fits = [i for i, line in enumerate(lines) if line.startswith(after or quoted)]
        at = fits[-1] + 1 if fits else fail(f"{path} has no line that begins with {after or quoted}")
    file.write_text("".join(lines[:at]) + text + "".join(lines[at:]))


def differing():
    """The files that the comparison names."""
    done = subprocess.run([work / "differences", copy], capture_output=True, text=True, check=False)
    lines = done.stdout.splitlines()
    if done.returncode not in (0, 1) or (done.returncode == 1) != bool(lines):
        fail(f"the comparison ends with {done.returncode}\n{done.stdout}{done.stderr}")
    for line in lines:
        if line.split(": ", 1)[1] != f"{SERVICE} isn't there":
            fail(f"an unexpected difference: {line}")
    return {line.split(": ", 1)[0] for line in lines}


shutil.rmtree(work, ignore_errors=True)
for part in ("src", "cmake", "tools/keld", "tests/docs", "tests/fuzz", "tests/faults", "tests/memory"):
    shutil.copytree(source / part, copy / part, ignore=shutil.ignore_patterns("corpus"))
for part in ("CMakeLists.txt", "LICENSE", "docs/services.md"):
    (copy / part).parent.mkdir(exist_ok=True)
    shutil.copy(source / part, copy / part)
steps = STEP.findall((source / "docs/add-a-service.md").read_text())
if len(steps) < 10:
    fail(f"the page has {len(steps)} steps")

# The library alone, as it is before.
run(cmake, "-S", copy, "-B", build, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Debug", "-DKELD_WORKBENCH=OFF",
    "-DKELD_TESTS=OFF", f"-DCMAKE_CXX_COMPILER={compiler}")


def exported():
    return f"    {SERVICE};\n" in (build / "src/keld_se.map").read_text()


if exported():
    fail(f"{SERVICE} is exported before it is added")
objects = "src/CMakeFiles/keld_se_objects.dir"
missing = set(COMPARED)
for path, body in steps:
    new_object = f"{objects}/{path.removeprefix('src/')}.o"
    if path.startswith("src/") and path.endswith(".cpp"):
        run(cmake, "--build", build, "--target", new_object, wanted=1)  # control: it isn't known yet
    follow(path, body)
    if path == "tools/keld/services.cpp":
        run(compiler, "-std=c++20", f"-I{copy}", copy / path, source / "tests/checks/service_differences.cpp",
            copy / "tests/docs/service_differences.cpp", "-o", work / "differences")
    elif path.startswith("src/") and path.endswith(".cpp"):
        compiled = new_object  # after the header, which comes later
    else:
        missing.discard(re.sub(r"\w+(?=_sweep_test\.cpp)", "*", path))
    if differing() != missing:
        fail(f"after the step of {path} the comparison names {sorted(differing())}, not {sorted(missing)}")
if missing:
    fail(f"after the last step the service isn't in {', '.join(sorted(missing))}")

# The folder is found, the source compiles, and its function is one of those that are exported.
run(cmake, "--build", build, "--target", compiled)
if not re.search(rf"^\S+ T {SERVICE}$", run(nm, build / compiled), re.M):
    fail(f"{compiled} doesn't define {SERVICE}")
if not exported():
    fail(f"{SERVICE} isn't among the exported names")
# The tests of the page compile; what they include and the page doesn't change is that of the project.
for path, _ in steps:
    if path.startswith("tests/") and path.endswith(".cpp"):
        run(compiler, "-std=c++20", "-fsyntax-only", f"-I{copy}", f"-I{copy}/src", f"-I{source}", f"-I{generated}",
            '-DKELD_TRACE_FILE="page"', copy / path)
print(f"{len(steps)} steps of the page add {SERVICE}")
