#!/usr/bin/env python3
"""make_spdx.py VERSION EPOCH FILE...: prints a bill of materials (SPDX 2.3, JSON) of what people download
and of what is linked into it, with the versions of the Debian packages that are installed."""

import hashlib
import json
import pathlib
import subprocess
import sys
import time

# Debian package, its licence, what of it is in the DLL or the programs.
LINKED = [
    ("gcc-mingw-w64-base", "GPL-3.0-or-later WITH GCC-exception-3.1", "libgcc and libstdc++"),
    ("mingw-w64-x86-64-dev", "ZPL-2.1 AND MIT", "start-up code, import libraries, winpthreads"),
    ("libcli11-dev", "BSD-3-Clause", "command lines of the programs"),
    ("nlohmann-json3-dev", "MIT", "JSON in the programs"),
    ("nsis", "Zlib", "the installer's own code"),
]


def debian_version(package):
    return subprocess.run(["dpkg-query", "--show", "--showformat=${Version}", package],
                          check=True, capture_output=True, text=True).stdout


def package(identifier, name, version, licence, **more):
    return {"SPDXID": f"SPDXRef-{identifier}", "name": name, "versionInfo": version,
            "downloadLocation": "NOASSERTION", "filesAnalyzed": False, "licenseConcluded": "NOASSERTION",
            "licenseDeclared": licence, "copyrightText": "NOASSERTION", **more}


def main():
    version, epoch, *names = sys.argv[1:]
    files = []
    relations = [("SPDXRef-DOCUMENT", "DESCRIBES", "SPDXRef-launcher")]
    digests = hashlib.sha256()
    for number, path in enumerate(map(pathlib.Path, names)):
        content = path.read_bytes()
        sums = {name: hashlib.new(name, content).hexdigest() for name in ("sha1", "sha256")}
        digests.update(f"{sums['sha256']}  {path.name}\n".encode())
        files.append({
            "SPDXID": f"SPDXRef-file-{number}", "fileName": f"./{path.name}",
            "checksums": [{"algorithm": name.upper(), "checksumValue": value}
                          for name, value in sums.items()],
            "licenseConcluded": "NOASSERTION", "copyrightText": "NOASSERTION"})
        relations.append(("SPDXRef-launcher", "CONTAINS", f"SPDXRef-file-{number}"))
    packages = [package("launcher", "launcher", version, "NOASSERTION")]
    for name, licence, what in LINKED:
        packages.append(package(name, name, debian_version(name), licence, comment=what, externalRefs=[{
            "referenceCategory": "PACKAGE-MANAGER", "referenceType": "purl",
            "referenceLocator": f"pkg:deb/debian/{name}@{debian_version(name)}"}]))
        relations.append(("SPDXRef-launcher", "STATIC_LINK", f"SPDXRef-{name}"))
    document = {
        "spdxVersion": "SPDX-2.3", "dataLicense": "CC0-1.0", "SPDXID": "SPDXRef-DOCUMENT",
        "name": f"launcher-{version}",
        # Unique, as it has to be, and the same for the same files.
        "documentNamespace": f"https://launcher.example/spdx/{version}-{digests.hexdigest()}",
        "creationInfo": {"created": time.strftime("%Y-%m-%dT%H:%M:%SZ", time.gmtime(int(epoch))),
                         "creators": ["Tool: scripts/package"]},
        "packages": packages, "files": files,
        "relationships": [{"spdxElementId": left, "relationshipType": kind, "relatedSpdxElement": right}
                          for left, kind, right in relations]}
    print(json.dumps(document, indent=2))


main()
