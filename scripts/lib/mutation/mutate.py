#!/usr/bin/env python3
"""Samples mutants of the library, judges them and tells which ones no test notices."""

import argparse
import collections
import fcntl
import hashlib
import json
import pathlib
import random
import shutil
import sys
import threading
import time

import build as building
import judge
import mutants as finding

FOLDERS = ["core", "gamepipe", "apps", "ping", "query"]
ALL = "*"
SLOW_TEST_MSEC = 700
OUTCOMES = ["caught", "equivalent", "survived", "same code", "not compiled"]


class Worker:
    """Judges one mutant after the other in its own folder and its own Windows."""

    def __init__(self, run, number):
        self.run = run
        self.overlay = run.folder / f"worker{number}"
        self.wine = judge.Wine(run.repository, run.folder / f"wine{number}")

    def judge(self, mutant):
        shutil.rmtree(self.overlay, ignore_errors=True)
        changed = self.overlay / mutant.file
        changed.parent.mkdir(parents=True)
        changed.write_text(mutant.apply(self.run.sources[mutant.file]))
        try:
            return self.judge_overlay(mutant)
        except building.Failed as error:
            return "not compiled", str(error).strip().splitlines()[0][:200] if str(error) else ""

    def judge_overlay(self, mutant):
        native, windows = self.run.native, self.run.windows
        keys = native.objects_of(mutant.file, "unit_tests.dir")
        compiled = False
        if keys:
            replaced = native.compile_mutant(keys, self.overlay)
            compiled = bool(replaced)
            if replaced:
                program = self.overlay / "unit_tests"
                native.link("bin/unit_tests", replaced, program)
                outcome = judge.judge_output(*judge.run_program(
                    [str(program), "--gtest_fail_fast"], None, self.overlay,
                    judge.NATIVE_SECONDS))
                if outcome.caught:
                    return "caught", f"unit_tests: {outcome.by}"
        keys = windows.objects_of(mutant.file, "no test program")
        replaced = windows.compile_mutant(keys, self.overlay)
        if not replaced:
            return ("survived", "") if compiled else ("same code", "")
        return self.judge_under_wine(mutant.file.split("/")[0], replaced)

    def judge_under_wine(self, folder, replaced):
        dll = self.overlay / "launcher.dll"
        self.run.windows.link("launcher.dll", replaced, dll)
        programs = {"host_tests": self.run.windows.folder / "bin/host_tests.exe"}
        in_objects = any("launcher_objects.dir" in name for name in replaced)
        for name, gtest_filter, seconds in self.run.steps(folder):
            if name == "windows_tests" and not in_objects:
                continue
            if name not in programs:
                programs[name] = self.overlay / f"{name}.exe"
                self.run.windows.link(f"bin/{name}.exe", replaced, programs[name])
            outcome = self.wine.run(programs[name], gtest_filter, seconds, dll)
            if outcome.caught and not self.is_confirmed(name, programs[name], gtest_filter, seconds,
                                                        dll, outcome):
                # Not this mutant's doing alone. Once more, for whatever else it breaks.
                outcome = self.wine.run(programs[name], gtest_filter, seconds, dll)
            if outcome.caught:
                return "caught", f"{name}: {outcome.by}"
        return "survived", ""

    def is_confirmed(self, name, program, gtest_filter, seconds, dll, outcome):
        """Whether it fails again (the failed test alone, or all again after a crash), and the unchanged
        library does not."""
        if outcome.ended_by_us:
            return True
        again = gtest_filter if outcome.dirty else outcome.by
        if not self.wine.run(program, again, seconds, dll).caught:
            return False
        original = self.run.windows.folder
        if self.wine.run(original / f"bin/{name}.exe", again, seconds,
                         original / "launcher.dll").caught:
            # An earlier mutant has left something in this Windows.
            self.wine.clean()
            return False
        return True


