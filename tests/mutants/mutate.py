"""Are the tests able to fail? See README.md beside this file."""

import argparse
import atexit
import collections
import concurrent.futures
import fcntl
import json
import os
import pathlib
import queue
import shutil
import signal
import sys
import threading
import time

import mechanical
from bench import CASE_SECONDS, CASE_TIMES, StoreWorkbench, Broken, Build
from mutant import Mutant, Stale, read_list, read_lists

HERE = pathlib.Path(__file__).resolve().parent
ROOT = HERE.parent.parent
BUILD = ROOT / "build" / "mutants"

NOTICED, SURVIVED, STALE, BROKEN, EQUIVALENT = "noticed", "SURVIVED", "STALE", "BROKEN", "equivalent"


class Outcome:
    def __init__(self, mutant, result, detail="", seconds=0.0):
        self.mutant, self.result, self.detail, self.seconds = mutant, result, detail, seconds

    def line(self):
        mutant = self.mutant
        text = f"{self.result:10} {mutant.subject}: {mutant.name} ({mutant.file})"
        return text + (f": {self.detail}" if self.detail else "") + f" [{self.seconds:.1f} s]"


class Memory:
    """What earlier runs found out: which case noticed a change, and how long cases take."""

    def __init__(self, path):
        self.path = path
        self.data = {"noticed": {}, "by_file": {}, "green": None, "seconds": {}}
        try:
            self.data.update(json.loads(path.read_text()))
        except (OSError, ValueError):
            pass
        self.lock = threading.Lock()

    def save(self):
        with self.lock:
            text = json.dumps(self.data)
        new = self.path.with_suffix(".new")
        new.write_text(text)
        new.replace(self.path)

    def noticed(self, mutant, program, case):
        with self.lock:
            self.data["noticed"][mutant.key] = [program, case]
            counts = self.data["by_file"].setdefault(mutant.file, {})
            counts[f"{program} {case}"] = counts.get(f"{program} {case}", 0) + 1

    def order(self, mutant, cases):
        """The cases of a mutant, the likeliest ones first, the long ones last."""
        first = self.data["noticed"].get(mutant.key)
        with self.lock:
            counts = dict(self.data["by_file"].get(mutant.file, {}))
        seconds = self.data["seconds"]

        def rank(place_and_case):
            place, (program, case) = place_and_case
            name = f"{program} {case}"
            length = seconds.get(name, 0.1)
            return ([program, case] != first, -min(counts.get(name, 0), 50), length > 0.5, place)

        return [case for _, case in sorted(enumerate(cases), key=rank)]


class Runner:
    def __init__(self, build, memory, programs_of, jobs):
        self.build, self.memory, self.programs_of, self.jobs = build, memory, programs_of, jobs
        self.cases = {}
        self.stop = threading.Event()
        self.directory = BUILD / "run" / str(os.getpid())
        atexit.register(shutil.rmtree, self.directory, True)
        self.benches = queue.Queue()
        for number in range(jobs):
            self.benches.put(StoreWorkbench(build, self.directory / str(number)))

    def prepare(self, mutants):
        """Build what the mutants need, and see that the tests are green without them."""
        programs = {name for mutant in mutants for name in self.programs(mutant)}
        self.build.make(programs)
        for program in sorted(programs):
            self.cases[program] = self.build.cases(program)
        stamp = self.build.stamp()
        if self.memory.data["green"] != stamp:
            self.memory.data["green"], self.memory.data["seconds"] = stamp, {}
        wanted = [(program, case) for program in sorted(programs) for case in self.cases[program]]
        known = self.memory.data["seconds"]
        missing = [one for one in wanted if " ".join(one) not in known]
        if missing:
            print(f"{len(missing)} cases over the unchanged sources", flush=True)
        red = [one for one, (good, seconds) in self.each(self._plain, missing) if not good]
        if red:
            raise SystemExit("Not green without any change: " + ", ".join(" ".join(one) for one in red))
        self.memory.save()

    def _plain(self, bench, one):
        good, seconds = bench.run(*one)
        if good:
            with self.memory.lock:
                self.memory.data["seconds"][" ".join(one)] = seconds
        return good, seconds

    def programs(self, mutant):
        if mutant.programs:
            return mutant.programs
        best = max((path for path in self.programs_of if mutant.file.startswith(path)), key=len, default=None)
        if best is None:
            raise SystemExit(f"programs.txt has no line for {mutant.file}")
        return self.programs_of[best]

    def each(self, function, things):
        """function(bench, thing) for each thing; yields (thing, result) as they end."""

        def one(thing):
            if self.stop.is_set():
                return None
            bench = self.benches.get()
            try:
                return function(bench, thing)
            finally:
                bench.clean()
                self.benches.put(bench)

        with concurrent.futures.ThreadPoolExecutor(self.jobs) as pool:
            waiting = {pool.submit(one, thing): thing for thing in things}
            try:
                for done in concurrent.futures.as_completed(waiting):
                    yield waiting[done], done.result()
            except (KeyboardInterrupt, SystemExit):
                self.stop.set()
                raise
            finally:
                for future in waiting:
                    future.cancel()

    def try_mutant(self, bench, mutant):
        begun = time.monotonic()

        def outcome(result, detail=""):
            return Outcome(mutant, result, detail, time.monotonic() - begun)

        try:
            text = (ROOT / mutant.file).read_text(encoding="utf-8")
            changed = mutant.apply(text)
            is_mechanical = isinstance(mutant, mechanical.MechanicalMutant)
            if mutant.compiled:
                sources = mutant.compiled
                texts = [(ROOT / source).read_text(encoding="utf-8") for source in sources]
                bench.put(sources, texts, header=(mutant.file, changed))
            else:
                if is_mechanical and bench.same_object(mutant.file, changed):
                    return outcome(EQUIVALENT, "the same object")
                bench.put([mutant.file], [changed])
            cases = [(program, case) for program in self.programs(mutant) for case in self.cases[program]]
            for program, case in self.memory.order(mutant, cases):
                if self.stop.is_set():
                    return None
                usual = self.memory.data["seconds"].get(f"{program} {case}", 1)
                good, seconds = bench.run(program, case, usual)
                if not good:
                    self.memory.noticed(mutant, program, case)
                    endless = seconds > CASE_SECONDS + CASE_TIMES * usual
                    return outcome(NOTICED, case + (" (without an end)" if endless else ""))
            if is_mechanical and bench.same_object(mutant.file, changed, ["-O2"]):
                return outcome(EQUIVALENT, "the same optimised object")
            return outcome(SURVIVED)
        except Stale as error:
            return outcome(STALE, str(error))
        except Broken as error:
            return outcome(BROKEN, str(error))


