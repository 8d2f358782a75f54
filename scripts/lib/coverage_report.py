#!/usr/bin/env python3
"""Adds up gcovr's JSON reports, prints a table per file and holds the library to its goal.

coverage_report.py [--missed] --exceptions LIST REPORT...

Fails when a line that never runs is not in the list, when an entry of the list runs after all (or is
gone), or when fewer branches run than the goal asks for. The list has one line for each exception:

    path: text of the source line -- why no test can run it
    branches of path: text of the source line -- why no test can take some of them
"""

import argparse
import collections
import json
import pathlib
import re
import sys

CATCH = re.compile(r"\s*} catch \(")
BRANCH_GOAL = 98.0  # per cent; lines have no such margin


class File:
    """What all reports together say about one source file."""

    def __init__(self):
        self.lines = {}  # number -> times that it ran
        self.branches = {}  # line -> times that each of its branches was taken, in the best report

    def add(self, entry, source):
        for line in entry["lines"]:
            if line.get("gcovr/noncode") or line.get("gcovr/excluded"):
                continue
            number = line["line_number"]
            self.lines[number] = self.lines.get(number, 0) + line["count"]
            # Branches that only an exception takes are the compiler's, and so is the choice of a handler.
            handler = CATCH.match(source[number - 1])
            taken = [b["count"] for b in line["branches"] if not b["throw"] and not handler]
            known = self.branches.get(number)
            # Two compilers may make different branches of one line: the report that saw more of them
            # counts, never a mixture.
            if taken and (known is None or share(taken) > share(known)):
                self.branches[number] = taken


def share(counts):
    return sum(1 for count in counts if count) / len(counts)


def percent(part, whole):
    return 100.0 * part / whole if whole else 100.0


def read_reports(paths):
    files = collections.defaultdict(File)
    for path in paths:
        for entry in json.loads(pathlib.Path(path).read_text())["files"]:
            source = pathlib.Path(entry["file"]).read_text().splitlines()
            files[entry["file"]].add(entry, source)
    return files


def read_exceptions(path):
    """Source file and text -> how many lines of that text are excused."""
    exceptions = collections.Counter()
    for line in pathlib.Path(path).read_text().splitlines():
        if not line or line.startswith("#"):
            continue
        place, separator, reason = line.rpartition(" -- ")
        name, colon, text = place.partition(": ")
        if not separator or not colon or not reason.strip():
            sys.exit(f"{path}: not 'path: text -- reason': {line}")
        exceptions[name, text.strip()] += 1
    return exceptions


def print_row(name, lines, lines_run, branches, branches_run):
    print(f"{name:36} {lines_run:5} of {lines:5} {percent(lines_run, lines):6.1f} %"
          f"   {branches_run:5} of {branches:5} {percent(branches_run, branches):6.1f} %")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--missed", action="store_true", help="list the branches that do not run")
    parser.add_argument("--exceptions", required=True)
    parser.add_argument("reports", nargs="+")
    arguments = parser.parse_args()

    exceptions = read_exceptions(arguments.exceptions)
    problems = []
    missed = []
    totals = [0, 0, 0, 0]
    print(f"{'file':36} {'lines that run':>22}   {'branches that run':>22}")
    for name, file in sorted(read_reports(arguments.reports).items()):
        source = pathlib.Path(name).read_text().splitlines()
        for number, count in sorted(file.lines.items()):
            text = source[number - 1].strip()
            if count:
                continue
            if exceptions[name, text]:
                exceptions[name, text] -= 1
            else:
                problems.append(f"{name}:{number} never runs: {text}")
        for number, taken in sorted(file.branches.items()):
            if all(taken):
                continue
            excused = f"branches of {name}", source[number - 1].strip()
            if exceptions[excused]:
                exceptions[excused] -= 1
                file.branches[number] = [count for count in taken if count]
            else:
                missed.append(f"{name}:{number} {sum(map(bool, taken))} of {len(taken)}: "
                              f"{source[number - 1].strip()}")
        row = [len(file.lines), sum(map(bool, file.lines.values())),
               sum(map(len, file.branches.values())),
               sum(sum(map(bool, taken)) for taken in file.branches.values())]
        totals = [a + b for a, b in zip(totals, row)]
        print_row(name, *row)
    print_row("all", *totals)

    problems += [f"{name}: excused, but it runs or is gone: {text}"
                 for (name, text), count in exceptions.items() if count > 0]
    if percent(totals[3], totals[2]) < BRANCH_GOAL:
        problems.append(f"fewer than {BRANCH_GOAL} % of the branches run; see --missed")
    if arguments.missed:
        print("\nbranches that do not run:", *missed, sep="\n  ")
    if problems:
        print("\nerror:", *problems, sep="\n  ", file=sys.stderr)
        sys.exit(1)


main()
