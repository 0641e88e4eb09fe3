#!/bin/bash
# Usage: scripts/mutate.sh [NAME...]
# Breaks the library in one place at a time, as tests/mutations.txt lists them, and tells which tests notice: all of
# the list or the mutations so called, on all cores (JOBS in the environment: so many). What is known from an
# earlier run and cannot have changed is not run again. build/mutants/results.json has the same as JSON.
# RUN in the environment, such as "nice -n 19", is put before every build and every test.
set -euo pipefail
source "$(dirname "$0")/common.sh"
cd "$root"
require_packages "${build_packages[@]}" libgtest-dev libimage-exiftool-perl libjpeg-dev libjpeg-turbo-progs netpbm perl \
    imagemagick pkg-config python3
exec /usr/bin/python3 scripts/mutate.py "$@"
