"""Runs the commands that the documents show, or finds the test that does.

  documents_test.py REPOSITORY BUILD_FOLDER

Every fenced block of commands carries a mark after its language, and is run by the shell of that
language: sh by bash in the repository, bat by cmd.exe beside the built programs.

  run                 this test runs the block
  run until="TEXT"    the same for one program that goes on until it is ended: it has worked when
                      it prints TEXT
  guide               guide_test runs it
  tested-by="NAME"    the test of that name runs what the block describes
  not-run             nobody does, and the sentence before the block says "not run" or
                      "not been run"

A whole host in C++ is compiled and run when it has the mark

  prints="TEXT"       it ends by itself, without an error, and has printed TEXT

Commands without a fence fail the test, and so do names of scripts and files that do not exist, links
that lead nowhere, and presets that CONTRIBUTING.md leaves out.
"""

import json
import os
import pathlib
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import uuid

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
        """The lines that this very test can run."""
        return [line for line in self.lines if line.partition(" # ")[0].strip() != RUNS_THIS]

    def script(self):
        silent = ["@echo off"] if self.language == "bat" else []
        return "\n".join(silent + self.commands()) + "\n"


def pages(repository):
    listed = subprocess.run(
        ["find", ".", "(", "-name", "build", "-o", "-name", "node_modules", ")", "-prune",
         "-o", "-name", "*.md", "-print"],
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
                if block.language in LANGUAGES or block.mark.startswith("prints="):
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


def headings(page):
    """The names by which links refer to them."""
    titles = re.findall(r"^#+ (.*)$", page.read_text(), re.MULTILINE)
    return {re.sub(r"[^\w\- ]", "", title.lower()).strip().replace(" ", "-") for title in titles}


def broken_links(repository, page):
    for path, heading in re.findall(r"\]\(([^)#\s]*)#?([^)\s]*)\)", (repository / page).read_text()):
        if re.match(r"https?:", path):
            continue
        target = repository / page.parent / path if path else repository / page
        if not target.exists() or heading and heading not in headings(target):
            yield f"{page}: {path}#{heading} leads nowhere"


def missing_files(repository, page):
    """Names such as `core/log.cpp` or `tests/host/apps/*`; without an ending they mean any."""
    for path in re.findall(r"`([a-z_]+/[\w./*-]*)`", (repository / page).read_text()):
        is_ours = path.split("/")[0] != "build" and (repository / path.split("/")[0]).is_dir()
        if is_ours and not any(repository.glob(path.rstrip("/*") + "*")):
            yield f"{page}: there is no {path}"


def unknown_presets(repository):
    presets = json.loads((repository / "CMakePresets.json").read_text())["configurePresets"]
    page = (repository / "CONTRIBUTING.md").read_text()
    for preset in presets:
        if not preset.get("hidden") and not re.search(rf"[`\s]{preset['name']}[`\s]", page):
            yield f"CONTRIBUTING.md leaves out the preset {preset['name']}"


class Shell:
    def __init__(self, repository, build):
        self.repository = repository
        self.build = build
        self.programs = build / "bin"

    def run(self, block, until=None):
        print(f"{block}: {'; '.join(block.commands())}", flush=True)
        if block.language == "sh":
            self.run_command(["bash", "-euc", block.script()], self.repository, until)
            return
        with tempfile.NamedTemporaryFile("w", suffix=".bat", dir=self.programs) as script:
            script.write(block.script())
            script.flush()
            command = [self.repository / "scripts/run-wine", "cmd", "/c", pathlib.Path(script.name).name]
            self.run_command(command, self.programs, until)

    def run_host(self, block, text):
        print(f"{block}: a host that prints {text!r}", flush=True)
        with tempfile.TemporaryDirectory(dir=self.build) as folder:
            host = pathlib.Path(folder) / "host.exe"
            host.with_suffix(".cpp").write_text(block.script())
            shutil.copy(self.build / "launcher.dll", folder)
            subprocess.run(["x86_64-w64-mingw32-g++-posix", "-std=c++17", "-Wall", "-Wextra", "-Werror", "-static",
                            "-I", self.repository / "include", host.with_suffix(".cpp"), "-o", host,
                            self.build / "liblauncher.dll.a"], check=True)
            printed = subprocess.run([self.repository / "scripts/run-wine", host], check=True, text=True,
                                     timeout=PATIENCE_SECONDS, stdin=subprocess.DEVNULL,
                                     stdout=subprocess.PIPE, stderr=subprocess.DEVNULL).stdout
        if text not in printed:
            raise RuntimeError(f"printed {printed!r}")

    def run_command(self, command, folder, until):
        if until is None:
            subprocess.run(command, cwd=folder, check=True, timeout=PATIENCE_SECONDS,
                           stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL)
            return
        # Wine's own programs, which every first program starts, are not to carry the mark.
        subprocess.run([self.repository / "scripts/run-wine", "cmd", "/c", "exit"], check=True)
        mark = str(uuid.uuid4())
        process = subprocess.Popen(command, cwd=folder, env={**os.environ, "DOCUMENTS_TEST": mark},
                                   stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, text=True)
        try:
            if not any(until in line for line in process.stdout):
                raise RuntimeError(f"ended without printing {until!r}")
        finally:
            end_marked(f"DOCUMENTS_TEST={mark}".encode())
            process.wait()


def end_marked(mark):
    """Ends every process with this variable: what cmd.exe starts is no child of ours."""
    for process in pathlib.Path("/proc").glob("[0-9]*"):
        try:
            if mark in (process / "environ").read_bytes().split(b"\0"):
                os.kill(int(process.name), signal.SIGKILL)
        except OSError:
            pass  # It has ended, or belongs to somebody else.


def check(block, shell, tests):
    mark = block.mark
    if mark == "run":
        shell.run(block)
    elif until := re.fullmatch(r'run until="(.+)"', mark):
        shell.run(block, until[1])
    elif prints := re.fullmatch(r'prints="(.+)"', mark):
        shell.run_host(block, prints[1])
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
    offences += [link for page in pages(repository) for link in broken_links(repository, page)]
    offences += [name for page in pages(repository) for name in missing_files(repository, page)]
    offences += unknown_presets(repository)
    if not blocks:
        offences.append("no commands found")
    shell = Shell(repository, build)
    for block in blocks:
        try:
            check(block, shell, tests)
        except (RuntimeError, subprocess.SubprocessError) as error:
            offences.append(f"{block}: {error}")
    for offence in offences:
        print(offence)
    print(f"{len(blocks)} blocks of commands, {len(offences)} offences")
    return 1 if offences else 0


if __name__ == "__main__":
    sys.exit(main())
