"""Runs the commands that the documents show, or finds the test that does.

  documents_test.py REPOSITORY BUILD_FOLDER

Every fenced block of commands (sh, bat) carries a mark behind its language:

  run                 this test runs each of its commands, in the repository
  run until="TEXT"    the same for one Windows program that goes on until it is ended: it has
                      worked when it prints TEXT
  guide               guide_test runs it
  tested-by="NAME"    the test of that name runs what the block describes
  not-run             nobody does, and the sentence in front of the block says "not run" or
                      "not been run"

Commands that stand in the documents without a fence are an offence, and so are names of scripts
that do not exist.
"""

import pathlib
import re
import shlex
import subprocess
import sys

LANGUAGES = {"sh", "bat"}

# Runs this very test.
RUNS_THIS = "scripts/test"

PATIENCE_SECONDS = 300


class Block:
    def __init__(self, page, line, info, before):
        self.page = page
        self.line = line
        self.language, _, self.mark = info.partition(" ")
        self.before = before
        self.lines = []

    def __str__(self):
        return f"{self.page}:{self.line}"

    def commands(self):
        text = "\n".join(self.lines).replace("\\\n", " ")
        for line in text.split("\n"):
            command = line.partition(" # ")[0].strip()
            if command:
                yield command


def pages(repository):
    listed = subprocess.run(
        ["find", ".", "-name", "build", "-prune", "-o", "-name", "*.md", "-print"],
        cwd=repository, check=True, capture_output=True, text=True).stdout
    return sorted(pathlib.PurePath(name) for name in listed.split())


def read_page(repository, page, offences):
    blocks = []
    block = None
    sentence = ""
    for number, line in enumerate((repository / page).read_text().splitlines(), 1):
        if line.startswith("```"):
            if block is None:
                block = Block(page, number, line[3:].strip(), sentence)
            else:
                if block.language in LANGUAGES:
                    blocks.append(block)
                block = None
                sentence = ""
        elif block is not None:
            block.lines.append(line)
        else:
            if re.match(r" {4,}(scripts/|cmake |ctest |wine |\S+\.exe )", line):
                offences.append(f"{page}:{number}: a command without a fence: {line.strip()}")
            for script in re.findall(r"scripts/[a-z][a-z-]*", line):
                if not (repository / script).exists():
                    offences.append(f"{page}:{number}: there is no {script}")
            sentence = (sentence + " " + line) if line.strip() else sentence
    return blocks


def run(command, repository):
    print(f"run: {command}", flush=True)
    subprocess.run(["bash", "-euc", command], cwd=repository, check=True, timeout=PATIENCE_SECONDS,
                   stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL)


def run_until(command, text, repository, build):
    """A Windows command line: backslashes are no escapes."""
    print(f"run until it prints {text!r}: {command}", flush=True)
    program, *arguments = [word.strip('"') for word in shlex.split(command, posix=False)]
    process = subprocess.Popen(
        [repository / "scripts/run-wine", build / "bin" / program, *arguments],
        cwd=repository, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, text=True)
    try:
        for line in process.stdout:
            if text in line:
                return
        raise RuntimeError(f"{command} ended without printing {text!r}")
    finally:
        process.kill()
        process.wait()


def check(block, repository, build, tests):
    mark = block.mark
    if mark == "run":
        for command in block.commands():
            if command != RUNS_THIS:
                run(command, repository)
    elif until := re.fullmatch(r'run until="(.+)"', mark):
        for command in block.commands():
            run_until(command, until[1], repository, build)
    elif mark == "guide":
        if "guide_test" not in tests:
            raise RuntimeError("there is no guide_test")
    elif tested_by := re.fullmatch(r'tested-by="(.+)"', mark):
        if tested_by[1] not in tests:
            raise RuntimeError(f"there is no test {tested_by[1]}")
    elif mark == "not-run":
        if not re.search(r"\bnot (been )?\**run\b", block.before.replace("**", "")):
            raise RuntimeError("readers are not told that these commands are not run")
    else:
        raise RuntimeError(f"the mark {mark!r} is none")


def main():
    repository = pathlib.Path(sys.argv[1]).resolve()
    build = pathlib.Path(sys.argv[2]).resolve()
    listed = subprocess.run(["ctest", "--test-dir", build, "--show-only"], check=True,
                            capture_output=True, text=True).stdout
    tests = set(re.findall(r"Test +#\d+: (\S+)", listed))
    offences = []
    blocks = [block for page in pages(repository) for block in read_page(repository, page, offences)]
    if not blocks:
        offences.append("no commands found")
    for block in blocks:
        try:
            check(block, repository, build, tests)
        except (RuntimeError, subprocess.SubprocessError) as error:
            offences.append(f"{block}: {error}")
    for offence in offences:
        print(offence)
    print(f"{len(blocks)} blocks of commands, {len(offences)} offences")
    return 1 if offences else 0


if __name__ == "__main__":
    sys.exit(main())
