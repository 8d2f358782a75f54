#!/usr/bin/env python3
"""make_manifests.py OUT EXTENSION_MANIFEST EXTENSION_ORIGIN: writes what the installer of the browser host
puts beside its program: a manifest for Chromium and its kin, one for Firefox, and the extension's own
without pages, for the installer to fill in."""

import json
import pathlib
import sys

NAME = "launcher.browser_host"
# When the extension itself names no identifier for Firefox.
FIREFOX_ID = "browser_host@launcher.example"


def main():
    out = pathlib.Path(sys.argv[1])
    extension = json.loads(pathlib.Path(sys.argv[2]).read_text())
    origin = sys.argv[3]

    def write(name, value):
        (out / name).write_text(json.dumps(value, indent=2) + "\n", newline="\n")

    # On Windows a path may count from the manifest's own folder.
    program = {"name": NAME, "description": "Lets listed web pages use launcher.dll",
               "path": "browser_host.exe", "type": "stdio"}
    firefox_id = extension.get("browser_specific_settings", {}).get("gecko", {}).get("id", FIREFOX_ID)
    write(f"{NAME}.json", {**program, "allowed_origins": [f"{origin}/"]})
    write(f"{NAME}.firefox.json", {**program, "allowed_extensions": [firefox_id]})

    extension["externally_connectable"]["matches"] = []
    write("manifest.template", extension)


main()