class MutationRun:
    def __init__(self, arguments):
        self.repository = pathlib.Path(__file__).resolve().parents[3]
        self.folder = self.repository / "build/mutation"
        self.tree = self.folder / "tree"
        self.arguments = arguments
        self.tree.mkdir(parents=True, exist_ok=True)
        self.only_run = (self.folder / "lock").open("w")
        fcntl.flock(self.only_run, fcntl.LOCK_EX)
        building.copy_tree(self.repository, self.tree)
        self.sources = {str(path.relative_to(self.tree)): path.read_text()
                        for folder in FOLDERS for path in sorted((self.tree / folder).glob("*"))
                        if path.suffix in (".cpp", ".h")}
        self.results_path = self.folder / "results.jsonl"
        self.results = self.read_results()
        self.equivalents = read_equivalents(self.repository / "tests/mutation/equivalent.txt")
        self.lock = threading.Lock()

    def sample(self):
        """The chosen mutants: of each folder a share by the number of places, in an order that depends
        on the seed alone. A larger count adds to the sample and keeps what it had."""
        places = {folder: [] for folder in self.arguments.folder or FOLDERS}
        for name, source in self.sources.items():
            if name.split("/")[0] in places:
                places[name.split("/")[0]] += finding.find_mutants(name, source)
        whole = sum(map(len, places.values()))
        chosen = []
        for folder, found in places.items():
            # By the mutant's own text: a change in one file leaves the choice in others as it is.
            order = sorted(found, key=lambda m: hashlib.sha256(
                f"{self.arguments.seed}|{m.key()}".encode()).digest())
            chosen += order[:max(1, round(self.arguments.count * len(found) / whole))]
        random.Random(self.arguments.seed).shuffle(chosen)
        return chosen

    def build(self):
        self.native = building.Build(self.tree, self.folder / "native", "native", [
            "-DLAUNCHER_SANITIZE=OFF", "-DCMAKE_BUILD_TYPE=Release"], ["unit_tests"])
        self.windows = building.Build(self.tree, self.folder / "windows", "release", [],
                                      ["launcher", "host_tests", "windows_tests"])

    def measure(self, wine):
        """Times every test with the unchanged library; all must pass."""
        cache = self.folder / "times.json"
        programs = {name: self.windows.folder / f"bin/{name}.exe"
                    for name in ("host_tests", "windows_tests")}
        state = hashlib.sha256(b"".join(
            path.read_bytes() for path in [*programs.values(), self.windows.folder / "launcher.dll"]
        )).hexdigest()
        known = json.loads(cache.read_text()) if cache.exists() else {}
        if known.get("state") != state:
            known = {"state": state}
            for name, program in programs.items():
                print(f"Timing {name} with the unchanged library", flush=True)
                environment = dict(wine.environment,
                                   GTEST_FILTER=judge.filter_text([ALL], judge.LEFT_OUT))
                output, code = judge.run_program(wine.command(program), environment, wine.folder,
                                                 300)
                if code != 0:
                    sys.exit(f"error: {name} fails with the unchanged library:\n{output[-3000:]}")
                known[name] = {test: int(msec) for test, msec in judge.TEST_TIME.findall(output)}
            cache.write_text(json.dumps(known))
        self.times = known

    def steps(self, folder):
        """(program, filter, seconds) in the order in which a mutant of the folder meets them."""
        # Quick ones first, then the rest of the folder's, then everybody's; windows_tests has to be
        # linked for each mutant.
        for name, kind, slow in (("host_tests", "host", False), ("host_tests", "host", True),
                                 ("windows_tests", "windows", None)):
            suites = judge.suites_of(self.tree, kind, folder)
            if suites:
                yield self.step(name, suites, slow)
        for name in ("host_tests", "windows_tests"):
            yield self.step(name, [ALL], None)

    def step(self, name, wanted, slow):
        """`slow`: only the slow tests of those that are wanted, only the others, or (None) all."""
        times = self.times[name]
        slow_tests = [test for test, msec in times.items() if msec > SLOW_TEST_MSEC]
        left_out = judge.LEFT_OUT + (slow_tests if slow is False else [])
        if slow:
            wanted = [test for test in slow_tests if judge.matches(test, wanted)] or ["no such test"]
        seconds = sum(msec for test, msec in times.items()
                      if judge.matches(test, wanted) and not judge.matches(test, left_out)) / 1000
        return name, judge.filter_text(wanted, left_out), max(judge.LEAST_SECONDS,
                                                            judge.SLOWER * seconds)

    def read_results(self):
        results = {}
        if self.results_path.exists():
            for line in self.results_path.read_text().splitlines():
                result = json.loads(line)
                if result["source"] == finding.digest(self.sources.get(result["file"], "")):
                    results[result["key"]] = result
        return results

    def record(self, mutant, outcome, by, seconds):
        result = {"key": mutant.key(), "file": mutant.file, "line": mutant.line, "text": mutant.text,
                  "change": mutant.change(), "outcome": outcome, "by": by,
                  "seconds": round(seconds, 1),
                  "source": finding.digest(self.sources[mutant.file])}
        with self.lock:
            self.results[mutant.key()] = result
            with self.results_path.open("a") as results:
                results.write(json.dumps(result) + "\n")

    def known_equivalent(self, mutant):
        return (mutant.file, mutant.text, mutant.change()) in self.equivalents

    def is_open(self, mutant):
        result = self.results.get(mutant.key())
        if result is None:
            return True
        return self.arguments.again and result["outcome"] == "survived" and \
            not self.known_equivalent(mutant)

    def judge_all(self, chosen):
        waiting = collections.deque(m for m in chosen if self.is_open(m))
        if not waiting:
            return
        self.build()
        workers = [Worker(self, number) for number in range(self.arguments.jobs)]
        self.measure(workers[0].wine)
        end = time.monotonic() + 60 * self.arguments.minutes
        total = len(waiting)

        def work(worker):
            while time.monotonic() < end:
                with self.lock:
                    if not waiting:
                        return
                    mutant = waiting.popleft()
                    number = total - len(waiting)
                start = time.monotonic()
                outcome, by = worker.judge(mutant)
                seconds = time.monotonic() - start
                self.record(mutant, outcome, by, seconds)
                print(f"{number:4} of {total} {seconds:5.1f} s {outcome:12} {mutant.file}:"
                      f"{mutant.line} {mutant.change()[:60]}  {by[:70]}", flush=True)

        threads = [threading.Thread(target=work, args=(worker,)) for worker in workers]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        for worker in workers:
            worker.wine.stop()

    def summarise(self, chosen):
        """Prints the table and what survived; returns whether anything new did."""
        table = {folder: collections.Counter() for folder in FOLDERS}
        survivors = []
        for mutant in chosen:
            counts = table[mutant.file.split("/")[0]]
            result = self.results.get(mutant.key())
            if result is None:
                counts["not judged"] += 1
            elif result["outcome"] != "survived":
                counts[result["outcome"]] += 1
            elif self.known_equivalent(mutant):
                counts["equivalent"] += 1
            else:
                counts["survived"] += 1
                survivors.append(mutant)
        columns = ["mutants", *OUTCOMES, "not judged"]
        print(f"\n{'folder':10}" + "".join(f"{name:>13}" for name in columns))
        whole = collections.Counter()
        for counts in table.values():
            whole.update(counts)
        for folder, counts in [*table.items(), ("all", whole)]:
            counts["mutants"] = sum(counts[name] for name in columns[1:4])
            print(f"{folder:10}" + "".join(f"{counts[name]:13}" for name in columns))
        print("\"mutants\" counts those that differ from the library: caught, equivalent, survived.")
        for mutant in sorted(survivors, key=lambda m: (m.file, m.line)):
            print(f"\nnew survivor: {mutant.file}:{mutant.line}\nfile: {mutant.file}\n"
                  f"line: {mutant.text}\nchange: {mutant.change()}")
        return bool(survivors)


