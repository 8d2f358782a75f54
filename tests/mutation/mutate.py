"""scripts/mutate: breaks the library in one place at a time and runs the tests. README.md describes it."""

import argparse
import collections
import fcntl
import fnmatch
import hashlib
import json
import os
import pathlib
import random
import re
import shlex
import shutil
import signal
import subprocess
import sys
import threading
import time

import places

FOLDERS = ["core", "gamepipe", "apps", "ping", "query"]
OUTCOMES = ["caught", "equivalent", "survived", "same code", "not compiled"]
# Tests of the DLL's file, or of programs other than the library.
LEFT_OUT = ["FaultImportsTable*", "DemoHost*", "Kit*", "CHeader*"]
SLOW_TEST_MSEC = 700
# A program may take this many times as long as it did with the unchanged library.
SLOWER = 4
LEAST_SECONDS = 20
NATIVE_SECONDS = 8
TOOL_SECONDS = 120
TEST_TIME = re.compile(r"\[       OK \] ([^\s,]+).* \((\d+) ms\)$", re.MULTILINE)
TEST_MACRO = re.compile(r"^TEST(?:_[FP])?\((\w+),", re.MULTILINE)
FAILED_TEST = re.compile(r"^\[  FAILED  \] (\w\S*?)(?:,| \(|$)", re.MULTILINE)
RUNNING_TEST = re.compile(r"^\[ RUN      \] (\S+)", re.MULTILINE)


class NotBuilt(Exception):
    """A compiler or a linker refused a mutant."""


def run_tool(command, folder):
    try:
        subprocess.run(command, cwd=folder, check=True, stdin=subprocess.DEVNULL, capture_output=True,
                       timeout=TOOL_SECONDS)
    except (subprocess.CalledProcessError, subprocess.TimeoutExpired) as error:
        raise NotBuilt((error.stderr or b"").decode(errors="replace")[:200]) from error


def copy_tree(repository, tree):
    """Copies what changed since the last time, so that little is built anew."""
    listed = subprocess.run(["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"],
                            cwd=repository, check=True, capture_output=True, text=True).stdout
    names = {n for n in listed.split("\0") if n and (repository / n).is_file()}
    for name in names:
        copy = tree / name
        if not copy.exists() or copy.read_bytes() != (repository / name).read_bytes():
            copy.parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(repository / name, copy)
    for path in [p for p in tree.rglob("*") if p.is_file()]:
        if str(path.relative_to(tree)) not in names:
            path.unlink()


class Build:
    """A build of the unchanged library, and how to compile and link the few files that a mutant changes."""

    def __init__(self, tree, folder, preset, options, targets, program):
        self.tree = tree
        self.folder = folder
        subprocess.run(["cmake", "--preset", preset, "-S", str(tree), "-B", str(folder),
                        "--log-level=WARNING", *options], cwd=tree, check=True, stdout=subprocess.DEVNULL)
        subprocess.run(["cmake", "--build", str(folder), "--target", *targets], check=True)
        self.read(program)

    def read(self, program):
        folder = self.folder
        self.commands = {}  # object -> words of the command that compiles it
        for entry in json.loads((folder / "compile_commands.json").read_text()):
            if not entry["file"].endswith(".cpp"):
                continue  # Resources are compiled by another program, with other options.
            command = shlex.split(entry["command"])
            name = command[command.index("-o") + 1]
            if re.search(rf"launcher_objects\.dir|launcher\.dir|{program}\.dir", name):
                self.commands[name] = command
        self.needs = {}  # object -> files that it is made of
        for line in self.ninja("deps"):
            if line.startswith(" "):
                needed.add(os.path.normpath(folder / line.strip()))
            elif line:
                needed = self.needs[line.partition(":")[0]] = set()
        self.unchanged = {}

    def ninja(self, tool, *arguments):
        return subprocess.run(["ninja", "-t", tool, *arguments], cwd=self.folder, check=True,
                              capture_output=True, text=True).stdout.splitlines()

    def compile(self, name, overlay, output):
        """The object, with the files in `overlay` in place of the tree's; its code, to compare."""
        command = [word for word in self.commands[name]
                   if word not in ("-g", "-Werror") and not word.startswith("-W")]
        source = command.index("-c") + 1
        changed = overlay / pathlib.Path(command[source]).relative_to(self.tree)
        if changed.exists():
            command[source] = str(changed)
        command[command.index("-o") + 1] = str(output)
        for option in ("-MF", "-MT"):
            if option in command:
                command[command.index(option) + 1] = f"{output}.d"
        command[1:1] = ["-w", "-Werror=return-type", f"-ffile-prefix-map={overlay}=.", f"-I{overlay}",
                        f"-I{overlay}/include"]
        run_tool(command, self.folder)
        content = output.read_bytes()
        # Without the time in the header of a Windows object.
        return content[:4] + content[8:] if content[:2] == b"\x64\x86" else content

    def compile_mutant(self, file, overlay):
        """Object in the build folder -> object of the mutant, of those whose code differs."""
        changed = {}
        for name in self.commands:
            if str(self.tree / file) not in self.needs.get(name, ()):
                continue
            output = overlay / f"{len(changed)}.obj"
            code = self.compile(name, overlay, output)
            if name not in self.unchanged:
                self.unchanged[name] = self.compile(name, overlay / "nothing", overlay / "unchanged.obj")
            if code != self.unchanged[name]:
                changed[name] = str(output)
        return changed

    def link(self, target, replaced, output):
        line = next(c for c in reversed(self.ninja("commands", target)) if f" -o {target} " in c)
        command = shlex.split(next(part for part in line.split("&&") if f" -o {target} " in part))
        command = [re.sub(r"(--out-implib,).*", rf"\1{output}.a", replaced.get(word, word))
                   for word in command]
        command[command.index("-o") + 1] = str(output)
        run_tool([*command, "-s"], self.folder)
        return output


