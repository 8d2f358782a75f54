#!/bin/bash
# sign.sh FILE KEY.p12 [osslsigncode-option...]: signs a program in place.
set -euo pipefail
file=$1
key=$2
shift 2
osslsigncode sign -pkcs12 "$key" "$@" -h sha256 -n launcher -in "$file" -out "$file.signed" >/dev/null
mv "$file.signed" "$file"
