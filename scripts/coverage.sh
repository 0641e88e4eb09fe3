#!/bin/bash
# Usage: scripts/coverage.sh [--corpora]
# Runs the tests with every line counted, and prints which lines of the library and the command none of
# them reached; build/coverage/report/index.html shows them in the source.
#   --corpora  the same of the inputs in fuzz/corpora alone
set -euo pipefail
source "$(dirname "$0")/common.sh"
cd "$root"

tests=(--exclude-regex '^(contract|install|package|recipes)') targets=() report=tests # which run nothing of it
case $* in
    '') ;;
    --corpora) tests=(--tests-regex '^fuzz\.') targets=(--target fuzz_replays) report=corpora ;;
    *) die "usage: scripts/coverage.sh [--corpora]" ;;
esac

require_packages "${build_packages[@]}" gcovr imagemagick libgtest-dev libimage-exiftool-perl libjpeg-dev libjpeg-turbo-progs netpbm patch perl \
    pkg-config
cmake --preset coverage >&2
cmake --build --preset coverage "${targets[@]}" >&2
find build/coverage -name '*.gcda' -delete
ctest --preset coverage --parallel "$(nproc)" "${tests[@]}" >&2
mkdir -p build/coverage/report
gcovr --root . --object-directory build/coverage --exclude '(tests|fuzz|bench|build|examples)/' \
    --exclude-throw-branches --html-details build/coverage/report/index.html --json-summary "build/coverage/$report.json" \
    --txt - --print-summary
sed -i "1s/{/{\"date\": \"$(date -I)\", \"commit\": \"$(git rev-parse HEAD 2>/dev/null || echo unknown)\",/" \
    "build/coverage/$report.json"
