#!/bin/bash
# Follows the host's guide to the letter in an empty folder: writes the files that it shows, runs the
# commands marked "run", and holds what the host prints against what the guide says.
#
#   guide_test.sh REPOSITORY EMPTY_FOLDER
set -euo pipefail
REPOSITORY=$1
GUIDE=$2
export REPOSITORY GUIDE
page=$REPOSITORY/docs/hosts-guide.md

rm -rf "$GUIDE"
mkdir -p "$GUIDE"

# The blocks of the page whose first line is "```$1", one after the other.
Blocks() {
  awk -v opening="\`\`\`$1" '$0 == opening { inside = 1; next }
                             $0 == "```" { inside = 0 }
                             inside' "$page"
}

Blocks 'cpp file=first_host.cpp' > "$GUIDE/first_host.cpp"
Blocks 'text output' > "$GUIDE/expected.txt"
test -s "$GUIDE/first_host.cpp"
test -s "$GUIDE/expected.txt"

# Commands before the first host are given in the repository, the others beside the host.
commands=$(Blocks 'sh run')
test -n "$commands"
cat > "$GUIDE/commands.sh" <<TXT
set -euo pipefail
cd "\$REPOSITORY"
$(awk '/^x86_64/ { print "cd \"$GUIDE\"" } { print }' <<< "$commands")
TXT
bash "$GUIDE/commands.sh" > "$GUIDE/output.txt"

# Both runs of the host, without the launcher's own text: the first with the time of 0 that the page
# shows, the second with what the helper measured (0 is a time, too, on a fast machine).
tr -d '\r' < "$GUIDE/output.txt" | sed -n 's/^Plugin process ID: [0-9]*//; /^BRENNA-GAME/,/^\]/p' \
  > "$GUIDE/printed.txt"
length=$(wc -l < "$GUIDE/expected.txt")
diff <(head -n "$length" "$GUIDE/printed.txt") "$GUIDE/expected.txt"
diff <(tail -n "+$((length + 1))" "$GUIDE/printed.txt" | sed 's/"roundTripMSEC": [0-9]*/"roundTripMSEC": 0/') \
  "$GUIDE/expected.txt"
echo "the guide holds"
