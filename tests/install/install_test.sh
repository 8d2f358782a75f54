#!/bin/bash
# install_test.sh <source folder> <build folder> <toolchain file> <scratch folder>
#
# Installs into an empty folder, moves that to another place, and builds and runs
# a project of somebody else's against it: once with CMake, once with pkg-config.
set -euo pipefail
source="$1"
build="$2"
toolchain="$3"
scratch="$4"

rm -rf "$scratch"
mkdir -p "$scratch"
cmake --install "$build" --prefix "$scratch/first place" >/dev/null
mv "$scratch/first place" "$scratch/prefix"
prefix="$scratch/prefix"

expectedFiles='bin/launcher.dll
bin/launcher.dll.debug
include/launcher/launcher.h
include/launcher/launcher.hpp
include/launcher/launcher_c.h
include/launcher/results.hpp
lib/cmake/launcher/launcher-config-version.cmake
lib/cmake/launcher/launcher-config.cmake
lib/cmake/launcher/launcherTargets-release.cmake
lib/cmake/launcher/launcherTargets.cmake
lib/liblauncher.dll.a
lib/pkgconfig/launcher.pc'
diff <(echo "$expectedFiles") <(cd "$prefix" && find . -type f -printf '%P\n' | LC_ALL=C sort)
# Nothing remembers the folders of the build.
if grep -rlF -e "$source" -e "$scratch" "$prefix"; then
  echo "FAILED: these files name the build's folders" >&2
  exit 1
fi

# Run <program> <end of its output>: with the DLL beside the program. What comes
# before is the library's own.
Run() {
  local output
  cp "$prefix/bin/launcher.dll" "$(dirname -- "$1")/"
  output="$("$source/scripts/run-wine" "$1" 2>"$scratch/log.txt")"
  if [[ "${output//$'\r'/}" != *"$2" ]]; then
    cat "$scratch/log.txt" >&2
    printf 'FAILED: %s\n  expected: %s\n  actual: %s\n' "$1" "$2" "$output" >&2
    exit 1
  fi
}

cmake -G Ninja -S "$source/tests/install" -B "$scratch/cmake" -DCMAKE_TOOLCHAIN_FILE="$toolchain" \
  -DCMAKE_BUILD_TYPE=Release -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$scratch/cmake" >/dev/null
Run "$scratch/cmake/cpp_stranger.exe" 'C++ host: contract 1, version 162, exported version 162'
Run "$scratch/cmake/wrapper_stranger.exe" 'C++17 host: version 162'
Run "$scratch/cmake/c_stranger.exe" 'C host: contract 1, version 162, exported version 162'

export PKG_CONFIG_LIBDIR="$prefix/lib/pkgconfig"
if [[ "$(pkg-config --modversion launcher)" != 162 ]]; then
  echo "FAILED: version of the pkg-config package" >&2
  exit 1
fi
mkdir "$scratch/pkgconfig"
# pkg-config quotes for a shell.
eval "flags=($(pkg-config --cflags --libs launcher))"
x86_64-w64-mingw32-gcc-posix -static -o "$scratch/pkgconfig/c_stranger.exe" \
  "$source/tests/install/stranger.c" "${flags[@]}"
Run "$scratch/pkgconfig/c_stranger.exe" 'C host: contract 1, version 162, exported version 162'
rm -rf "$scratch"
