#!/usr/bin/env python3
"""archive.py ZIP FOLDER EPOCH: packs a folder so that the same files give the same bytes: in the order of
their names, with one time for all, and without the owner."""

import pathlib
import sys
import time
import zipfile

FILE_MODE = 0o100644


def main():
    archive, folder, epoch = sys.argv[1:]
    moment = time.gmtime(int(epoch))[:6]
    root = pathlib.Path(folder)
    with zipfile.ZipFile(archive, "w", zipfile.ZIP_DEFLATED, compresslevel=9) as out:
        for path in sorted(p for p in root.rglob("*") if p.is_file()):
            entry = zipfile.ZipInfo(path.relative_to(root).as_posix(), moment)
            entry.compress_type = zipfile.ZIP_DEFLATED
            entry.external_attr = FILE_MODE << 16
            out.writestr(entry, path.read_bytes())


main()
