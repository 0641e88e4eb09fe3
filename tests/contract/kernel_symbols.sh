#!/bin/bash
# Usage: kernel_symbols.sh NM ISA OBJECTS
# The objects of one instruction set offer nothing outside its own namespace, vela::ISA: of a function
# that others have as well (an inline one of the standard library, or of ours) the linker takes any copy,
# and would let code for every processor call what was compiled for one.
set -euo pipefail

nm=$1 isa=$2
shift 2
(($#)) || { echo "FAIL no objects" && exit 1; }
# By mangled names, which begin with the namespaces: demangled, those of templates begin with a type.
own="^_ZZ?NK?4vela${#isa}${isa}[0-9]"
wrong=0
for object in "$@"; do
    while read -r name; do
        [[ $name =~ $own ]] && continue
        echo "FAIL ${object##*/} has $(c++filt "$name" 2>/dev/null || echo "$name")"
        wrong=1
    done < <("$nm" --defined-only --extern-only "$object" | sed -nE 's/^[0-9a-f]+ . //p')
done
exit $wrong
