#!/bin/bash
# Checks who includes whom: a folder includes itself and what its line lists, nothing above it and
# nothing beside it, and by paths from the top, so that no name reaches another folder's file unseen.
# tests and fuzz may reach anywhere; bench measures kernels on their own and reads pictures as the
# command does.
set -euo pipefail
source "$(dirname "$0")/common.sh"
cd "$root"

declare -A below=(
    [include]="vela"
    [cpu]=""
    [state]="vela cpu"
    [stream]="vela cpu state"
    [tables]="vela cpu state stream"
    [pixel]="vela cpu state stream"
    [baseline]="vela cpu state stream tables pixel"
    [progressive]="vela cpu state stream tables pixel"
    [encoder]="vela cpu state stream tables pixel baseline progressive"
    [easy]="vela cpu"
    [cli]="vela"
    [python]="vela"
    [gstreamer]="vela"
    [examples]="vela"
    [bench]="vela cpu state stream tables pixel baseline progressive encoder easy cli"
)
declare -A ours # base names of the files that only some may include
for file in $(sources); do
    ours[${file##*/}]=$file
done

wrong=0
for file in $(sources); do
    folder=${file%%/*}
    [[ $folder != tests && $folder != fuzz ]] || continue
    allowed="$folder ${below[$folder]?"$folder/ has no line in $0"}"
    while IFS=: read -r line name; do
        open=${name:0:1} path=${name:1:-1}
        if [[ $path != */* ]]; then # the file beside it, or the system's
            [[ $open == '"' && -e ${file%/*}/$path ]] && continue
            [[ $open == '<' && ! -v ours[$path] ]] && continue
            echo "$file:$line: include $path by its path from the top"
        else
            # Names in angle brackets are the system's, save for those that start with a folder of ours.
            top=${path%%/*}
            [[ $open == '<' && " ${!below[*]} vela " != *" $top "* ]] && continue
            [[ " $allowed " == *" $top "* && $path != *..* ]] && continue
            echo "$file:$line: $folder may not include $path"
        fi
        wrong=1
    done < <(grep -noE '^\s*#\s*include\s*([<][^>]+[>]|["][^"]+["])' "$file" |
        sed -E 's/^([0-9]+):[^<"]*/\1:/')
done
exit $wrong
