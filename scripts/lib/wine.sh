# Functions around this repository's own Wine installation. Sourced.
#
# Everything that Wine writes goes to build/wine: the prefix (drive C and the
# registry), and a home folder, because Wine also writes menu entries and caches
# below $HOME.

wineFolder="$(cd -- "$(dirname -- "$(readlink -f -- "${BASH_SOURCE[0]}")")/../.." && pwd -P)/build/wine"

# Points every Wine program that is started from here on to the installation, and sets how to start one:
# "${wineCommand[@]}" program.exe argument...
UseWine() {
  # At random, once in 3000 starts, Linux puts a program's heap where Wine has to map something of its own,
  # and the program ends before it begins. Some containers do not allow to do without the randomness.
  wineCommand=(wine)
  if setarch -R true 2>/dev/null; then wineCommand=(setarch -R wine); fi
  export LAUNCHER_WINE_COMMAND="${wineCommand[*]}"
  export WINEPREFIX="$wineFolder/prefix"
  export WINEARCH=win64
  export HOME="$wineFolder/home"
  export XDG_CONFIG_HOME="$HOME/.config" XDG_DATA_HOME="$HOME/.local/share"
  export XDG_CACHE_HOME="$HOME/.cache"
  # Silent: Wine's own messages would mix with the lines that tests compare.
  export WINEDEBUG="${LAUNCHER_WINEDEBUG:--all}"
  # No menu entries, no question whether to download .NET and a browser, and no debugger that looks at a
  # program for minutes before it may crash.
  export WINEDLLOVERRIDES='winemenubuilder.exe=d;winedbg.exe=d;mscoree=;mshtml='
  # Paths with any letters: in the C locale Wine knows ASCII alone.
  export LC_ALL=C.UTF-8
  # The server's socket.
  export TMPDIR="$wineFolder/tmp"
  mkdir -p "$TMPDIR"
  unset DISPLAY WAYLAND_DISPLAY WINELOADER WINESERVER
}

# Makes the installation unless a finished one exists. Several processes may call
# this at once. UseWine first.
PrepareWine() {
  local ready="$wineFolder/ready"
  [[ -e "$ready" ]] && return
  mkdir -p "$wineFolder"
  (
    flock 9
    [[ -e "$ready" ]] && exit
    # Never by "$HOME": whoever forgets UseWine has a home of their own.
    rm -rf "$wineFolder/prefix" "$wineFolder/home"
    mkdir -p "$wineFolder/home"
    # Into a file: what Wine leaves running must not keep the caller's output
    # open. And 9>&-, or it would keep the lock.
    exec >"$wineFolder/init.log" 2>&1
    "${wineCommand[@]}" wineboot --init 9>&-
    # Windows without a screen.
    "${wineCommand[@]}" reg add 'HKCU\Software\Wine\Drivers' /v Graphics /d null /f 9>&-
    # The registry is on disk when the server has ended.
    wineserver -w 9>&-
    touch "$ready"
  ) 9>"$wineFolder/lock" </dev/null || {
    cat "$wineFolder/init.log" >&2
    echo "Wine could not be set up in $wineFolder" >&2
    return 1
  }
}

# WindowsPath <path>: the same in Windows' words. UseWine first.
WindowsPath() { "${wineCommand[@]}" winepath -w "$1"; }

# StartWine [seconds]: starts Wine's server and Windows' own background programs.
# They stay for these seconds after the last program, or until StopWine. Started
# by the first program instead they would keep its output open, and whoever reads
# that would wait for them. UseWine first.
StartWine() {
  wineserver "-p${1-}" </dev/null >"$wineFolder/server.log" 2>&1 || true # Runs already.
  "${wineCommand[@]}" cmd /c exit </dev/null >"$wineFolder/server.log" 2>&1
}

# Ends the server of this installation, with all programs in it.
StopWine() (
  UseWine
  [[ -d "$WINEPREFIX" ]] || exit 0
  wineserver -k >/dev/null 2>&1 || true # Fails when no server runs.
  wineserver -w >/dev/null 2>&1 || true
  rm -rf "$wineFolder/tmp"
)
