"""Runs the tests on a mutant: natively and in Wine installations of the mutation run's own."""

import fnmatch
import os
import re
import signal
import subprocess

# A program may take this many times as long as it did with the unchanged library.
SLOWER = 4
LEAST_SECONDS = 20
NATIVE_SECONDS = 8
TEST_TIME = re.compile(r"\[       OK \] ([^\s,]+).* \((\d+) ms\)$", re.MULTILINE)
TEST_MACRO = re.compile(r"^(?:TEST|TEST_F|TEST_P)\((\w+),\s*(\w+)\)", re.MULTILINE)

# Which tests know a folder, by the beginnings of their files' names.
FILE_PREFIXES = {"core": "core", "gamepipe": "pipe", "apps": "apps", "ping": "ping", "query": "query",
                 "include": "core"}
# Tests of the DLL's file, or of programs other than the library.
LEFT_OUT = ["FaultImportsTable*", "DemoHost*", "Kit*", "CHeader*"]


def suites_of(tree, kind, folder):
    """Patterns for the tests of a folder; instances of tests with parameters have a name in front."""
    prefix = FILE_PREFIXES[folder]
    suites = set()
    for path in (tree / "tests" / kind).glob("*.cpp"):
        if prefix in path.stem.split("_"):
            suites.update(suite for suite, _ in TEST_MACRO.findall(path.read_text()))
    return [f"{suite}.*" for suite in sorted(suites)] + [f"*/{suite}.*" for suite in sorted(suites)]


def matches(test, patterns):
    return any(fnmatch.fnmatchcase(test, pattern) for pattern in patterns)


def filter_text(wanted, left_out):
    return ":".join(wanted) + "-" + ":".join(left_out)


class Outcome:
    def __init__(self, caught, by="", dirty=False, ended_by_us=False):
        self.caught = caught
        self.by = by  # the test, or what happened
        self.dirty = dirty  # the program may have left something behind in its Windows
        self.ended_by_us = ended_by_us  # because it took too long


def run_program(command, environment, folder, seconds):
    """The program's output and exit code; None for a code when it had to be ended."""

    def text(output):
        return output.decode(errors="replace").replace("\r\n", "\n")

    process = subprocess.Popen(command, cwd=folder, env=environment, stdin=subprocess.DEVNULL,
                               stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                               start_new_session=True)
    try:
        output, _ = process.communicate(timeout=seconds)
        return text(output), process.returncode
    except subprocess.TimeoutExpired:
        os.killpg(process.pid, signal.SIGKILL)
        try:
            output, _ = process.communicate(timeout=5)
        except subprocess.TimeoutExpired:
            # A program that it started holds the output open, and ends with its Windows.
            return "", None
        return text(output), None


def failed_test(output):
    match = re.search(r"^\[  FAILED  \] (\w\S*?)(?:,| \(|$)", output, re.MULTILINE)
    return match[1] if match else ""


def judge_output(output, code):
    if code == 0:
        return Outcome(False)
    name = failed_test(output)
    if code == 1 and name:
        return Outcome(True, name)
    running = re.findall(r"^\[ RUN      \] (\S+)", output, re.MULTILINE)
    where = running[-1] if running else "the start"
    what = "no end" if code is None else "a crash"
    return Outcome(True, f"{what} in {where}", dirty=True, ended_by_us=code is None)


class Wine:
    """A Windows installation that belongs to one worker."""

    def __init__(self, repository, folder):
        self.repository = repository
        self.folder = folder
        self.pristine = folder / "pristine"
        self.environment = self.start()
        self.stop()
        if not self.pristine.exists():
            self.pristine.mkdir()
            for path in (folder / "prefix").glob("*.reg"):
                (self.pristine / path.name).write_bytes(path.read_bytes())
        # Whatever an interrupted run left.
        self.clean()

    def start(self):
        script = '. scripts/lib/wine.sh; wineFolder=$1; UseWine; PrepareWine; StartWine; env -0'
        output = subprocess.run(["bash", "-c", script, "bash", str(self.folder)],
                                cwd=self.repository, check=True, capture_output=True).stdout
        return dict(entry.split("=", 1) for entry in output.decode().split("\0") if "=" in entry)

    def stop(self):
        for option in ("-k", "-w"):
            subprocess.run(["wineserver", option], env=self.environment, stdout=subprocess.DEVNULL,
                           stderr=subprocess.DEVNULL)

    def clean(self):
        """After a program that could not put the registry back, or that left others running."""
        self.stop()
        for path in self.pristine.glob("*.reg"):
            (self.folder / "prefix" / path.name).write_bytes(path.read_bytes())
        self.start()

    def command(self, program):
        return [*self.environment["LAUNCHER_WINE_COMMAND"].split(), str(program)]

    def run(self, program, gtest_filter, seconds, dll=None):
        environment = dict(self.environment, GTEST_FILTER=gtest_filter)
        if dll:
            environment["LAUNCHER_DLL"] = "Z:" + str(dll).replace("/", "\\")
        output, code = run_program([*self.command(program), "--gtest_fail_fast"], environment,
                                   self.folder, seconds)
        outcome = judge_output(output, code)
        if outcome.dirty:
            self.clean()
        return outcome
