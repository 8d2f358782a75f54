"""tidy.py BUILD_FOLDER JOBS CHECKS FOLDER...: clang-tidy on all sources of these folders. CHECKS is added to those of
.clang-tidy, and may be empty.

Nearly all of its time goes into the headers of Windows and of the C++ library, over again for each source. So
sources with the same options are checked together, as one concatenated file. Only the sources
that it has findings for are checked again by themselves; those findings are printed and count. What was clean is
remembered by its preprocessed text.
"""

import concurrent.futures
import hashlib
import json
import pathlib
import re
import shlex
import subprocess
import sys

TOGETHER = 16
# Headers that several files include are no mistake of a concatenation.
NOT_TOGETHER = ",-readability-duplicate-include"


def read_sources(build, folders):
    """Options of the compiler -> sources to be checked with them. Two sets do for all: of what differs from target
    to target only the macro that exports the launcher's symbols changes what a source means."""
    sources, options = {}, {}
    for entry in json.loads((build / "compile_commands.json").read_text()):
        source = pathlib.Path(entry["file"])
        if not source.is_relative_to(pathlib.Path.cwd()) or source.suffix != ".cpp":
            continue
        source = source.relative_to(pathlib.Path.cwd())
        if source.parts[0] not in folders or source in sources:
            continue
        words = shlex.split(entry["command"].replace("-isystem ", "-isystem"))
        exports = "-DLAUNCHER_BUILDING_DLL" in words
        sources[source] = exports
        # After -o come object and source. How much is optimised makes no difference here.
        used = [w for w in words[1:words.index("-o")] if not w.startswith(("-O", "-std="))]
        options.setdefault(exports, {}).update(dict.fromkeys(used))
    return {(*options[exports], "-std=c++20"): sorted(s for s in sources if sources[s] == exports)
            for exports in options}


def concatenate(sources, unit):
    """Several programs fit into one file, each with a `main` of another name."""
    unit.write_text("".join(f'#define main main_of_{i}\n#line 1 "{source}"\n{source.read_text()}\n#undef main\n'
                            for i, source in enumerate(sources)))


MESSAGE = re.compile(r"^([^:\n]+):(\d+):\d+: (error|warning|note): ", re.MULTILINE)


def is_in_header(unit, findings):
    """Whether a finding is in a header of this project's."""
    return any(kind != "note" and pathlib.Path(file).is_relative_to(pathlib.Path.cwd())
               and pathlib.Path(file).name != unit.name for file, _, kind in MESSAGE.findall(findings))


def sources_of(unit, findings):
    """The sources that findings in a concatenation are about; clang-tidy counts the lines of the whole."""
    lines = unit.read_text().splitlines()
    found = {int(number) for file, number, _ in MESSAGE.findall(findings) if pathlib.Path(file).name == unit.name}
    begins = {next(line for line in reversed(lines[:number]) if line.startswith("#line 1 ")) for number in found}
    return [pathlib.Path(begin.split('"')[1]) for begin in sorted(begins)]


class Tidy:
    def __init__(self, folder, checks):
        self.folder = folder
        self.checks = checks
        folder.mkdir(parents=True, exist_ok=True)
        self.state = pathlib.Path(".clang-tidy").read_bytes() + subprocess.run(
            ["clang-tidy", "--version"], check=True, capture_output=True).stdout + checks.encode()

    def unit_of(self, sources):
        name = hashlib.sha1(" ".join(map(str, sources)).encode()).hexdigest()[:16]
        return self.folder / f"{name}.cpp"

    def group(self, sources, options):
        """Splits the sources so that each part compiles as one: files that use a name for something else than
        those before them go to a later part."""
        while sources:
            part, later = sources, []
            while len(part) > 1:
                concatenate(part, self.unit_of(part))
                errors = subprocess.run(["clang++", *options, "-fsyntax-only", "-ferror-limit=0",
                                         str(self.unit_of(part))], capture_output=True, text=True).stderr
                named = set(re.findall(r"^([^:\n]+):\d+:\d+: (?:fatal )?error", errors, re.MULTILINE))
                refused = [s for s in part if str(s) in named]
                if not refused:
                    break
                later += refused
                part = [s for s in part if s not in refused] or [later.pop(0)]
            yield part[:TOGETHER], options
            sources = part[TOGETHER:] + later

    def check(self, sources, options):
        """Whether there is nothing to report; prints what there is."""
        unit, checks = sources[0], self.checks
        if len(sources) > 1:
            unit, checks = self.unit_of(sources), self.checks + NOT_TOGETHER
            concatenate(sources, unit)
        text = subprocess.run(["clang++", *options, "-E", str(unit)], capture_output=True).stdout
        clean = self.folder / hashlib.sha1(self.state + repr(options).encode() + text).hexdigest()
        if clean.exists():
            return True
        run = subprocess.run(["clang-tidy", "--quiet", f"--checks={checks}", str(unit), "--", *options],
                             capture_output=True, text=True)
        if run.returncode == 0:
            clean.touch()
            return True
        if len(sources) == 1 or is_in_header(unit, run.stdout):
            print(run.stdout, flush=True)
            return False
        # Each by itself: what only the concatenation makes a finding is none.
        return all([self.check([source], options) for source in sources_of(unit, run.stdout) or sources])


def main():
    build, jobs, checks, folders = pathlib.Path(sys.argv[1]), int(sys.argv[2]), sys.argv[3], sys.argv[4:]
    tidy = Tidy(build / "tidy", checks)
    with concurrent.futures.ThreadPoolExecutor(jobs) as pool:
        groups = pool.map(lambda item: list(tidy.group(item[1], item[0])),
                          read_sources(build, folders).items())
        parts = sorted(sum(groups, []), key=lambda part: -len(part[0]))
        results = list(pool.map(lambda part: tidy.check(*part), parts))
    print(f"clang-tidy: {sum(len(sources) for sources, _ in parts)} sources in {len(parts)} parts")
    sys.exit(0 if all(results) else 1)


main()
