#!/bin/bash
# Follows the host's guide to the letter in an empty folder: writes the files that it shows, runs the
# commands marked "guide", and holds what the host prints against what the guide says.
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
Blocks 'text output' > "$HOME/expected.txt"
Blocks 'sh guide' > "$HOME/commands.sh"
test -s "$guide/first_host.cpp"
test -s "$HOME/expected.txt"
test -s "$HOME/commands.sh"
(cd "$repository" && bash -euo pipefail "$HOME/commands.sh") > "$HOME/output.txt"

# Both runs of the host, without the launcher's own text: the first with the time of 0 that the page
# shows, the second with what the helper measured (0 is a time, too, on a fast machine).
tr -d '\r' < "$HOME/output.txt" | sed -n 's/^Plugin process ID: [0-9]*//; /^BRENNA-GAME/,/^\]/p' \
  > "$HOME/printed.txt"
length=$(wc -l < "$HOME/expected.txt")
diff <(head -n "$length" "$HOME/printed.txt") "$HOME/expected.txt"
diff <(tail -n "+$((length + 1))" "$HOME/printed.txt" | sed 's/"roundTripMSEC": [0-9]*/"roundTripMSEC": 0/') \
  "$HOME/expected.txt"
echo "the guide holds"
