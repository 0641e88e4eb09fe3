#!/bin/bash
# Checks that every source file is laid out as .clang-format says. With --fix: lays it out so.
set -euo pipefail
source "$(dirname "$0")/common.sh"
how=(--dry-run -Werror)
[[ ${1:-} != --fix ]] || how=(-i)
cd "$root"
sources | xargs -d '\n' clang-format "${how[@]}"
