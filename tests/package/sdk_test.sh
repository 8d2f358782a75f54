#!/bin/bash
# sdk_test.sh <repository> <folder of the packages> <scratch folder>
#
# Takes the SDK and the tools into somebody else's hands: unpacks them into a folder with a space in its
# name, and builds and runs hosts with CMake, pkg-config, and the command lines of three compilers.
set -euo pipefail
source=$1
dist=$2
scratch=$3
rm -rf "$scratch"
mkdir -p "$scratch/bin"
sdk="$scratch/the sdk"
python3 -m zipfile -e "$dist/launcher-162-sdk.zip" "$sdk"
python3 -m zipfile -e "$dist/launcher-162-tools.zip" "$scratch/tools"
cp "$sdk/bin/launcher.dll" "$scratch/bin/"

Fail() {
  echo "FAILED: $*" >&2
  exit 1
}

# What must be there; whatever else is added does no harm.
for file in bin/launcher.dll bin/launcher.dll.debug include/launcher/launcher.h \
  include/launcher/launcher_c.h include/launcher/launcher.hpp include/launcher/results.hpp \
  lib/liblauncher.dll.a lib/launcher.lib lib/pkgconfig/launcher.pc \
  kit/helperx64.exe kit/demo_game.exe kit/demo_server.exe kit/vectors/frames.json doc/hosts-guide.html \
  doc/formats.html doc/kit.html examples/c_host.c examples/rust/src/launcher.rs THIRD_PARTY_NOTICES.md; do
  [[ -s "$sdk/$file" ]] || Fail "the SDK has no $file"
done
for file in launcher.dll launcher-console.exe browser_host.exe origins.txt extension/manifest.json \
  completion/launcher-console.bash completion/launcher-console.ps1 doc/console.html THIRD_PARTY_NOTICES.md; do
  [[ -s "$scratch/tools/$file" ]] || Fail "the tools have no $file"
done
! grep -rlF -e "$source" "$sdk" "$scratch/tools" || Fail "these files name the build's folder"
# The symbols belong to the DLL.
python3 - "$sdk/bin/launcher.dll" <<'END' || Fail "launcher.dll.debug belongs to another DLL"
import sys, zlib
dll = open(sys.argv[1], "rb").read()
name = b"launcher.dll.debug\0"
checksum = dll.index(name) + (len(name) + 3) // 4 * 4
symbols = open(sys.argv[1] + ".debug", "rb").read()
assert int.from_bytes(dll[checksum:checksum + 4], "little") == zlib.crc32(symbols)
END
# Pages and pictures that a page names are there.
python3 "$source/tests/package/check_pages.py" "$sdk/doc" "$scratch/tools/doc"

# The extension as a store takes it.
python3 - "$dist/launcher-162-extension.zip" <<'END' || Fail "the extension"
import json, sys, zipfile
archive = zipfile.ZipFile(sys.argv[1])
manifest = json.loads(archive.read("manifest.json"))
assert "key" not in manifest and manifest["manifest_version"] == 3
assert manifest["background"]["service_worker"] in archive.namelist()
END

# Run <program> <what it prints>. The library prints, too.
Run() {
  local output
  output=$("$source/scripts/run-wine" "$scratch/bin/$1" 2>"$scratch/log.txt") ||
    { cat "$scratch/log.txt" >&2; Fail "$1 ended with $?"; }
  [[ "${output//$'\r'/}" == *"$2"* ]] || Fail "$1 printed $output"
}
cpp='C++ host: contract 1, version 162, exported version 162'
c='C host: contract 1, version 162, exported version 162'

cmake -G Ninja -S "$source/tests/install" -B "$scratch/cmake" -DCMAKE_BUILD_TYPE=Release \
  -DCMAKE_TOOLCHAIN_FILE="$source/cmake/mingw-w64.cmake" -DCMAKE_PREFIX_PATH="$sdk" \
  -DCMAKE_RUNTIME_OUTPUT_DIRECTORY="$scratch/bin" >/dev/null
cmake --build "$scratch/cmake" >/dev/null
Run cpp_stranger.exe "$cpp"
Run c_stranger.exe "$c"

eval "flags=($(PKG_CONFIG_LIBDIR="$sdk/lib/pkgconfig" pkg-config --cflags --libs launcher))"
x86_64-w64-mingw32-gcc-posix -static -o "$scratch/bin/pkgconfig.exe" "$source/tests/install/stranger.c" \
  "${flags[@]}"
Run pkgconfig.exe "$c"

x86_64-w64-mingw32-g++-posix -static -o "$scratch/bin/mingw.exe" "$source/tests/install/stranger.cpp" \
  "-I$sdk/include" "$sdk/lib/liblauncher.dll.a"
Run mingw.exe "$cpp"

gccFolder=$(dirname -- "$(x86_64-w64-mingw32-gcc-posix -print-libgcc-file-name)")
clang --target=x86_64-w64-windows-gnu -fuse-ld=lld "-L$gccFolder" -o "$scratch/bin/clang.exe" \
  "$source/tests/install/stranger.c" "-I$sdk/include" "$sdk/lib/liblauncher.dll.a"
Run clang.exe "$c"

clang++ --target=x86_64-pc-windows-msvc -std=c++20 -O1 -ffreestanding -fno-exceptions -fno-rtti -c \
  -o "$scratch/microsoft.obj" "$source/examples/microsoft_abi/host.cpp" "-I$sdk/include"
lld-link /nologo "/out:$scratch/bin/microsoft.exe" /entry:HostMain /nodefaultlib /subsystem:console \
  "$scratch/microsoft.obj" "$sdk/lib/launcher.lib" /usr/x86_64-w64-mingw32/lib/libkernel32.a
Run microsoft.exe 'event Hello from microsoft-abi-host: world'

# The completion script completes a command.
completed=$(
  . "$scratch/tools/completion/launcher-console.bash"
  COMP_WORDS=(launcher-console doc) COMP_CWORD=1
  _launcher_console
  echo "${COMPREPLY[*]}"
)
[[ "$completed" == doctor ]] || Fail "'launcher-console doc' was completed to '$completed'"
grep -qF 'Register-ArgumentCompleter' "$scratch/tools/completion/launcher-console.ps1" || Fail "PowerShell's completion"

# The tools, from where they were unpacked.
listed=$("$source/scripts/run-wine" "$scratch/tools/launcher-console.exe" list 2>/dev/null || true)
[[ "$listed" == *BRENNA-GAME* ]] || Fail "the console printed $listed"
