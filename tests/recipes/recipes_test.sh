#!/bin/bash
# Usage: recipes_test.sh SOURCE C++-COMPILER
# Follows docs/RECIPES.md in a copy of the tree: an input format (YUYV) and other scan scripts. What is
# encoded then, a decoder reads; and what the recipes say does not build, does not.
# Faults: a format or a script that needs more files than its recipe names, or that comes out wrong.
set -euo pipefail
source=$(realpath "$1") compiler=$2
recipes=$source/tests/recipes
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT

at_most() { # COUNT PATCH
    local files
    files=$(grep -c '^diff ' "$recipes/$2")
    ((files <= $1)) || { echo "$2 touches $files files, more than $1"; exit 1; }
}
at_most 6 format.patch
at_most 2 scans.patch

tree=$tmp/tree
mkdir "$tree"
tar -C "$source" -cf - CMakeLists.txt cmake include cpu state stream tables pixel baseline progressive encoder |
    tar -C "$tree" -xf -
cd "$tree"
cat "$recipes/format.patch" "$recipes/scans.patch" | patch -p1 -s --no-backup-if-mismatch

# As another project's part: the library alone.
cat >"$tmp/CMakeLists.txt" <<'END'
cmake_minimum_required(VERSION 3.25)
project(recipes LANGUAGES C CXX)
add_subdirectory(tree)
END
cmake -S "$tmp" -B build -G Ninja -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_BUILD_TYPE=Debug \
    -DBUILD_SHARED_LIBS=OFF -DVELA_BUILD_EASY=OFF >"$tmp/log"
cmake --build build -j2 >"$tmp/log" || { cat "$tmp/log"; exit 1; }
"$compiler" -std=c++20 -Iinclude "$recipes/encode_pairs.cpp" build/tree/libvelajpeg.a -o "$tmp/encode_pairs"
mkdir "$tmp/pairs"
"$tmp/encode_pairs" "$tmp/pairs"
count=0
for a in "$tmp"/pairs/*-a.jpg; do
    for file in "$a" "${a%-a.jpg}-b.jpg"; do
        djpeg -strict -pnm "$file" >"${file%.jpg}.pnm"
    done
    cmp "${a%.jpg}.pnm" "${a%-a.jpg}-b.pnm"
    ((++count))
done
((count == 32))

refuses() { # FILE EDIT: the file does not compile with the edit
    local compile=("$compiler" -std=c++20 -w -I. -Iinclude -fsyntax-only -x c++ "$1")
    "${compile[@]}"
    sed -i -E "$2" "$1"
    ! cmp -s "$source/$1" "$1" || { echo "$2 finds nothing in $1"; exit 1; }
    ! "${compile[@]}" 2>/dev/null || { echo "$1 compiles in spite of $2"; exit 1; }
    cp "$source/$1" "$1"
}
cat "$recipes/format.patch" "$recipes/scans.patch" | patch -R -p1 -s --no-backup-if-mismatch
refuses state/scan_plan.h '/ScanKind::acRefine, 0, .* 64, /d' # a bit that is never sent
refuses state/scan_plan.h 's/(acFirst,  0, +1, 63, 0,) 1,   64/\1 2,   64/' # refined from another bit
refuses state/color_format.h '0,/ *\.copyExpand = [a-zA-Z0-9_]+/s///' # no copy of partial MCUs
refuses state/color_format.h '0,/\.code = JPEG_CF_BGR555/s//.code = JPEG_CF_BGR888/' # a code twice
refuses encoder/routine_choice.cpp '/^    \.nv21 = /d' # no plain routine
