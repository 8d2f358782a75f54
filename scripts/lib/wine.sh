# Functions around this repository's own Wine installation. Sourced.
#
# Everything that Wine writes goes to build/wine: the prefix (drive C and the
# registry), and a home folder, because Wine also writes menu entries and
# fonts' caches below $HOME.

launcherRoot="$(cd -- "$(dirname -- "$(readlink -f -- "${BASH_SOURCE[0]}")")/../.." && pwd -P)"
wineFolder="${LAUNCHER_WINE_FOLDER:-$launcherRoot/build/wine}"

export WINEPREFIX="$wineFolder/prefix"
export WINEARCH=win64
export HOME="$wineFolder/home"
export XDG_CONFIG_HOME="$HOME/.config" XDG_DATA_HOME="$HOME/.local/share"
export XDG_CACHE_HOME="$HOME/.cache"
# Silent: Wine's own messages would stand between the lines that tests compare.
export WINEDEBUG="${WINEDEBUG:--all}"
# No menu entries, and no question whether .NET and a browser shall be loaded
# from the network.
export WINEDLLOVERRIDES='winemenubuilder.exe=d;mscoree=;mshtml='
# Paths with any letters: in the C locale Wine knows ASCII alone.
export LC_ALL=C.UTF-8
unset DISPLAY WAYLAND_DISPLAY WINELOADER WINESERVER

# Makes the prefix unless a finished one exists. Safe to call from several
# processes at once.
PrepareWine() {
  local ready="$wineFolder/ready"
  [[ -e "$ready" ]] && return
  mkdir -p "$wineFolder"
  (
    flock 9
    [[ -e "$ready" ]] && exit
    rm -rf "$WINEPREFIX" "$HOME"
    mkdir -p "$HOME"
    # Nothing that Wine leaves running may keep the caller's output open.
    wineboot --init >"$wineFolder/init.log" 2>&1
    # Windows without a screen.
    wine reg add 'HKCU\Software\Wine\Drivers' /v Graphics /d null /f \
      >>"$wineFolder/init.log" 2>&1
    # Waits until the registry is on disk.
    wineserver -w >>"$wineFolder/init.log" 2>&1
    touch "$ready"
  ) 9>"$wineFolder/lock" </dev/null
}
