#!/usr/bin/env python3
"""make_pages.py OUT PAGE...: turns Markdown pages into HTML pages beside each other, with their pictures.
Links between these pages stay links; those to other files of the repository become plain text."""

import html
import pathlib
import re
import shutil
import subprocess
import sys

STYLE = """\
:root { color-scheme: light dark; }
body { font: 16px/1.5 "Segoe UI", system-ui, sans-serif; margin: 2rem auto; max-width: 56rem; padding: 0 1rem; }
code, pre { font-family: Consolas, monospace; font-size: 0.9em; }
pre { background: #8882; overflow-x: auto; padding: 0.8rem; }
table { border-collapse: collapse; display: block; overflow-x: auto; }
th, td { border: 1px solid #8886; padding: 0.3rem 0.6rem; text-align: left; vertical-align: top; }
img { max-width: 100%; }
"""


def anchor(heading):
    """The name under which other pages link to a heading."""
    text = html.unescape(re.sub(r"<[^>]*>", "", heading)).strip().lower()
    return re.sub(r"[^\w\- ]", "", text).replace(" ", "-")


def convert(page, out, names):
    text = subprocess.run(
        ["cmark-gfm", "--extension", "table", "--extension", "autolink", page],
        check=True, capture_output=True, text=True).stdout

    def link(match):
        target, label = match[1], match[2]
        path, _, fragment = html.unescape(target).partition("#")
        if not path or re.match(r"[a-z]+:", path):
            return match[0]
        name = names.get((page.parent / path).resolve())
        if not name:
            return label
        return f'<a href="{name}{"#" + fragment if fragment else ""}">{label}</a>'

    def picture(match):
        source = (page.parent / html.unescape(match[1])).resolve()
        (out / "images").mkdir(exist_ok=True)
        shutil.copyfile(source, out / "images" / source.name)
        return f'src="images/{source.name}"'

    text = re.sub(r'<a href="([^"]*)">(.*?)</a>', link, text, flags=re.DOTALL)
    text = re.sub(r'(?<=<img )src="([^":]*)"', picture, text)
    text = re.sub(r"<(h[1-6])>(.*?)</\1>",
                  lambda match: f'<{match[1]} id="{anchor(match[2])}">{match[2]}</{match[1]}>', text)
    title = re.search(r"<h1[^>]*>(.*?)</h1>", text)
    (out / names[page]).write_text(
        f'<!doctype html>\n<html lang="en">\n<meta charset="utf-8">\n'
        f'<meta name="viewport" content="width=device-width">\n'
        f"<title>{re.sub('<[^>]*>', '', title[1])}</title>\n<style>\n{STYLE}</style>\n{text}</html>\n",
        encoding="utf-8")


def main():
    out = pathlib.Path(sys.argv[1])
    out.mkdir(parents=True, exist_ok=True)
    pages = [pathlib.Path(name).resolve() for name in sys.argv[2:]]
    # A page of a folder of its own is called after the folder.
    names = {page: (page.parent.name if page.stem == "README" else page.stem) + ".html" for page in pages}
    for page in pages:
        convert(page, out, names)


main()
