#!/bin/bash
# build_host.sh <rust | go | node> <repository> <build folder> <folder for the host>
#
# Builds an example host of another language as its README says, with the DLL beside it.
set -euo pipefail
language=$1
repository=$2
build=$3
out=$4

mkdir -p "$out"
cp "$build/launcher.dll" "$out/"
cd -- "$repository/examples/$language"
case "$language" in
  rust)
    # Debian's compiler by its path: others have no library for Windows.
    /usr/bin/rustc --edition 2021 -O -D warnings -C strip=symbols --target x86_64-pc-windows-gnu \
      -C linker=x86_64-w64-mingw32-gcc-posix --out-dir "$out" --crate-name rust_host src/main.rs
    ;;
  go)
    export GOOS=windows GOARCH=amd64 CGO_ENABLED=0 GOPROXY=off GOFLAGS= GO111MODULE=on
    export GOCACHE="$build/go cache" GOPATH="$out/path"
    go build -trimpath -ldflags='-s -w' -o "$out/go_host.exe" .
    ;;
  node)
    cp host.mjs launcher.mjs package.json "$out/"
    # Windows' own Node.js, a version that Wine 8 runs, and what the host depends on. No script of any
    # package runs.
    packages="$repository/tests/examples/node"
    if ! cmp -s "$packages/package-lock.json" "$out/node_modules/installed"; then
      mkdir -p "$out/npm"
      cp "$packages/package.json" "$packages/package-lock.json" "$out/npm/"
      (cd "$out/npm" && npm ci --silent --ignore-scripts --no-audit --no-fund --force)
      rm -rf "$out/node_modules"
      mv "$out/npm/node_modules" "$out/node_modules"
      cp "$packages/package-lock.json" "$out/node_modules/installed"
    fi
    ;;
esac
