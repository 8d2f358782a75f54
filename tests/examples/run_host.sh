#!/bin/bash
# run_host.sh <repository> <build folder> <expected text> <command> [argument...]
#
# Runs an example host with the port of a demo server after its arguments, and holds what it prints
# against a file.
set -euo pipefail
repository=$1
build=$2
expected=$3
shift 3
# Node.js asks for a younger Windows than Wine says it is.
export NODE_SKIP_PLATFORM_CHECK=1
unset KOVLAUNCH_INSTDIR KOVLAUNCH_DEBUG KOVLAUNCH_FAKE_X86

exec {server}< <(exec "$repository/scripts/run-wine" "$build/bin/demo_server.exe" --teams 0 --count 1 \
  --wait 60 2>/dev/null)
port=
while [[ -z "$port" ]] && IFS= read -r -u "$server" line; do
  if [[ "$line" =~ 'listening on 127.0.0.1:'([0-9]+) ]]; then port=${BASH_REMATCH[1]}; fi
done
if [[ -z "$port" ]]; then
  echo "FAILED: the demo server did not start" >&2
  exit 1
fi

# Into files: under Wine Node.js writes neither to a pipe nor to /dev/null.
output=$(mktemp)
log=$(mktemp)
trap 'rm -f "$output" "$log"' EXIT
"$repository/scripts/run-wine" "$@" "$port" >"$output" 2>"$log" || {
  cat "$log" >&2
  exit 1
}
# The launcher's log goes to standard error. Its process identifier, without a line end, comes last: the
# host does not share the buffer of the C run-time's standard output.
sed 's/\r$//; s/^Plugin process ID: [0-9]*//; ${/^$/d}' "$output" | diff "$expected" -
# The server ends after the query that it has answered.
cat <&"$server" >/dev/null
