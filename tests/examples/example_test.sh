#!/bin/bash
# example_test.sh <expected text> <command> [argument...]: holds what an example host
# prints against a file.
set -euo pipefail
expected="$1"
shift
# The launcher writes its process identifier, without a line end: in front, or in the end when the host
# does not share the C run-time's buffer.
output="$("$@" 2>/dev/null | tr -d '\r' | sed 's/^Plugin process ID: [0-9]*//')"
diff "$expected" - <<<"$output"
