# What the scripts share. Sourced; leaves the caller in the root of the repository.

root="$(cd -- "$(dirname -- "$(readlink -f -- "${BASH_SOURCE[0]}")")/../.." && pwd -P)"
. "$root/scripts/lib/help.sh"
cd -- "$root"

# The caller's settings for other projects do not count here.
unset CC CXX CFLAGS CXXFLAGS CPPFLAGS LDFLAGS CDPATH DESTDIR
unset CMAKE_TOOLCHAIN_FILE CMAKE_GENERATOR CMAKE_BUILD_TYPE
# Tools may have been started without standard input, and none of them needs it.
exec </dev/null

buildPackages=(cmake ninja-build g++-mingw-w64-x86-64-posix googletest nlohmann-json3-dev
  libcli11-dev)
winePackages=(wine wine64)
# For the browser host's test and demonstration alone.
browserPackages=(chromium chromium-driver nodejs)
# For the example hosts in other languages. Node.js may have brought npm with it.
languagePackages=(golang-go rustc libstd-rust-dev-windows)
command -v npm >/dev/null || languagePackages+=(npm)
# For scripts/package.
packagePackages=(cmark-gfm llvm nsis osslsigncode python3)
testPackages=(g++ clang clang-format clang-tidy lld pkgconf python3)
coveragePackages=(gcovr)
benchPackages=(g++ libmsgpack-cxx-dev python3)

# Say <text>: a headline between the tools' outputs.
Say() {
  printf '\n== %s\n' "$*"
}

# InstallPackages <package>...: installs those that are missing; asks the network
# for nothing when none is.
InstallPackages() {
  local system=unknown
  if [[ -r /etc/os-release ]]; then
    system="$(. /etc/os-release && echo "${ID:-unknown}")"
  fi
  if [[ "$system" != debian && "$system" != ubuntu ]]; then
    {
      echo "error: this system is '$system'. Packages are installed on Debian and Ubuntu only."
      echo "Needed are, by their Debian names: ${buildPackages[*]} ${winePackages[*]}" \
        "${testPackages[*]} ${browserPackages[*]} ${languagePackages[*]} ${packagePackages[*]}"
      echo "When you have their like, use the presets: cmake --preset release"
    } >&2
    exit 1
  fi

  local package missing=()
  for package in "$@"; do
    if [[ "$(dpkg-query --show --showformat='${db:Status-Status}' "$package" 2>/dev/null)" != installed ]]; then
      missing+=("$package")
    fi
  done
  if ((${#missing[@]} == 0)); then
    return
  fi

  local asRoot=()
  if ((EUID != 0)); then
    if ! command -v sudo >/dev/null; then
      echo "error: packages are missing: ${missing[*]}" >&2
      echo "Install them, or run this as root or as a user with sudo." >&2
      exit 1
    fi
    asRoot=(sudo)
  fi
  Say "Installing ${missing[*]}"
  "${asRoot[@]}" apt-get update -qq
  "${asRoot[@]}" env DEBIAN_FRONTEND=noninteractive \
    apt-get install -qq --yes --no-install-recommends -o Dpkg::Use-Pty=0 "${missing[@]}"
}

# InstallNodeModules: what the browser host's tests, demonstration and measurement take from npm, in
# the versions of their lock file; asks the network for nothing when all is there.
InstallNodeModules() {
  local folder=hosts/browser/stage
  # Some packages of Node.js bring npm with them, and Debian's own does not.
  command -v npm >/dev/null || InstallPackages npm
  if [[ "$folder/node_modules/.package-lock.json" -nt "$folder/package-lock.json" ]]; then return; fi
  Say "Installing $folder/node_modules"
  npm ci --prefix "$folder" --no-audit --no-fund --loglevel=error
}

# Whether this script was started by another one that works in the same build/.
withinScript=no

# Only one script at a time works in build/. The lock is descriptor 8; tools that
# leave something running get 8>&-.
LockBuildFolder() {
  # A script that is run by a script works under that one's lock.
  if [[ "${LAUNCHER_BUILD_LOCK:-}" == "$root" ]]; then
    withinScript=yes
    return
  fi
  export LAUNCHER_BUILD_LOCK=$root
  mkdir -p build
  exec 8>build/lock
  if ! flock --nonblock 8; then
    echo "Waiting for another script that works in $root/build" >&2
    flock 8
  fi
}

# Build <preset> [target...]
Build() {
  local preset="$1" folder="build/$1"
  shift
  # A build folder that was moved or copied here knows other paths.
  if [[ -e "$folder/CMakeCache.txt" ]] &&
    ! grep -qxF "CMAKE_HOME_DIRECTORY:INTERNAL=$root" "$folder/CMakeCache.txt"; then
    rm -rf "$folder"
  fi
  Say "Building $folder"
  # An interrupted or outdated configuration is made anew.
  cmake --preset "$preset" --log-level=WARNING >/dev/null 2>&1 ||
    cmake --preset "$preset" --fresh --log-level=WARNING >/dev/null
  local targets=()
  if (($# > 0)); then
    targets=(--target "$@")
  fi
  cmake --build "$folder" "${targets[@]}"
}
