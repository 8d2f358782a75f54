#!/bin/bash
# check_includes_test.sh <scripts/check-includes> <scratch folder>
#
# Breaks every rule of check-includes once, in a small tree that keeps them all,
# and expects exactly the offence that belongs to it.
set -euo pipefail
check="$1"
tree="$2"
failures=0

# Include <file> <line>...: adds include lines to a file.
Include() {
  local file="$tree/$1" name
  shift
  mkdir -p "$(dirname -- "$file")"
  for name in "$@"; do
    printf '#include %s\n' "$name" >>"$file"
  done
}

MakeTree() {
  rm -rf "$tree"
  mkdir -p "$tree/cmake"
  printf '%s\n' 'set(LAUNCHER_PORTABLE_SOURCES' '    core/text.cpp)' \
    'set(LAUNCHER_WINDOWS_SOURCES' '    apps/game.cpp' '    core/launcher/app_launcher.cpp' \
    '    core/log.cpp' '    gamepipe/client.cpp' '    ping/batch.cpp' '    query/thread.cpp)' \
    >"$tree/cmake/sources.cmake"
  Include include/launcher/launcher.h
  touch "$tree/include/launcher/launcher.h"
  Include core/windows_api.h '<windows.h>'
  Include core/text.h '<string>'
  Include core/text.cpp '"core/text.h"'
  Include core/log.cpp '"core/windows_api.h"'
  Include core/launcher/app_launcher.h '"launcher/launcher.h"'
  Include core/launcher/app_launcher.cpp '"core/launcher/app_launcher.h"' '"apps/game.h"' '"ping/batch.h"' \
    '"query/thread.h"'
  Include gamepipe/client.h '"core/windows_api.h"'
  Include gamepipe/client.cpp '"gamepipe/client.h"'
  Include apps/game.h '"gamepipe/client.h"'
  Include apps/game.cpp '"apps/game.h"'
  Include ping/batch.h '"core/text.h"'
  Include ping/batch.cpp '"ping/batch.h"'
  Include query/thread.h '"core/text.h"'
  Include query/thread.cpp '"query/thread.h"'
  Include tests/host/host_test.cpp '"launcher/launcher.h"' '"tests/support/dll.h"' '<windows.h>'
  Include tests/support/dll.h '<windows.h>'
  Include tests/windows/client_test.cpp '"gamepipe/client.h"'
  Include examples/host.cpp '"launcher/launcher.h"'
  Include kit/game.cpp '<windows.h>'
  Include fuzz/property.h '<string>'
  Include bench/measure.h '<string>'
  Include examples/demo.h '<string>'
}

# Expect <output>: what check-includes says about the tree; nothing means success.
Expect() {
  local expected="$1" actual status=0 expectedStatus=0
  [[ -z "$expected" ]] || expectedStatus=1
  actual="$("$check" "$tree" 2>&1)" || status=$?
  if [[ "$actual" != "$expected" || $status != "$expectedStatus" ]]; then
    printf 'FAILED\n  expected (%s): %s\n  actual (%s): %s\n' \
      "$expectedStatus" "$expected" "$status" "$actual"
    failures=$((failures + 1))
  fi
}

# ExpectOffence <file> <include> <output>: one more include line is an offence.
ExpectOffence() {
  MakeTree
  Include "$1" "$2"
  Expect "$3"
}

MakeTree
Expect ''

ExpectOffence core/log.cpp '"gamepipe/client.h"' 'core/log.cpp must not include gamepipe/client.h'
ExpectOffence core/log.cpp '"apps/game.h"' 'core/log.cpp must not include apps/game.h'
ExpectOffence core/log.cpp '"ping/batch.h"' 'core/log.cpp must not include ping/batch.h'
ExpectOffence core/log.cpp '"query/thread.h"' 'core/log.cpp must not include query/thread.h'
ExpectOffence core/runtime/guard.cpp '"apps/game.h"' 'core/runtime/guard.cpp must not include apps/game.h
core/runtime/guard.cpp is missing in cmake/sources.cmake'
ExpectOffence core/log.cpp '"core/launcher/app_launcher.h"' \
  'core/log.cpp must not include core/launcher/app_launcher.h'
ExpectOffence query/thread.cpp '"core/launcher/app_launcher.h"' \
  'query/thread.cpp must not include core/launcher/app_launcher.h'
ExpectOffence gamepipe/client.cpp '"apps/game.h"' 'gamepipe/client.cpp must not include apps/game.h'
ExpectOffence gamepipe/client.cpp '"ping/batch.h"' \
  'gamepipe/client.cpp must not include ping/batch.h'
ExpectOffence apps/game.cpp '"query/thread.h"' 'apps/game.cpp must not include query/thread.h'
ExpectOffence ping/batch.cpp '"gamepipe/client.h"' \
  'ping/batch.cpp must not include gamepipe/client.h'
ExpectOffence ping/batch.cpp '"query/thread.h"' 'ping/batch.cpp must not include query/thread.h'
ExpectOffence query/thread.cpp '  "apps/game.h" // blanks' \
  'query/thread.cpp must not include apps/game.h'
ExpectOffence include/launcher/launcher.h '"core/text.h"' \
  'include/launcher/launcher.h must not include core/text.h
host: examples/host.cpp -> include/launcher/launcher.h -> core/text.h, which is not public
host: tests/host/host_test.cpp -> include/launcher/launcher.h -> core/text.h, which is not public'
ExpectOffence apps/game.cpp '"tests/support/dll.h"' \
  'apps/game.cpp must not include tests/support/dll.h'
ExpectOffence core/text.cpp '<windows.h>' \
  'portable: core/text.cpp -> <windows.h>, which is not of standard C++'
ExpectOffence core/text.h '"core/windows_api.h"' \
  'portable: core/text.cpp -> core/text.h -> core/windows_api.h -> <windows.h>, which is not of standard C++'
ExpectOffence tests/support/dll.h '"core/text.h"' \
  'host: tests/host/host_test.cpp -> tests/support/dll.h -> core/text.h, which is not public
host: tests/support/dll.h -> core/text.h, which is not public'
ExpectOffence examples/host.cpp '"core/text.h"' \
  'host: examples/host.cpp -> core/text.h, which is not public'
ExpectOffence tools/console.cpp '"core/text.h"' \
  'host: tools/console.cpp -> core/text.h, which is not public'
ExpectOffence hosts/browser/main.cpp '"core/text.h"' \
  'host: hosts/browser/main.cpp -> core/text.h, which is not public'
ExpectOffence core/log.cpp '"fuzz/property.h"' 'core/log.cpp must not include fuzz/property.h'
ExpectOffence core/log.cpp '"bench/measure.h"' 'core/log.cpp must not include bench/measure.h'
ExpectOffence core/log.cpp '"examples/demo.h"' 'core/log.cpp must not include examples/demo.h'
ExpectOffence kit/game.cpp '"gamepipe/client.h"' \
  'host: kit/game.cpp -> gamepipe/client.h, which is not public'
ExpectOffence apps/game.cpp '"game.h"' \
  'apps/game.cpp includes "game.h", which does not exist (paths count from the root)'

MakeTree
Include core/text.h '"core/letters.h"'
Include core/letters.h '"core/text.h"'
Expect 'circle: core/text.h -> core/letters.h -> core/text.h'

MakeTree
touch "$tree/ping/reply.cpp"
Expect 'ping/reply.cpp is missing in cmake/sources.cmake'

MakeTree
rm "$tree/core/log.cpp"
Expect 'cmake/sources.cmake names core/log.cpp, which does not exist'

rm -rf "$tree"
exit $((failures > 0))
