#!/usr/bin/env python3
"""installer_test.py REPOSITORY PACKAGES SCRATCH: installs, uses, upgrades and removes what the installer
brings, for the machine and for one user, and compares the registry and the folders with before."""

import json
import os
import pathlib
import re
import shutil
import struct
import subprocess
import sys
import time
import zipfile

REPOSITORY, PACKAGES, SCRATCH = (pathlib.Path(argument).resolve() for argument in sys.argv[1:])
RUN_WINE = REPOSITORY / "scripts/run-wine"
SETUP = PACKAGES / "launcher-162-setup.exe"
DRIVE = REPOSITORY / "build/wine/prefix/drive_c"
PATIENCE_SECONDS = 120

NATIVE_NAME = "launcher.browser_host"
BROWSERS = ["Chromium", r"Google\Chrome", r"Microsoft\Edge", "Mozilla"]
DIRECTORY_KEY = r"HKLM\SOFTWARE\Wow6432Node\Vantor Web Plugins"
UNINSTALL_KEY = r"\Software\Microsoft\Windows\CurrentVersion\Uninstall\launcher"
ENVIRONMENT_KEY = {"HKLM": r"HKLM\SYSTEM\CurrentControlSet\Control\Session Manager\Environment",
                   "HKCU": r"HKCU\Environment"}
# All that installers may change.
REGISTRY = [r"HKEY_LOCAL_MACHINE\Software", "HKEY_CURRENT_USER",
            r"HKEY_LOCAL_MACHINE\System\CurrentControlSet\Control\Session Manager\Environment"]
EXTENSION = "chrome-extension://lbihcldlamlgmkabnfnbcjkicdbedemf"
PAGE = "https://games.example"

# The launcher's folder must come from the registry.
ENVIRONMENT = {name: value for name, value in os.environ.items() if not name.startswith("KOVLAUNCH_")}


def wine(*command, check=True):
    """Runs a Windows program; returns what it printed."""
    result = subprocess.run([RUN_WINE, *command], stdin=subprocess.DEVNULL, capture_output=True,
                            timeout=PATIENCE_SECONDS, env=ENVIRONMENT, cwd=SCRATCH)
    if check and result.returncode != 0:
        raise AssertionError(f"{command} ended with {result.returncode}: {result.stdout} {result.stderr}")
    return result.returncode if not check else result.stdout.decode(errors="replace").replace("\r\n", "\n")


def value(key, name=None):
    """A value of the registry, or None."""
    result = subprocess.run([RUN_WINE, "reg", "query", key, *(["/v", name] if name else ["/ve"])],
                            stdin=subprocess.DEVNULL, capture_output=True, env=ENVIRONMENT)
    match = re.search(r"REG_\w+ {4}(.*?)\r?$", result.stdout.decode("cp437"), re.MULTILINE)
    return match[1] if result.returncode == 0 and match else None


def linux_path(path):
    assert path.startswith("C:\\"), path
    return DRIVE / path[3:].replace("\\", "/")


def snapshot():
    """The registry and the names of all files."""
    registry = {}
    for number, key in enumerate(REGISTRY):
        export = SCRATCH / f"{number}.reg"
        export.unlink(missing_ok=True)
        wine("regedit", "/E", f"Z:{export}".replace("/", "\\"), key)
        section = ""
        for line in export.read_text(encoding="utf-16").splitlines():
            section = line if line.startswith("[") else section
            # What Wine itself notes while programs run.
            if not re.search(r"\\Volatile|\\Temporary System Parameters", section):
                registry.setdefault(section, []).append(line)
    # The uninstaller's copy of itself lies among the temporary files until Windows starts again.
    files = {str(path.relative_to(DRIVE)) for path in DRIVE.rglob("*") if "Temp" not in path.parts}
    return registry, files


def compare(before, after):
    for section in sorted(before[0].keys() | after[0].keys()):
        assert before[0].get(section) == after[0].get(section), \
            f"{section}\nbefore: {before[0].get(section)}\nafter: {after[0].get(section)}"
    assert before[1] == after[1], f"files left or lost: {sorted(before[1] ^ after[1])}"


class Host:
    """The native program, as a browser finds and starts it."""

    def __init__(self, hive, browser):
        manifest_path = value(rf"{hive}\Software\{browser}\NativeMessagingHosts\{NATIVE_NAME}")
        assert manifest_path, f"{browser} finds no native program"
        manifest = json.loads(linux_path(manifest_path).read_text())
        assert manifest["name"] == NATIVE_NAME and manifest["type"] == "stdio", manifest
        allowed = manifest.get("allowed_extensions" if browser == "Mozilla" else "allowed_origins")
        assert allowed and (browser == "Mozilla" or allowed == [EXTENSION + "/"]), manifest
        self.program = linux_path(manifest_path).parent / manifest["path"]
        assert self.program.exists(), self.program

    def __enter__(self):
        self.process = subprocess.Popen([RUN_WINE, self.program, EXTENSION + "/"], stdin=subprocess.PIPE,
                                        stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, env=ENVIRONMENT)
        return self

    def __exit__(self, *_):
        self.process.stdin.close()
        self.process.stdout.close()
        self.process.wait(PATIENCE_SECONDS)

    def ask(self, number, method, **params):
        message = json.dumps({"id": number, "method": method, "params": params}).encode()
        self.process.stdin.write(struct.pack("<I", len(message)) + message)
        self.process.stdin.flush()
        length = struct.unpack("<I", self.process.stdout.read(4))[0]
        return json.loads(self.process.stdout.read(length))

    def hello(self, origin):
        return self.ask(0, "hello", origin=origin, protocol=1)


