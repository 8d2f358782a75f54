#!/bin/bash
# help_test.sh <repository> <scratch folder>
#
# Every script answers --help with its own name and what it does, and does nothing else: it runs in a copy of
# the scripts alone, with no tool in reach that could build, install or start anything.
set -euo pipefail
scratch="$2"
failures=0

Fail() {
  echo "FAILED $1: $2" >&2
  failures=$((failures + 1))
}

rm -rf "$scratch"
mkdir -p "$scratch/bin" "$scratch/tree"
cp -R "$1/scripts" "$scratch/tree/"
for tool in bash env readlink realpath dirname basename sed; do
  ln -s "$(command -v "$tool")" "$scratch/bin/$tool"
done
# Itself: what the search path finds may be a script that needs more tools.
ln -s "$(python3 -c 'import sys; print(sys.executable)')" "$scratch/bin/python3"
before="$(cd -- "$scratch/tree" && find . | sort)"

count=0
for script in "$scratch"/tree/scripts/*; do
  [[ -f "$script" ]] || continue
  name="scripts/$(basename -- "$script")"
  count=$((count + 1))
  for option in --help -h; do
    status=0
    output="$(PATH="$scratch/bin" "$script" "$option" 2>&1)" || status=$?
    [[ $status == 0 ]] || Fail "$name" "exit code $status for $option: $output"
    [[ "$output" == "$name"* || "$output" == "usage: $name"* ]] || Fail "$name" "$option does not begin with the name: $output"
    [[ "$output" != *"#"* ]] || Fail "$name" "$option shows the marks of comments: $output"
  done
  [[ "$(cd -- "$scratch/tree" && find . -name __pycache__ -prune -o -print | sort)" == "$before" ]] || Fail "$name" "leaves something behind"
done
((count >= 12)) || Fail scripts "only $count found"

rm -rf "$scratch"
exit $((failures > 0))