def read_equivalents(path):
    """(file, line, change) of the listed mutants; each entry also gives its reason."""
    known = {}
    text = "\n".join(line for line in path.read_text().splitlines() if not line.startswith("#"))
    for entry in filter(str.strip, text.split("\n\n")):
        fields = dict(line.split(": ", 1) for line in entry.strip().splitlines())
        if sorted(fields) != ["change", "file", "line", "reason"]:
            sys.exit(f"{path}: not 'file, line, change, reason':\n{entry}")
        known[fields["file"], fields["line"], fields["change"]] = fields["reason"]
    return known


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--count", type=int, default=400, help="mutants to choose (%(default)s)")
    parser.add_argument("--seed", default="1", help="another one chooses others (%(default)s)")
    parser.add_argument("--folder", action="append", choices=FOLDERS, help="only of these folders")
    parser.add_argument("--minutes", type=float, default=1e6,
                        help="stop after these; the next call continues")
    parser.add_argument("--jobs", type=int, default=2, help="mutants at a time (%(default)s)")
    parser.add_argument("--again", action="store_true", help="judge the new survivors once more")
    parser.add_argument("--fresh", action="store_true", help="forget all earlier results")
    arguments = parser.parse_args()

    run = MutationRun(arguments)
    if arguments.fresh:
        run.results_path.unlink(missing_ok=True)
        run.results = {}
    chosen = run.sample()
    run.judge_all(chosen)
    sys.exit(1 if run.summarise(chosen) else 0)


main()
