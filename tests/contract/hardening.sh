#!/bin/bash
# Usage: hardening.sh READELF FILE
# Looks at how a shared library or a program was linked: read-only after loading, all addresses found
# then, no executable stack, relocated wherever it lies, stack guarded; a program of an optimised build
# calls the C library's checked functions. Of an archive: each object says that its branches land where
# they may.
set -euo pipefail
readelf=$1 file=$2
export LC_ALL=C

wrong=0
check() { # WHAT PATTERN, on standard input what READELF says
    grep -qE "$2" || { echo "FAIL $file: $1"; wrong=1; }
}
check_not() {
    ! grep -E "$2" || { echo "FAIL $file: $1"; wrong=1; }
}

if [[ $file == *.a ]]; then
    objects=$("$readelf" -h "$file" | grep -c '^File:' || true)
    marked=$("$readelf" -nW "$file" | grep -cE 'x86 feature: IBT, SHSTK|AArch64 feature: BTI' || true)
    ((objects > 20 && objects == marked)) ||
        { echo "FAIL $file: $marked of $objects objects say that branches are protected"; wrong=1; }
    exit $wrong
fi
check "no full RELRO: segment" '^ *GNU_RELRO ' < <("$readelf" -lW "$file")
check "no full RELRO: binding" 'BIND_NOW|FLAGS_1.*NOW' < <("$readelf" -dW "$file")
check "executable stack" '^ *GNU_STACK .* RW +0x' < <("$readelf" -lW "$file")
check "not relocatable" '^ *Type: +DYN ' < <("$readelf" -hW "$file")
check_not "relocations in its code" TEXTREL < <("$readelf" -dW "$file")
check "stack not guarded" 'UND __stack_chk_fail' < <("$readelf" -W --dyn-syms "$file")
exit $wrong
