#!/bin/bash
# Usage: exports.sh LIBRARY [NM [READELF]]
# Holds what the shared library exports against cmake/velajpeg.map and the public headers, and looks
# at what it needs from others.
set -euo pipefail
library=$(realpath "$1") nm=${2:-nm} readelf=${3:-readelf}
cd "$(dirname "$0")/../.."
node=VELAJPEG_1

same() { # WHAT, on standard input the names as they should be: against the file "exported"
    diff --label "$1" --label "exported by the library" <(sort) "$tmp/exported"
}
dynamic() { "$readelf" -dW "$library" | sed -nE "s/.*\($1\).*\[(.*)\]/\1/p"; }

wrong=0
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
"$nm" -D --defined-only "$library" | awk '{print $2 == "A" ? "node " $3 : $3}' | sort >"$tmp/exported"

sed -nE '/global:/,/local:/s/^ *([A-Za-z0-9_]+);$/\1/p' cmake/velajpeg.map |
    { sed "s/$/@@$node/" && echo "node $node"; } | same "cmake/velajpeg.map" || wrong=1

# Declarations at file scope, types left out; the name stands before the parameters or the extent.
perl -0777 -ne '
    s{/\*.*?\*/|//[^\n]*}{}gs;           # comments
    s{^\s*\#(?:.*\\\n)*.*}{}gm;          # preprocessor lines
    s{extern "C" \{}{};
    1 while s/\{[^{}]*\}//g;             # bodies
    for (split /;/) {
        s/[(\[].*//s unless /^\s*typedef/;
        print "$1\n" if !/^\s*(typedef|enum|struct)\b/ && /(\w+)\s*$/;
    }' include/vela/*.h |
    { sed "s/$/@@$node/" && echo "node $node"; } | same "include/vela/*.h" || wrong=1

# The loader is a part of libc; on ARM it holds the value that guards the stack.
needed=$(dynamic NEEDED | grep -v '^ld-linux-' || true)
[[ $needed == libc.so.6 ]] || { echo "needs $needed, not libc alone"; wrong=1; }
[[ $(dynamic SONAME) == libvelajpeg.so.1 ]] || { echo "is called $(dynamic SONAME)"; wrong=1; }
exit $wrong