def run_program(command, environment, folder, seconds):
    """What a program prints and its exit code, None when it had to be ended."""
    process = subprocess.Popen(command, cwd=folder, env=environment, stdin=subprocess.DEVNULL,
                               stdout=subprocess.PIPE, stderr=subprocess.STDOUT, start_new_session=True)
    code = None
    try:
        output, _ = process.communicate(timeout=seconds)
        code = process.returncode
    except subprocess.TimeoutExpired:
        os.killpg(process.pid, signal.SIGKILL)
        try:
            output, _ = process.communicate(timeout=5)
        except subprocess.TimeoutExpired:
            output = b""  # A program that it started holds the output open, and ends with its Windows.
    return output.decode(errors="replace").replace("\r\n", "\n"), code


def judge(output, code):
    """(who noticed or None, whether the program may have left something behind)"""
    if code == 0:
        return None, False
    failed = FAILED_TEST.search(output)
    if code == 1 and failed:
        return failed[1], False
    running = RUNNING_TEST.findall(output)
    return f"{'no end' if code is None else 'a crash'} in {running[-1] if running else 'the start'}", True


class Wine:
    """A Windows installation that belongs to one worker."""

    def __init__(self, repository, folder):
        self.repository = repository
        self.folder = folder
        self.pristine = folder / "pristine"
        self.environment = self.start()
        if not self.pristine.exists():
            self.stop()
            self.pristine.mkdir()
            for path in (folder / "prefix").glob("*.reg"):
                shutil.copy(path, self.pristine)
        self.clean()  # Whatever an interrupted run left.

    def start(self):
        script = '. scripts/lib/wine.sh; wineFolder=$1; UseWine; PrepareWine; StartWine; env -0'
        output = subprocess.run(["bash", "-c", script, "bash", str(self.folder)], cwd=self.repository,
                                check=True, capture_output=True).stdout
        return dict(entry.split("=", 1) for entry in output.decode().split("\0") if "=" in entry)

    def stop(self):
        for option in ("-k", "-w"):
            subprocess.run(["wineserver", option], env=self.environment, stdout=subprocess.DEVNULL,
                           stderr=subprocess.DEVNULL)

    def clean(self):
        """After a program that could not put the registry back, or that left others running."""
        self.stop()
        for path in self.pristine.glob("*.reg"):
            shutil.copy(path, self.folder / "prefix")
        self.start()

    def run(self, program, gtest_filter, seconds, *options, dll=None):
        environment = dict(self.environment, GTEST_FILTER=gtest_filter)
        if dll:
            environment["LAUNCHER_DLL"] = "Z:" + str(dll).replace("/", "\\")
        command = [*self.environment["LAUNCHER_WINE_COMMAND"].split(), str(program), *options]
        return run_program(command, environment, self.folder, seconds)


