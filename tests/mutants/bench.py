"""Compiles one changed source, links the library that the test programs share, runs their cases."""

import atexit
import json
import os
import pathlib
import re
import resource
import shlex
import shutil
import signal
import subprocess
import tempfile
import time

CASE_SECONDS = 10  # and as many times its own time; a case that takes longer has no end
CASE_TIMES = 20
MEMORY = 4 << 30  # of a case that grows without end
FILE_SIZE = 1 << 30
LIBRARIES = ("keld_mutants", "keld_mutants_fixed")


class Broken(Exception):
    """The changed source doesn't compile or link."""


def _limits():
    resource.setrlimit(resource.RLIMIT_AS, (MEMORY, MEMORY))
    resource.setrlimit(resource.RLIMIT_FSIZE, (FILE_SIZE, FILE_SIZE))
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))


class Build:
    """The build tree: what is compiled how, linked of what, and which cases there are."""

    def __init__(self, root, directory):
        self.root = root
        self.directory = directory
        self._read()

    def _read(self):
        directory = self.directory
        self.commands = {}  # source: list of (command, object)
        for entry in json.loads((directory / "compile_commands.json").read_text()):
            command = shlex.split(entry["command"])
            source = os.path.relpath(entry["file"], self.root)
            if source.startswith("src/"):
                self.commands.setdefault(source, []).append((command, command[command.index("-o") + 1]))
        ninja = (directory / "build.ninja").read_text()
        self.objects = {}
        for library in LIBRARIES:
            line = re.search(rf"^build lib/lib{library}\.so: \S+ ([^|]*)", ninja, re.MULTILINE)
            self.objects[library] = [word for word in line.group(1).split() if word.endswith(".o")]
        self.linked_library = {}
        for match in re.finditer(r"^build bin/(\w+): .*?lib/lib(keld_mutants(?:_fixed)?)\.so", ninja, re.MULTILINE):
            self.linked_library[match.group(1)] = match.group(2)

    def make(self, programs):
        """Bring libraries and programs up to date."""
        targets = list(LIBRARIES) + sorted(programs)
        command = ["cmake", "--build", str(self.directory), "--target"] + targets
        if os.environ.get("KELD_BUILD_JOBS"):
            command += ["-j", os.environ["KELD_BUILD_JOBS"]]
        if subprocess.run(command, stdout=subprocess.DEVNULL).returncode != 0:
            raise SystemExit("The unchanged sources don't build.")
        self._read()  # it may have been configured anew

    def cases(self, program):
        """The names of a program's cases."""
        listed = subprocess.run([str(self.directory / "bin" / program), "--gtest_list_tests"],
                                capture_output=True, text=True, check=True).stdout
        names, suite = [], ""
        for line in listed.split("\n"):
            if line.startswith("  "):
                name = suite + line.split("#")[0].strip()
                if "DISABLED_" not in name:
                    names.append(name)
            elif line and not line.startswith("Running main"):
                suite = line.split("#")[0].strip()
        return names

    def stamp(self):
        """Changes when anything that the cases depend on is built anew."""
        paths = [self.directory / "lib" / f"lib{library}.so" for library in LIBRARIES]
        paths += [self.directory / "lib" / "libmervane.so"]
        paths += [self.directory / "bin" / program for program in sorted(self.linked_library)]
        return [[path.name, path.stat().st_mtime_ns] for path in paths if path.exists()]


