#!/usr/bin/env python3
"""check_pages.py FOLDER...: every link and picture of the HTML pages leads somewhere."""

import html.parser
import pathlib
import sys


class Page(html.parser.HTMLParser):
    def __init__(self, path):
        super().__init__()
        self.names = set()
        self.targets = []
        self.feed(path.read_text(encoding="utf-8"))

    def handle_starttag(self, tag, attributes):
        attributes = dict(attributes)
        self.names.add(attributes.get("id"))
        self.targets += [attributes[name] for name in ("href", "src") if name in attributes]


def main():
    broken = []
    for folder in map(pathlib.Path, sys.argv[1:]):
        pages = {path.name: Page(path) for path in folder.glob("*.html")}
        assert pages, f"no pages in {folder}"
        for name, page in pages.items():
            for target in page.targets:
                path, _, fragment = target.partition("#")
                if ":" in path:
                    continue
                aim = path or name
                if not (folder / aim).exists() or (fragment and fragment not in pages[aim].names):
                    broken.append(f"{folder.name}/{name}: {target}")
    if broken:
        sys.exit("these links lead nowhere:\n  " + "\n  ".join(broken))


main()
