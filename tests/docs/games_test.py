"""Follows docs/games.md: writes the file that it shows, runs its commands, compares what they print.

  games_test.py REPOSITORY EMPTY_FOLDER
"""

import difflib
import os
import pathlib
import re
import shutil
import subprocess
import sys

repository, scratch = (pathlib.Path(argument).resolve() for argument in sys.argv[1:])
page = (repository / "docs/games.md").read_text()


def blocks(opening):
    found = re.findall(r"^```" + re.escape(opening) + r"\n(.*?)^```$", page, re.MULTILINE | re.DOTALL)
    if not found:
        sys.exit(f"no block ```{opening}")
    return found


def follow_the_page():
    """The page's commands work below the reader's home."""
    folder = scratch / "pipe-server"
    folder.mkdir(parents=True)
    (folder / "pipe_server.cpp").write_text("".join(blocks("cpp file=pipe_server.cpp")))
    script = "".join(blocks('sh tested-by="games_test"'))
    printed = subprocess.run(["bash", "-euc", script], cwd=repository, check=True, text=True,
                             env={**os.environ, "HOME": str(scratch)}, stdin=subprocess.DEVNULL,
                             stdout=subprocess.PIPE).stdout.replace("\r", "")
    expected = "".join(blocks("text output"))
    if printed != expected:
        sys.exit("\n".join(difflib.unified_diff(expected.splitlines(), printed.splitlines(), "page", "printed")))
    served = (folder / "pipe_server.log").read_text()
    if served.replace("\r", "") != "echo [Hello you]\nquit []\n":
        sys.exit(f"the pipe server printed: {served}")


shutil.rmtree(scratch, ignore_errors=True)
follow_the_page()
print("the page holds")
