#!/bin/bash
# Usage: exports.sh LIBRARY NM READELF SONAME NEEDED HEADER..
# Holds what a shared library exports against its version script, cmake/NAME.map, and the headers of
# include/vela that declare it, and looks at what it needs from others: NEEDED, in any order.
set -euo pipefail
library=$(realpath "$1") nm=$2 readelf=$3 soname=$4 expected=$5
shift 5
cd "$(dirname "$0")/../../include/vela"
map=${soname%.so.*}
map=../../cmake/${map#lib}.map
node=$(sed -nE '1s/ \{$//p' "$map")

same() { # WHAT, on standard input the names as they should be: against the file "exported"
    diff --label "$1" --label "exported by the library" <(sort) "$tmp/exported"
}
dynamic() { "$readelf" -dW "$library" | sed -nE "s/.*\($1\).*\[(.*)\]/\1/p"; }

wrong=0
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
"$nm" -D --defined-only "$library" | awk '$2 == "A" { sub(/@@.*/, "", $3); $3 = "node " $3 } { print $3 }' | sort >"$tmp/exported"

sed -nE '/global:/,/local:/s/^ *([A-Za-z0-9_]+);$/\1/p' "$map" |
    { sed "s/$/@@$node/" && echo "node $node"; } | same "$map" || wrong=1

# Declarations at file scope, types left out; the name stands before the parameters or the extent.
perl -0777 -ne '
    s{/\*.*?\*/|//[^\n]*}{}gs;           # comments
    s{^\s*\#(?:.*\\\n)*.*}{}gm;          # preprocessor lines
    s{extern "C" \{}{};
    1 while s/\{[^{}]*\}//g;             # bodies
    for (split /;/) {
        s/[(\[].*//s unless /^\s*typedef/;
        print "$1\n" if !/^\s*(typedef|enum|struct)\b/ && /(\w+)\s*$/;
    }' "$@" |
    { sed "s/$/@@$node/" && echo "node $node"; } | same "$*" || wrong=1

# The loader is a part of libc; on ARM it holds the value that guards the stack.
needed=$(dynamic NEEDED | grep -vE '^ld(-linux|64)[.-]' | sort | tr '\n' ' ' || true)
[[ $needed == "$(tr ' ' '\n' <<<"$expected" | sort | tr '\n' ' ')" ]] || { echo "needs $needed, not $expected"; wrong=1; }
[[ $(dynamic SONAME) == "$soname" ]] || { echo "is called $(dynamic SONAME)"; wrong=1; }
exit $wrong