def read_programs():
    programs = {}
    for line in (HERE / "programs.txt").read_text().split("\n"):
        if line.strip() and not line.startswith("#"):
            path, *names = line.split()
            programs[path] = names
    return programs


def choose_listed(arguments):
    mutants = read_lists(arguments.lists)
    if arguments.subject:
        unknown = set(arguments.subject) - {mutant.subject for mutant in mutants}
        if unknown:
            raise SystemExit(f"no such subject: {', '.join(sorted(unknown))}")
        mutants = [mutant for mutant in mutants if mutant.subject in arguments.subject]
    if arguments.names:
        mutants = [mutant for mutant in mutants if any(name in mutant.name for name in arguments.names)]
        if not mutants:
            raise SystemExit("no entry has such a name")
    return mutants


class Report:
    """What is found goes to the screen and to a file."""

    def __init__(self, path):
        self.file = path.open("w", encoding="utf-8")

    def say(self, text=""):
        print(text, flush=True)
        self.file.write(text + "\n")
        self.file.flush()


def run_listed(runner, mutants, report):
    """Returns: the outcomes that are not as they should be."""
    bad, counts = [], collections.defaultdict(collections.Counter)
    for _, outcome in runner.each(runner.try_mutant, mutants):
        if outcome is None:
            continue
        report.say(outcome.line())
        counts[outcome.mutant.subject][outcome.result] += 1
        if outcome.result != NOTICED:
            bad.append(outcome)
        runner.memory.save()
    report.say()
    for subject in sorted(counts):
        report.say(f"{subject:12} {counts[subject][NOTICED]:4} of {sum(counts[subject].values()):4}")
    total = sum(sum(count.values()) for count in counts.values())
    report.say(f"listed: {total - len(bad)} of {total} noticed")
    for outcome in bad:
        report.say(outcome.line())
    return bad


def read_equivalent():
    known = {}
    path = HERE / "equivalent.txt"
    for mutant in read_list(path) if path.exists() else []:
        known[(mutant.file, mutant.old.strip(), mutant.new.strip())] = mutant.name
    return known


def run_mechanical(runner, mutants, wanted, report):
    """Try mutants in their order until `wanted` of them count."""
    known = read_equivalent()
    counts = collections.defaultdict(collections.Counter)
    survivors, equivalent, left_out, counted = [], [], 0, 0
    waiting = iter(mutants)
    while counted < wanted and not runner.stop.is_set():
        batch = [mutant for _, mutant in zip(range(min(wanted - counted, 4 * runner.jobs)), waiting)]
        if not batch:
            break
        tried = []
        for mutant in batch:
            reason = known.get((mutant.file, mutant.old.strip(), mutant.new.strip()))
            if reason is None:
                tried.append(mutant)
            else:
                equivalent.append(f"{mutant.file}, {mutant.name}: {reason}")
        for _, outcome in runner.each(runner.try_mutant, tried):
            if outcome is None:
                continue
            report.say(outcome.line())
            if outcome.result not in (NOTICED, SURVIVED):
                left_out += 1
                continue
            counted += 1
            counts[str(pathlib.Path(outcome.mutant.file).parent)][outcome.result] += 1
            if outcome.result == SURVIVED:
                survivors.append(outcome)
        runner.memory.save()
    report.say()
    for outcome in sorted(survivors, key=lambda one: one.mutant.file):
        report.say(outcome.line())
        report.say("    - " + outcome.mutant.old.replace("\n", "\n      "))
        report.say("    + " + outcome.mutant.new.replace("\n", "\n      "))
    for text in equivalent:
        report.say(f"left out as equivalent: {text}")
    report.say()
    for directory in sorted(counts):
        noticed, total = counts[directory][NOTICED], sum(counts[directory].values())
        report.say(f"{directory:28} {noticed:4} of {total:4}  {100 * noticed // total:3} %")
    if counted:
        share = 100 * (counted - len(survivors)) / counted
        report.say(f"mechanical: {counted - len(survivors)} of {counted} noticed, {share:.1f} % "
                   f"({left_out} that don't compile or give the same object, "
                   f"{len(equivalent)} known as equivalent don't count)")