class Worker:
    """Judges one mutant after the other in its own folder and its own Windows."""

    def __init__(self, run, number):
        self.run = run
        self.overlay = run.folder / f"worker{number}"
        self.wine = Wine(run.repository, run.folder / f"wine{number}")

    def judge(self, mutant):
        shutil.rmtree(self.overlay, ignore_errors=True)
        changed = self.overlay / mutant.file
        changed.parent.mkdir(parents=True)
        changed.write_text(mutant.apply(self.run.sources[mutant.file]))
        try:
            return self.judge_overlay(mutant)
        except NotBuilt as error:
            return "not compiled", str(error).strip().partition("\n")[0]

    def judge_overlay(self, mutant):
        native = self.run.native.compile_mutant(mutant.file, self.overlay)
        if native:
            program = self.run.native.link("bin/unit_tests", native, self.overlay / "unit_tests")
            by, _ = judge(*run_program([program, "--gtest_fail_fast"], None, self.overlay, NATIVE_SECONDS))
            if by:
                return "caught", f"unit_tests: {by}"
        windows = self.run.windows
        replaced = windows.compile_mutant(mutant.file, self.overlay)
        if not replaced:
            return ("survived" if native else "same code"), ""
        dll = windows.link("launcher.dll", replaced, self.overlay / "launcher.dll")
        programs = {"host_tests": windows.folder / "bin/host_tests.exe"}
        for name, gtest_filter, seconds in self.run.steps(mutant.file.split("/")[0]):
            if name not in programs:
                programs[name] = windows.link(f"bin/{name}.exe", replaced, self.overlay / f"{name}.exe")
            by = self.run_tests(programs[name], gtest_filter, seconds, dll)
            if by:
                return "caught", f"{name}: {by}"
        return "survived", ""

    def run_tests(self, program, gtest_filter, seconds, dll):
        """Who notices the mutant, twice: what fails once may be the machine's doing."""
        for _ in range(2):
            output, code = self.wine.run(program, gtest_filter, seconds, "--gtest_fail_fast", dll=dll)
            by, dirty = judge(output, code)
            if dirty:
                self.wine.clean()
            if not by or code is None:
                break
            gtest_filter = gtest_filter if dirty else by
        return by


