#!/bin/bash
# make_package_test.sh <repository> <scratch folder>
#
# Makes the packages: as they are, in dist/; again, in a folder of another name, for the same bytes; and
# signed with a key made for this test.
set -euo pipefail
repository=$1
scratch=$2
rm -rf "$scratch"
mkdir -p "$scratch"

Fail() {
  echo "FAILED: $*" >&2
  exit 1
}

# MakePackage <option>...: shows what is printed only when it fails.
MakePackage() {
  "$repository/scripts/package" "$@" >"$scratch/log.txt" 2>&1 || {
    cat "$scratch/log.txt" >&2
    Fail "scripts/package $*"
  }
}

MakePackage --out "$scratch/dist"
cat >"$scratch/expected.txt" <<'END'
SHA256SUMS
launcher-162-extension.zip
launcher-162-sdk.zip
launcher-162-setup.exe
launcher-162-tools.zip
launcher-162.spdx.json
END
diff "$scratch/expected.txt" <(cd "$scratch/dist" && LC_ALL=C ls)
(cd "$scratch/dist" && sha256sum --quiet --check SHA256SUMS)
[[ "$(wc -l <"$scratch/dist/SHA256SUMS")" == 5 ]] || Fail "SHA256SUMS does not name every file"

# The tools that pack know neither the folder's name nor the clock.
mkdir "$scratch/another folder"
MakePackage --out "$scratch/another folder/of another name"
diff -r "$scratch/dist" "$scratch/another folder/of another name"

openssl req -x509 -newkey rsa:2048 -nodes -days 2 -subj '/CN=test of launcher' \
  -addext extendedKeyUsage=codeSigning -keyout "$scratch/key.pem" -out "$scratch/certificate.pem" 2>/dev/null
echo 'a pass word' >"$scratch/password.txt"
openssl pkcs12 -export -inkey "$scratch/key.pem" -in "$scratch/certificate.pem" -out "$scratch/key.p12" \
  -passout "file:$scratch/password.txt"
MakePackage --out "$scratch/signed" --sign "$scratch/key.p12" --password-file "$scratch/password.txt"
mkdir "$scratch/signed programs"
python3 -m zipfile -e "$scratch/signed/launcher-162-sdk.zip" "$scratch/signed programs"
python3 -m zipfile -e "$scratch/signed/launcher-162-tools.zip" "$scratch/signed programs"
cp "$scratch/signed/launcher-162-setup.exe" "$scratch/signed programs"
for program in bin/launcher.dll launcher.dll launcher-console.exe browser_host.exe kit/helperx64.exe \
  launcher-162-setup.exe; do
  osslsigncode verify -CAfile "$scratch/certificate.pem" -in "$scratch/signed programs/$program" \
    >"$scratch/log.txt" 2>&1 || {
    cat "$scratch/log.txt" >&2
    Fail "the signature of $program"
  }
done
! osslsigncode verify -CAfile "$scratch/certificate.pem" -in "$scratch/dist/launcher-162-setup.exe" \
  >/dev/null 2>&1 || Fail "an installer that was not signed has a signature"
