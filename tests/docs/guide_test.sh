#!/bin/bash
# Follows the host's guide to the letter in an empty folder: writes the files that it shows, runs the
# commands marked "guide", and compares what the host prints with what the guide says.
#
#   guide_test.sh REPOSITORY EMPTY_FOLDER
set -euo pipefail
repository=$1
# The guide works below the reader's home.
export HOME=$2
guide=$HOME/first-host
page=$repository/docs/hosts-guide.md

rm -rf "$HOME"
mkdir -p "$guide"

# The blocks of the page whose first line is "```$1", one after the other.
Blocks() {
  awk -v opening="\`\`\`$1" '$0 == opening { inside = 1; next }
                             $0 == "```" { inside = 0 }
                             inside' "$page"
}

Blocks 'cpp file=first_host.cpp' > "$guide/first_host.cpp"
Blocks 'cmake file=CMakeLists.txt' > "$guide/CMakeLists.txt"
Blocks 'text output' > "$HOME/expected.txt"
Blocks 'sh guide' > "$HOME/commands.sh"
test -s "$guide/first_host.cpp"
test -s "$guide/CMakeLists.txt"
test -s "$HOME/expected.txt"
test -s "$HOME/commands.sh"
(cd "$repository" && bash -euo pipefail "$HOME/commands.sh") > "$HOME/output.txt"

# The host runs three times. The launcher's own text is left out, and of the second run, which has a
# helper, the measured time (0 is a time, too, on a fast machine).
tr -d '\r' < "$HOME/output.txt" | sed -n 's/^Plugin process ID: [0-9]*//; /^BRENNA-GAME/,/^\]/p' \
  > "$HOME/printed.txt"
length=$(wc -l < "$HOME/expected.txt")
Run() { sed -n "$((length * ($1 - 1) + 1)),$((length * $1))p" "$HOME/printed.txt"; }
diff <(Run 1) "$HOME/expected.txt"
diff <(Run 2 | sed 's/"roundTripMSEC": [0-9]*/"roundTripMSEC": 0/') "$HOME/expected.txt"
diff <(Run 3) "$HOME/expected.txt"
test -z "$(Run 4)"
echo "the guide holds"
