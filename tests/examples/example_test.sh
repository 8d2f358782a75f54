#!/bin/bash
# example_test.sh <expected text> <command> [argument...]: holds what an example host
# prints against a file.
set -euo pipefail
expected="$1"
shift
# The launcher writes its process identifier in front, without a line end.
output="$("$@" 2>/dev/null | tr -d '\r' | sed '1s/^Plugin process ID: [0-9]*//')"
diff "$expected" - <<<"$output"
