#!/bin/bash
# Usage: kernels_page.sh FOLDERS
# Holds docs/KERNELS.md against the tree: what it links is there, and all files of FOLDERS, the stages that
# have kernels, and every other header that has a part in each instruction set are linked.
set -euo pipefail
cd "$(dirname "$0")/../.."
(($#)) || { echo "FAIL no folders" && exit 1; }

wrong=0
declare -A linked
while read -r link; do
    linked[$link]=yes
    [[ -f docs/$link ]] || { echo "FAIL docs/KERNELS.md links $link, which is not there" && wrong=1; }
done < <(grep -oE '\]\([^)#]+\)' docs/KERNELS.md | sed -E 's/^..//; s/.$//')

while read -r file; do
    [[ -v linked[../$file] ]] || { echo "FAIL docs/KERNELS.md does not link $file" && wrong=1; }
done < <(
    find "$@" -type f
    grep -lE '^namespace vela::VELA_ISA' cpu/*.h stream/*.h
)
exit $wrong
