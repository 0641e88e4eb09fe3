#!/bin/bash
# Usage: scripts/coverage.sh
# Runs the tests with every line counted, and prints which lines of the library and the command none of
# them reached; build/coverage/report/index.html shows them in the source.
set -euo pipefail
source "$(dirname "$0")/common.sh"
cd "$root"

require_packages "${build_packages[@]}" gcovr imagemagick libgtest-dev libimage-exiftool-perl libjpeg-dev libjpeg-turbo-progs netpbm patch perl \
    pkg-config
cmake --preset coverage >&2
cmake --build --preset coverage >&2
find build/coverage -name '*.gcda' -delete
ctest --preset coverage --parallel "$(nproc)" >&2
mkdir -p build/coverage/report
gcovr --root . --object-directory build/coverage --exclude '(tests|fuzz|bench|build|examples)/' \
    --exclude-throw-branches --html-details build/coverage/report/index.html --txt - --print-summary
