#!/bin/bash
# Usage: kernel_symbols.sh NM OBJECTS
# No instruction set's object may offer a function that others share: the linker would let code for any
# processor call the copy that was compiled for one.
set -euo pipefail

nm=$1
shift
shared=''
for object in "$@"; do
    case $object in
        *_sse41.cpp.* | *_avx2.cpp.* | *_avx512.cpp.* | *_avx512vbmi.cpp.* | *_neon.cpp.*)
            shared+=$("$nm" -C "$object" |
                sed -nE "s|^[0-9a-f]* [VWu] ((vela\|std)::.*)|${object##*/}: \1|p")
            ;;
    esac
done
[[ -z $shared ]] || {
    echo "FAIL shared functions in $shared"
    exit 1
}
