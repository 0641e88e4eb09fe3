#!/bin/bash
# Usage: scripts/test.sh [--long | PRESET...]
# Builds and runs every test, installing first what that needs and this machine lacks: optimised
# with GCC, then with Clang under AddressSanitizer and UndefinedBehaviorSanitizer, where the fuzzers
# run for a few seconds as well; without vector kernels; and for ARMv7, AArch64, s390x (big-endian) and
# 32-bit x86, under emulation where the machine cannot run them itself; last, examples/firmware is booted
# on an emulated board. Warnings are errors in all builds.
#   --long  also without optimisation; under ThreadSanitizer and MemorySanitizer; with -O3 and optimised when linking;
#           the fuzzers' inputs under Valgrind; every allocation of the command fails, not a sample of them; two builds
#           that have to be the same bytes; and 100 million runs of the fuzzers, an hour or more
#   PRESET  these builds alone
# build/test_report.json tells what was passed where.
set -euo pipefail
source "$(dirname "$0")/common.sh"
cd "$root"

presets=(ci asan plain armv7 aarch64 s390x i686 firmware firmware-small) long_checks=() long_packages=()
case $* in
    '') ;;
    --long)
        presets+=(debug debug-clang tsan msan o3-lto)
        long_checks=(inputs_under_valgrind scripts/reproducible.sh 'scripts/fuzz.sh 60')
        long_packages=(valgrind)
        export VELA_TEST_LONG=1 # tests that take samples take everything
        ;;
    -*) die "usage: scripts/test.sh [--long | PRESET...]" ;;
    *) presets=("$@") ;;
esac

require_packages "${build_packages[@]}" clang clang-format libclang-rt-dev llvm \
    abigail-tools imagemagick libgtest-dev libimage-exiftool-perl libjpeg-dev libjpeg-turbo-progs musl-tools netpbm patch perl pkg-config \
    python3-distributed python3-tqdm \
    mypy pybind11-dev python3-build python3-dev python3-numpy python3-pil python3-pytest python3-setuptools \
    python3-venv python3-wheel \
    chromium chromium-driver python3-selenium \
    build-essential debhelper debootstrap dh-python libpython3-dev lintian \
    libgstreamer-plugins-base1.0-dev gstreamer1.0-tools gstreamer1.0-plugins-base gstreamer1.0-plugins-good \
    g++-arm-linux-gnueabihf g++-aarch64-linux-gnu g++-s390x-linux-gnu g++-i686-linux-gnu \
    qemu-user googletest \
    gcc-arm-none-eabi libnewlib-arm-none-eabi libstdc++-arm-none-eabi-newlib qemu-system-arm \
    "${long_packages[@]}"

inputs_under_valgrind() {
    local name
    for name in build/ci/fuzz/*_replay; do
        name=$(basename "$name" _replay)
        VELA_GUARD_PAGES=1 valgrind -q --error-exitcode=1 "build/ci/fuzz/${name}_replay" "fuzz/corpora/$name" || return
    done
}

passed=0 failed=0 checks=()
for preset in "${presets[@]}"; do
    say "$preset: build"
    cmake --preset "$preset"
    cmake --build --preset "$preset"
    say "$preset: tests"
    results=build/$preset/results.txt
    ctest --preset "$preset" --parallel "$(nproc)" --no-tests=error | tee "$results" || true
    # The line "98% tests passed, 2 tests failed out of 100"; without it nothing was counted.
    read -r bad all < <(sed -nE 's/.* ([0-9]+) tests? failed out of ([0-9]+)$/\1 \2/p' "$results") ||
        die "$preset: ctest came to no result"
    ((failed += bad, passed += all - bad)) || true
done
for check in "${long_checks[@]}"; do
    say "$check"
    started=$SECONDS
    if $check; then
        ((++passed)) && checks+=("$check:1:$((SECONDS - started))")
    else
        ((++failed)) && checks+=("$check:0:$((SECONDS - started))")
    fi
done
scripts/test_report.py "${presets[@]}" "${checks[@]}"
echo "$passed passed, $failed failed"
((failed == 0))
