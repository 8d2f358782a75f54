#!/bin/bash
# Holds the slot numbers of the public interfaces, as clang lays them out for both C++ ABIs, and the
# exports and imported DLLs of the built DLL against the lists beside this script.
#
#   abi_test.sh REPOSITORY launcher.dll EMPTY_FOLDER
set -euo pipefail
export LC_ALL=C
repository=$1
dll=$2
folder=$3
lists=$repository/tests/abi
rm -rf "$folder"
mkdir -p "$folder"

cat > "$folder/use.cpp" <<'TXT'
#include "launcher/launcher.h"
// A class of each makes the compiler lay its table out.
struct Launcher : ILauncher { Launcher(); };
struct String : IString { String(); };
struct EventInfo : IEventInfo { EventInfo(); };
Launcher::Launcher() {}
String::String() {}
EventInfo::EventInfo() {}
TXT

# Slots <target> <entries before the first function>: from lines like
# "  18 | void *ILauncher::Destroy(unsigned int) [pure]".
Slots() {
  clang++ "--target=$1" -std=c++20 -ffreestanding -I"$repository/include" -S -emit-llvm -o /dev/null \
    -Xclang -fdump-vtable-layouts "$folder/use.cpp" |
    sed -nE 's/^ *([0-9]+) \| .*\b(ILauncher|IString|IEventInfo)::([A-Za-z0-9]+)\(.*\[pure\]$/\2 \1 \3/p' |
    awk -v before="$2" '{ print $1, $2 - before, $3 }' | sort -u
}
Slots x86_64-pc-windows-msvc 1 > "$folder/microsoft.txt"
Slots x86_64-w64-windows-gnu 2 > "$folder/itanium.txt"
diff <(sort "$lists/slots.txt") "$folder/microsoft.txt"
diff <(sort "$lists/slots.txt") "$folder/itanium.txt"

objdump=x86_64-w64-mingw32-objdump
"$objdump" -p "$dll" | sed -nE 's/^\t\[ *[0-9]+\] ([A-Za-z_]+)$/\1/p' | sort > "$folder/exports.txt"
diff "$lists/exports.txt" "$folder/exports.txt"
"$objdump" -p "$dll" | sed -nE 's/^\tDLL Name: (.*)$/\1/p' | tr '[:upper:]' '[:lower:]' | sort \
  > "$folder/imports.txt"
diff "$lists/imports.txt" "$folder/imports.txt"
echo "the binary contract holds"
