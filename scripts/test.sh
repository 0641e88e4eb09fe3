#!/bin/bash
# Usage: scripts/test.sh [--long]
# Builds and runs every test, installing first what that needs and this machine lacks: optimised
# with GCC, then with Clang under AddressSanitizer and UndefinedBehaviorSanitizer, where the fuzzers
# run for a few seconds as well; without vector kernels; and for ARMv7, AArch64, s390x (big-endian) and
# 32-bit x86, under emulation where the machine cannot run them itself; last, examples/firmware is booted
# on an emulated board. Warnings are errors in all builds.
#   --long  every allocation of the command fails, not a sample of them; also without optimisation, two builds that have to be the same bytes, and an hour of the fuzzers
set -euo pipefail
source "$(dirname "$0")/common.sh"
cd "$root"

presets=(ci asan plain armv7 aarch64 s390x i686 firmware firmware-small) long_checks=()
case $* in
    '') ;;
    --long)
        presets+=(debug)
        long_checks=(scripts/reproducible.sh 'scripts/fuzz.sh 60')
        export VELA_TEST_LONG=1 # tests that take samples take everything
        ;;
    *) die "usage: scripts/test.sh [--long]" ;;
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
    gcc-arm-none-eabi libnewlib-arm-none-eabi libstdc++-arm-none-eabi-newlib qemu-system-arm

passed=0 failed=0
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
    if $check; then
        ((++passed))
    else
        ((++failed))
    fi
done
echo "$passed passed, $failed failed"
((failed == 0))