def check_installed(hive, folder, expected_origins):
    """What a user, a browser and the library find."""
    linux_folder = linux_path(folder)
    lines = [line for line in (linux_folder / "origins.txt").read_text().splitlines() if line[:1] != "#"]
    assert lines == [EXTENSION, *expected_origins], lines
    manifest = json.loads((linux_folder / "extension/manifest.json").read_text())
    assert manifest["externally_connectable"]["matches"] == [f"{o}/*" for o in expected_origins], manifest
    assert not list(linux_folder.glob("extension/*.template"))
    assert value(hive + UNINSTALL_KEY, "DisplayVersion") == "162"
    assert value(hive + UNINSTALL_KEY, "InstallLocation") == folder
    assert value(ENVIRONMENT_KEY[hive], "Path").split(";").count(folder) == 1
    if hive == "HKLM":
        assert value(DIRECTORY_KEY) == folder
    else:
        assert value(ENVIRONMENT_KEY[hive], "KOVLAUNCH_INSTDIR") == folder
    for browser in BROWSERS:
        Host(hive, browser)
    # From where it was installed, and by its name alone.
    assert "BRENNA-GAME" in wine(linux_folder / "launcher-console.exe", "list")
    assert "BRENNA-GAME" in wine("cmd", "/c", "launcher-console list")


def uninstall(hive, folder):
    """Windows' settings run this command. It starts a copy of itself and leaves, and nobody can wait for
    that but by looking."""
    command = value(hive + UNINSTALL_KEY, "QuietUninstallString")
    program, options = re.fullmatch(r'"(.*)" (.*)', command).groups()
    wine(linux_path(program), *options.split())
    end = time.monotonic() + PATIENCE_SECONDS
    while linux_path(folder).exists():
        assert time.monotonic() < end, f"{folder} is still there"
        time.sleep(0.2)


def test_machine():
    folder = r"C:\Program Files\launcher"
    wine("reg", "add", DIRECTORY_KEY, "/ve", "/d", r"C:\no longer there", "/f")
    before = snapshot()
    wine(SETUP, "/S", "/AllUsers", f"/ORIGINS={PAGE},http://127.0.0.1:8410")
    origins = [PAGE, "http://127.0.0.1:8410"]
    check_installed("HKLM", folder, origins)

    # An older version, whose DLL is in use.
    dll = linux_path(folder) / "launcher.dll"
    new = dll.read_bytes()
    with zipfile.ZipFile(PACKAGES / "launcher-162-sdk.zip") as sdk:
        assert new == sdk.read("bin/launcher.dll")
    dll.write_bytes(new + b"older")
    (linux_path(folder) / "extension/manifest.json").write_text("{}")
    wine("reg", "add", "HKLM" + UNINSTALL_KEY, "/v", "DisplayVersion", "/d", "161", "/f")
    with Host("HKLM", r"Google\Chrome") as host:
        assert "result" in host.hello(PAGE)
        wine(SETUP, "/S", "/AllUsers")
        assert dll.read_bytes() == new
        check_installed("HKLM", folder, origins)
        assert host.ask(1, "getLauncherVersion")["result"] == "162"
    with Host("HKLM", "Chromium") as host:
        assert "error" in host.hello("https://elsewhere.example")

    uninstall("HKLM", folder)
    compare(before, snapshot())


def test_user():
    # Every user of Windows has this key; a new one of Wine does not.
    wine("reg", "add", "HKCU" + UNINSTALL_KEY.rpartition("\\")[0], "/f")
    before = snapshot()
    folder = r"C:\Spiele für mich"
    # Wine puts quotes around an argument with a blank, which /D does not take.
    setup = [SETUP, "/S", "/CurrentUser", *f"/D={folder}".split(" ")]
    wine(*setup)
    check_installed("HKCU", folder, [])

    # Longer than an installer's text (1,024 characters) and than what some programs cut a PATH to (2,047). No
    # program is started by name now: Wine takes no variable of more than 4,096 bytes from the registry.
    long_path = ";".join(rf"C:\many folders\{number:03}" for number in range(150))
    wine("reg", "add", ENVIRONMENT_KEY["HKCU"], "/v", "Path", "/t", "REG_EXPAND_SZ", "/d", long_path, "/f")
    wine(*setup)
    assert value(ENVIRONMENT_KEY["HKCU"], "Path") == f"{long_path};{folder}"
    uninstall("HKCU", folder)
    assert value(ENVIRONMENT_KEY["HKCU"], "Path") == long_path
    wine("reg", "delete", ENVIRONMENT_KEY["HKCU"], "/v", "Path", "/f")
    compare(before, snapshot())


def test_refusals():
    """What is refused changes nothing."""
    before = snapshot()
    for origin in ["https://games.example/", "https://*.example", "http://games.example", "games.example",
                   "https://Games.example", "https://", PAGE + ",ftp://a.example"]:
        status = wine(SETUP, "/S", "/AllUsers", f"/ORIGINS={origin}", check=False)
        assert status == 3, f"{origin}: {status}"
    assert wine(SETUP, "/S", "/AllUsers", "/D=C:\\" + "a" * 127, check=False) == 4
    compare(before, snapshot())


def main():
    shutil.rmtree(SCRATCH, ignore_errors=True)
    SCRATCH.mkdir(parents=True)
    wine("reg", "delete", DIRECTORY_KEY, "/f", check=False)
    try:
        for test in (test_machine, test_user, test_refusals):
            started = time.monotonic()
            test()
            print(f"{test.__name__}: {time.monotonic() - started:.1f} s", flush=True)
    finally:
        wine("reg", "delete", DIRECTORY_KEY, "/f", check=False)
        wine("reg", "delete", ENVIRONMENT_KEY["HKCU"], "/v", "Path", "/f", check=False)


main()
