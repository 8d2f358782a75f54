# Sourced first by every script: with --help it prints the comment that it begins with, and does nothing else.
for argument in "$@"; do
  if [[ "$argument" == --help || "$argument" == -h ]]; then
    sed -n '2,/^[^#]/{s/^# \{0,1\}//p}' -- "$0"
    exit 0
  fi
done
unset argument
