#!/bin/bash
# Checks who includes whom: a folder includes itself and what its line lists, nothing above it and
# nothing beside it. tests and fuzz may reach anywhere; bench measures kernels on their own and reads
# pictures as the command does.
set -euo pipefail
source "$(dirname "$0")/common.sh"
cd "$root"

declare -A below=(
    [include]="vela"
    [state]="vela"
    [stream]="vela state"
    [tables]="vela state stream"
    [pixel]="vela state stream"
    [baseline]="vela state stream tables pixel"
    [progressive]="vela state stream tables pixel"
    [encoder]="vela state stream tables pixel baseline progressive"
    [cli]="vela"
    [bench]="vela state stream tables pixel baseline progressive encoder cli"
)
wrong=0
for file in $(sources); do
    folder=${file%%/*}
    [[ $folder != tests && $folder != fuzz ]] || continue
    allowed="$folder ${below[$folder]?"$folder/ has no line in $0"}"
    # Names in angle brackets are the system's, save for those that start with a folder of ours.
    while read -r line name; do
        [[ $name == '<'* && " ${!below[*]} vela " != *" ${name:1} "* ]] && continue
        [[ " $allowed " == *" ${name:1} "* ]] && continue
        echo "$file:$line: $folder may not include ${name:1}/"
        wrong=1
    done < <(grep -noE '^\s*#\s*include\s*[<"][^/>"]+/' "$file" |
        sed -E 's/^([0-9]+):.*([<"].*)\//\1 \2/')
done
exit $wrong