class MutationRun:
    def __init__(self, arguments):
        self.repository = pathlib.Path(__file__).resolve().parents[2]
        self.folder = self.repository / "build/mutation"
        self.tree = self.folder / "tree"
        self.arguments = arguments
        self.tree.mkdir(parents=True, exist_ok=True)
        self.only_run = (self.folder / "lock").open("w")
        fcntl.flock(self.only_run, fcntl.LOCK_EX)
        copy_tree(self.repository, self.tree)
        self.sources = {str(path.relative_to(self.tree)): path.read_text()
                        for folder in FOLDERS for path in sorted((self.tree / folder).rglob("*"))
                        if path.suffix in (".cpp", ".h")}
        self.mutants = {folder: [] for folder in FOLDERS}
        for name, source in self.sources.items():
            self.mutants[name.split("/")[0]] += places.find_mutants(name, source)
        self.equivalents = read_equivalents(pathlib.Path(__file__).parent / "equivalent.txt")
        self.results_path = self.folder / "results.jsonl"
        if arguments.fresh:
            self.results_path.unlink(missing_ok=True)
        self.results = self.read_results()
        self.lock = threading.Lock()

    def sample(self):
        """The chosen mutants: of each folder a share by the number of places, in an order that depends on the
        seed and on each mutant's own text alone. A larger count adds to the sample and keeps what it had."""
        folders = self.arguments.folder or FOLDERS
        whole = sum(len(self.mutants[folder]) for folder in folders)
        chosen = []
        for folder in folders:
            found = self.mutants[folder]
            order = sorted(found, key=lambda m: hashlib.sha256(
                f"{self.arguments.seed}|{m.key()}".encode()).digest())
            chosen += order[:max(1, round(self.arguments.count * len(found) / whole))]
        random.Random(self.arguments.seed).shuffle(chosen)
        return chosen

    def build(self):
        self.native = Build(self.tree, self.folder / "native", "native",
                            ["-DLAUNCHER_SANITIZE=OFF", "-DCMAKE_BUILD_TYPE=Release"], ["unit_tests"],
                            "unit_tests")
        self.windows = Build(self.tree, self.folder / "windows", "release", [],
                             ["launcher", "host_tests", "windows_tests"], "no program")

    def measure(self, wine):
        """Times every test with the unchanged library; all must pass."""
        self.times = {}
        for name in ("host_tests", "windows_tests"):
            print(f"Timing {name} with the unchanged library", flush=True)
            output, code = wine.run(self.windows.folder / f"bin/{name}.exe", "-" + ":".join(LEFT_OUT), 300)
            if code != 0:
                sys.exit(f"error: {name} fails with the unchanged library:\n{output[-3000:]}")
            self.times[name] = {test: int(msec) for test, msec in TEST_TIME.findall(output)}

    def steps(self, folder):
        """(program, filter, seconds) in the order in which a mutant of the folder meets them: the quick tests
        of its own folder, then all."""
        for name in ("host_tests", "windows_tests"):
            kind = name.removesuffix("_tests")
            patterns = [pattern for suite in self.suites_of(kind, folder) for pattern in (suite, f"*/{suite}")]
            quick = [test for test, msec in self.times[name].items() if msec <= SLOW_TEST_MSEC and
                     any(fnmatch.fnmatchcase(test, pattern) for pattern in patterns)]
            if quick:
                yield name, ":".join(quick), self.seconds(name, quick)
        for name in ("host_tests", "windows_tests"):
            yield name, "-" + ":".join(LEFT_OUT), self.seconds(name, self.times[name])

    def suites_of(self, kind, folder):
        """Patterns of the tests whose file lies in a folder of that name, or bears it."""
        own = {folder, "pipe"} if folder == "gamepipe" else {folder}
        return {f"{suite}.*" for path in (self.tree / "tests" / kind).rglob("*.cpp")
                if own & {*path.parent.relative_to(self.tree).parts, path.stem.split("_")[0]}
                for suite in TEST_MACRO.findall(path.read_text())}

    def seconds(self, name, tests):
        return max(LEAST_SECONDS, SLOWER * sum(self.times[name][test] for test in tests) / 1000)

    def digest(self, file):
        return hashlib.sha256(self.sources.get(file, "").encode()).hexdigest()[:16]

    def read_results(self):
        """What was judged before, of sources that have not changed since."""
        if not self.results_path.exists():
            return {}
        results = map(json.loads, self.results_path.read_text().splitlines())
        return {r["key"]: r for r in results if r["source"] == self.digest(r["file"])}

    def record(self, mutant, outcome, by, seconds):
        result = {"key": mutant.key(), "file": mutant.file, "line": mutant.line, "outcome": outcome, "by": by,
                  "seconds": round(seconds, 1), "source": self.digest(mutant.file)}
        with self.lock:
            self.results[mutant.key()] = result
            with self.results_path.open("a") as results:
                results.write(json.dumps(result) + "\n")

    def is_equivalent(self, mutant):
        return (mutant.file, mutant.text, mutant.change()) in self.equivalents

    def is_open(self, mutant):
        if self.is_equivalent(mutant) and not self.arguments.equivalents:
            return False
        result = self.results.get(mutant.key())
        return result is None or (self.arguments.again and result["outcome"] == "survived")

    def judge_all(self, chosen):
        waiting = collections.deque(mutant for mutant in chosen if self.is_open(mutant))
        if not waiting:
            return
        end = time.monotonic() + 60 * self.arguments.minutes
        self.build()
        workers = [Worker(self, number) for number in range(self.arguments.jobs)]
        self.measure(workers[0].wine)
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
                print(f"{number:4} of {total} {seconds:5.1f} s {outcome:12} {mutant.file}:{mutant.line} "
                      f"{mutant.change()[:60]}  {by[:70]}", flush=True)

        threads = [threading.Thread(target=work, args=(worker,)) for worker in workers]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        for worker in workers:
            worker.wine.stop()

    def summarise(self, chosen):
        """Prints the table and what is wrong; returns whether anything is."""
        table = {folder: collections.Counter() for folder in FOLDERS}
        survivors = []
        for mutant in chosen:
            outcome = self.results.get(mutant.key(), {}).get("outcome", "not judged")
            if self.is_equivalent(mutant):
                if outcome == "caught":
                    print(f"error: caught, but listed as equivalent: {mutant.file}: {mutant.change()}")
                outcome = "equivalent"
            table[mutant.file.split("/")[0]][outcome] += 1
            if outcome == "survived":
                survivors.append(mutant)
        columns = ["mutants", *OUTCOMES, "not judged"]
        print(f"\n{'folder':10}" + "".join(f"{name:>13}" for name in columns))
        for folder, counts in [*table.items(), ("all", sum(table.values(), collections.Counter()))]:
            counts["mutants"] = sum(counts[name] for name in columns[1:4])
            print(f"{folder:10}" + "".join(f"{counts[name]:13}" for name in columns))
        print("\"mutants\" counts those that differ from the library: caught, equivalent, survived.")
        there = {(m.file, m.text, m.change()) for found in self.mutants.values() for m in found}
        gone = [entry for entry in self.equivalents if entry not in there]
        for file, line, change in gone:
            print(f"error: listed as equivalent, but no longer there: {file}: {line}: {change}")
        for mutant in sorted(survivors, key=lambda m: (m.file, m.line)):
            print(f"\nnew survivor: {mutant.file}:{mutant.line}\nfile: {mutant.file}\nline: {mutant.text}\n"
                  f"change: {mutant.change()}")
        return bool(survivors or gone)


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
    parser = argparse.ArgumentParser()  # scripts/mutate --help describes the options
    parser.add_argument("--count", type=int, default=400)
    parser.add_argument("--seed", default="1")
    parser.add_argument("--folder", action="append", choices=FOLDERS)
    parser.add_argument("--minutes", type=float, default=1e6)
    parser.add_argument("--jobs", type=int, default=2)
    for flag in ("--again", "--equivalents", "--fresh"):
        parser.add_argument(flag, action="store_true")
    run = MutationRun(parser.parse_args())
    chosen = run.sample()
    run.judge_all(chosen)
    sys.exit(1 if run.summarise(chosen) else 0)


main()