class StoreWorkbench:
    """A working directory of its own: the changed source, its object, the library, what cases write."""

    def __init__(self, build, directory):
        self.build = build
        self.directory = directory
        self.originals = {}  # (source, flags): object
        self.linked = set()
        self.changed = {}  # object of the build tree: changed object
        for name in ("src", "lib"):
            (directory / name).mkdir(parents=True)
        # What cases write lies where the system has such things: some look at the length of a path.
        self.scratch = pathlib.Path(tempfile.mkdtemp(prefix="keld-"))
        atexit.register(shutil.rmtree, self.scratch, True)

    def compile(self, source, text, flags=(), include=None):
        """Compile a text in a source's place. Returns: the object's path."""
        command, _ = self.build.commands[source][0]
        path = self.directory / "src" / pathlib.Path(source).name
        path.write_text(text, encoding="utf-8")
        result = path.with_suffix(".o")
        command = list(command)
        command[command.index("-o") + 1] = str(result)
        command[command.index("-c") + 1] = str(path)
        extra = ["-w", "-iquote", str((self.build.root / source).parent)]
        if include is not None:  # is before the other directories
            command.insert(command.index("-o"), f"-I{include}")
            first = next(i for i, word in enumerate(command) if word.startswith("-I"))
            command.insert(first, command.pop(command.index(f"-I{include}")))
        environment = dict(os.environ, SOURCE_DATE_EPOCH="1000000000", LC_ALL="C")
        done = subprocess.run(command + extra + list(flags), cwd=self.build.directory, env=environment,
                              capture_output=True, text=True)
        if done.returncode != 0:
            error = [line for line in done.stderr.split("\n") if "error" in line]
            raise Broken((error or ["doesn't compile"])[0][-200:])
        return result

    def same_object(self, source, text, flags=()):
        """Whether the unchanged source gives the object that was just compiled."""
        changed = self.compile(source, text, flags).read_bytes()
        key = (source, tuple(flags))
        if key not in self.originals:
            original = (self.build.root / source).read_text(encoding="utf-8")
            self.originals[key] = self.compile(source, original, flags).read_bytes()
        return changed == self.originals[key]

    def put(self, sources, texts, header=None):
        """Compile the changed sources; of a header, the sources that see it."""
        self.changed, self.linked = {}, set()
        for library in (self.directory / "lib").iterdir():
            library.unlink()
        include = None
        if header is not None:
            include = self.directory / "include"
            shutil.rmtree(include, ignore_errors=True)
            place = include / pathlib.Path(header[0]).relative_to("src")
            place.parent.mkdir(parents=True)
            place.write_text(header[1], encoding="utf-8")
        for source, text in zip(sources, texts):
            compiled = self.compile(source, text, include=include)
            kept = self.directory / "lib" / (source.replace("/", "_") + ".o")
            compiled.rename(kept)
            for _, target in self.build.commands[source]:
                self.changed[target] = str(kept)

    def _link(self, library):
        if library in self.linked:
            return
        self.linked.add(library)
        objects = self.build.objects[library]
        if not any(name in self.changed for name in objects):
            return
        name = f"lib{library}.so"
        compiler = next(iter(self.build.commands.values()))[0][0][:1]
        if "ccache" in compiler[0]:
            compiler = next(iter(self.build.commands.values()))[0][0][1:2]
        command = compiler + ["-shared", "-o", str(self.directory / "lib" / name), f"-Wl,-soname,{name}"]
        command += [self.changed.get(path, path) for path in objects]
        done = subprocess.run(command, cwd=self.build.directory, capture_output=True, text=True)
        if done.returncode != 0:
            raise Broken("doesn't link: " + done.stderr.strip().split("\n")[-1][-200:])

    def run(self, program, case, usual=CASE_SECONDS):
        """Run one case that usually takes so many seconds. Returns: whether it succeeded, and its seconds."""
        self._link(self.build.linked_library[program])
        scratch = self.scratch
        environment = dict(os.environ, LD_LIBRARY_PATH=str(self.directory / "lib"), TMPDIR=str(scratch))
        begun = time.monotonic()
        process = subprocess.Popen(
            [str(self.build.directory / "bin" / program), f"--gtest_filter={case}", "--gtest_brief=1"],
            cwd=scratch, env=environment, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
            stderr=subprocess.DEVNULL, start_new_session=True, preexec_fn=_limits)
        try:
            good = process.wait(CASE_SECONDS + CASE_TIMES * usual) == 0
        except subprocess.TimeoutExpired:
            good = False
        finally:
            try:
                os.killpg(process.pid, signal.SIGKILL)  # and what it has started
            except ProcessLookupError:
                pass
            process.wait()
        return good, time.monotonic() - begun

    def clean(self):
        """Leave nothing of a case to the next one's mutant."""
        shutil.rmtree(self.scratch, ignore_errors=True)
        self.scratch.mkdir(exist_ok=True)
