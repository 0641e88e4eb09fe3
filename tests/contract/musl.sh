#!/bin/bash
# Usage: musl.sh MUSL-GCC LIBRARY EXAMPLE
# A program against musl instead of glibc, with the static library: the same bytes as EXAMPLE gives, which is
# examples/gradient.c as it is built here.
set -euo pipefail
root=$(realpath "$(dirname "$0")/../..")
compiler=$1 library=$(realpath "$2") example=$(realpath "$3")
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
cd "$tmp"
"$compiler" -static -I"$root/include" "$root/examples/gradient.c" "$library" -o with_musl
"$example" >/dev/null
mv gradient.jpg expected.jpg
./with_musl >/dev/null
cmp gradient.jpg expected.jpg
