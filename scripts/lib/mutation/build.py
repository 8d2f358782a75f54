"""Builds the copy of the tree once, and the changed parts of one mutant."""

import hashlib
import json
import pathlib
import re
import shlex
import subprocess

SOURCES = ["core", "gamepipe", "apps", "ping", "query", "include"]
COMPILE_SECONDS = 120
LINK_SECONDS = 120


class Failed(Exception):
    """A compiler or a linker refused."""


def copy_tree(repository, tree):
    """Copies what changed since the last time, so that little is built anew."""
    listed = subprocess.run(["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"],
                            cwd=repository, check=True, capture_output=True).stdout
    names = [n for n in listed.decode().split("\0") if n and (repository / n).is_file()]
    for name in names:
        content = (repository / name).read_bytes()
        copy = tree / name
        if not copy.exists() or copy.read_bytes() != content:
            copy.parent.mkdir(parents=True, exist_ok=True)
            copy.write_bytes(content)
            copy.chmod((repository / name).stat().st_mode)
    for copy in [p for folder in SOURCES + ["tests"] for p in (tree / folder).rglob("*")]:
        if copy.is_file() and not (repository / copy.relative_to(tree)).exists():
            copy.unlink()


class Build:
    """One build folder: the commands that made its objects and programs, for use on mutants."""

    def __init__(self, tree, folder, preset, options, targets):
        self.tree = tree
        self.folder = folder
        subprocess.run(["cmake", "--preset", preset, "-S", str(tree), "-B", str(folder),
                        "--log-level=WARNING", *options], cwd=tree, check=True,
                       stdout=subprocess.DEVNULL)
        subprocess.run(["cmake", "--build", str(folder), "--target", *targets], check=True)
        self.compile_commands = {}
        for entry in json.loads((folder / "compile_commands.json").read_text()):
            source = str(pathlib.Path(entry["file"]).relative_to(tree)) \
                if entry["file"].startswith(str(tree)) else entry["file"]
            if not source.endswith(".cpp"):
                continue
            command = shlex.split(entry["command"])
            self.compile_commands[source, command[command.index("-o") + 1]] = command
        self.original_objects = {}

    def objects_of(self, name, program_object):
        """(source, object) of everything to compile for a mutant of `name`: the source itself, or all
        sources that include the header, the tests' own (with `program_object` in their path) too."""
        units = [key for key in self.compile_commands if "launcher_objects.dir" in key[1] or
                 program_object in key[1] or "launcher.dir" in key[1]]
        if name.endswith(".cpp"):
            return [key for key in units if key[0] == name]
        return [key for key in units if name in self.included_by(key[0])]

    def included_by(self, source, seen=None):
        seen = set() if seen is None else seen
        path = self.tree / source
        if source in seen or not path.exists():
            return seen
        seen.add(source)
        for included in re.findall(r'^#include "([^"]+)"', path.read_text(), re.MULTILINE):
            for candidate in (included, f"include/{included}"):
                if (self.tree / candidate).exists():
                    self.included_by(candidate, seen)
        return seen

    def compile(self, key, overlay, output):
        """Compiles one source, with the files in `overlay` in place of the tree's."""
        command = [c for c in self.compile_commands[key] if c not in ("-g", "-Werror") and
                   not c.startswith("-W")]
        changed = overlay / key[0]
        if changed.exists():
            # Under its own name: the name stands in the object.
            command[command.index("-c") + 1] = str(changed)
        position = command.index("-o")
        command[position + 1] = str(output)
        for option in ("-MF", "-MT"):
            if option in command:
                command[command.index(option) + 1] = str(output) + ".d"
        command[1:1] = ["-w", "-Werror=return-type", f"-ffile-prefix-map={overlay}=.",
                        f"-I{overlay}", f"-I{overlay}/include"]
        run(command, self.folder, COMPILE_SECONDS)

    def original(self, key):
        """What the unchanged source compiles to, in the way that mutants are compiled."""
        if key not in self.original_objects:
            folder = self.folder / "original"
            output = folder / (hashlib.sha1("".join(key).encode()).hexdigest() + ".obj")
            folder.mkdir(exist_ok=True)
            self.compile(key, folder / "no overlay", output)
            self.original_objects[key] = code_of(output)
        return self.original_objects[key]

    def compile_mutant(self, keys, overlay):
        """Object in the build folder -> object of the mutant, of those that differ."""
        changed = {}
        for number, key in enumerate(keys):
            output = overlay / f"{number}.obj"
            self.compile(key, overlay, output)
            if code_of(output) != self.original(key):
                changed[key[1]] = str(output)
        return changed

    def link(self, target, replaced, output):
        commands = subprocess.run(["ninja", "-t", "commands", target], cwd=self.folder, check=True,
                                  capture_output=True, text=True).stdout.splitlines()
        line = next(c for c in reversed(commands) if re.search(rf" -o {re.escape(target)} ", c))
        command = shlex.split(next(part for part in line.split("&&") if f" -o {target} " in part))
        command = [replaced.get(word, word) for word in command]
        command = [re.sub(r"(--out-implib,).*", rf"\1{output}.a", word) for word in command]
        command[command.index("-o") + 1] = str(output)
        run(command + ["-s"], self.folder, LINK_SECONDS)


def code_of(path):
    """An object without what differs between two compilations of one source."""
    content = path.read_bytes()
    # The time in the header of a Windows object.
    return content[:4] + bytes(4) + content[8:] if content[:2] == b"\x64\x86" else content


def run(command, folder, seconds):
    try:
        subprocess.run(command, cwd=folder, check=True, stdin=subprocess.DEVNULL,
                       capture_output=True, timeout=seconds)
    except (subprocess.CalledProcessError, subprocess.TimeoutExpired) as error:
        raise Failed(error.stderr.decode(errors="replace")[-2000:] if error.stderr else str(error)) \
            from error
