#!/bin/bash
# bash_completion_test.sh COMMAND...: the script of `completion bash`, asked as bash asks it. COMMAND runs
# launcher-console.
set -euo pipefail
eval "$("$@" completion bash)"
failures=0

# Expect "what comes out" words of a command line...: the last word is being completed.
Expect() {
  local expected="$1"
  COMP_WORDS=(launcher-console "${@:2}")
  COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
  COMPREPLY=()
  _launcher_console || true # Fails when nothing fits.
  [[ "${COMPREPLY[*]-}" == "$expected" ]] && return
  echo "${COMP_WORDS[*]}: \"${COMPREPLY[*]-}\", expected \"$expected\"" >&2
  failures=$((failures + 1))
}

[[ "$(complete -p launcher-console.exe)" == *"-F _launcher_console launcher-console.exe" ]]
Expect "ping" pi
Expect "send set" se
Expect "--json" --js
Expect "BRENNA-GAME" kill BRENNA-G
Expect "TAMSIN-BETA2-GAME TAMSIN-CTE-GAME TAMSIN-MAINLINE-GAME" --json watch TAMSIN
Expect "--retry" ping 127.0.0.1 --ret
Expect "--not-empty --not-full" query --not
Expect "--dll" query --dl
Expect "completion" help com
Expect "" kill BRENA
exit $((failures > 0))