def self_test(runner, report):
    """A change that changes nothing, one without its text, one that doesn't compile, and a real one."""
    def control(name, old, new):
        return Mutant("control", name, "src/basetool/keld_paramline.cpp", old, new, "", ["basetool_text_test"])

    expected = [
        (control("a change that changes nothing", "return 1;", "return 2 - 1;"), SURVIVED),
        (control("a text that is gone", "no such text", ""), STALE),
        (control("a text that is there twice", "return 0;", "return 1;"), STALE),
        (control("a change that doesn't compile", "return 1;", "return one;"), BROKEN),
        (control("a change that matters", "return 1;", "return 0;"), NOTICED),
        (control("a change without an end", "++pEnd;", "(void)pEnd;"), NOTICED),
    ]
    runner.prepare([mutant for mutant, _ in expected])
    wrong = 0
    wanted = {id(mutant): result for mutant, result in expected}
    for mutant, outcome in runner.each(runner.try_mutant, [mutant for mutant, _ in expected]):
        good = outcome.result == wanted[id(mutant)]
        wrong += not good
        report.say(("as expected: " if good else "NOT AS EXPECTED: ") + outcome.line())
    return wrong


def main():
    parser = argparse.ArgumentParser(prog="scripts/mutate", description=__doc__)
    parser.add_argument("names", nargs="*", help="listed entries whose names have one of these texts in them")
    parser.add_argument("--subject", action="append", help="only this list; may be given again")
    parser.add_argument("--listed", action="store_true", help="the lists only")
    parser.add_argument("--mechanical", type=int, metavar="N", help="only N mechanical ones")
    parser.add_argument("--all", action="store_true", help="only the mechanical ones, all of them")
    parser.add_argument("--in", dest="inside", metavar="PATH", default="src/",
                        help="mechanical ones of these sources only")
    parser.add_argument("--seed", type=int, default=1, help="of the order of the mechanical ones (1)")
    parser.add_argument("--jobs", type=int, default=os.cpu_count(), help="mutants at a time")
    parser.add_argument("--self-test", action="store_true", help="the controls that must fail, and nothing else")
    parser.add_argument("--lists", type=pathlib.Path, default=HERE / "listed", help="another directory of lists")
    parser.add_argument("--check-lists", action="store_true", help="only whether every entry finds its text")
    arguments = parser.parse_args()

    if arguments.check_lists:
        stale = 0
        for mutant in read_lists(arguments.lists):
            try:
                mutant.apply((ROOT / mutant.file).read_text(encoding="utf-8"))
            except (Stale, OSError) as error:
                print(f"{mutant.subject}: {mutant.name}: {error}")
                stale += 1
        return 1 if stale else 0

    lock = (BUILD / "lock").open("w")
    try:
        fcntl.flock(lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
    except OSError:
        raise SystemExit("Another run is under way in this tree.")
    shutil.rmtree(BUILD / "run", ignore_errors=True)  # of a run that was killed
    build = Build(ROOT, BUILD)
    runner = Runner(build, Memory(BUILD / "memory.json"), read_programs(), arguments.jobs)
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(143))
    report = Report(BUILD / "report.txt")
    begun = time.monotonic()
    bad = []
    try:
        if arguments.self_test:
            return 1 if self_test(runner, report) else 0
        only_mechanical = arguments.mechanical is not None or arguments.all
        if not only_mechanical:
            mutants = choose_listed(arguments)
            runner.prepare(mutants)
            bad = run_listed(runner, mutants, report)
        if only_mechanical or not (arguments.listed or arguments.names or arguments.subject):
            files = sorted(name for name in build.commands
                           if name.startswith(arguments.inside) and "_windows" not in name)
            candidates = mechanical.in_random_order(mechanical.all_mutants(ROOT, files), arguments.seed)
            wanted = len(candidates) if arguments.all else arguments.mechanical or 150
            report.say(f"\n{len(candidates)} mechanical mutants, {min(wanted, len(candidates))} of them wanted")
            runner.prepare(candidates)
            run_mechanical(runner, candidates, wanted, report)
        report.say(f"{(time.monotonic() - begun) / 60:.1f} minutes")
    except BaseException:
        runner.stop.set()
        raise
    finally:
        runner.memory.save()
    return 1 if bad else 0


if __name__ == "__main__":
    sys.exit(main())
