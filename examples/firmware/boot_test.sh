#!/bin/bash
# Usage: boot_test.sh PROGRAM HOST-PROGRAM
# Boots PROGRAM and compares its files with those of HOST-PROGRAM, byte for byte.
set -euo pipefail
boot=$(realpath "$(dirname "$0")/boot.sh") program=$(realpath "$1") host=$(realpath "$2")
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
mkdir "$tmp/board" "$tmp/host"
(cd "$tmp/host" && "$host" >/dev/null)
(cd "$tmp/board" && "$boot" "$program")
ls "$tmp/host"/*.jpg >/dev/null # there is something to compare
diff -r "$tmp/board" "$tmp/host"
