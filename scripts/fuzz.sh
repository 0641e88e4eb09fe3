#!/bin/bash
# Usage: scripts/fuzz.sh [--merge] [MINUTES]
# Runs all fuzzers on all cores, for 10 minutes or so many in all, and prints what they did: runs, how many a second,
# what the inputs in fuzz/corpora reach of the library without any new ones, and findings. Those lie in
# build/fuzz/findings; `build/asan/fuzz/NAME_fuzzer FILE` runs one again. build/fuzz/report.json has the same figures.
#   --merge  takes inputs that reach something new over into fuzz/corpora
set -euo pipefail
source "$(dirname "$0")/common.sh"
cd "$root"

merge='' minutes=10
while (($#)); do
    case $1 in
        --merge) merge=yes ;;
        [1-9] | [1-9]*[0-9]) minutes=$1 ;;
        *) die "usage: scripts/fuzz.sh [--merge] [MINUTES]" ;;
    esac
    shift
done

require_packages "${build_packages[@]}" clang libclang-rt-dev llvm libgtest-dev libjpeg-dev gcovr pkg-config python3
cmake --preset asan >&2
mapfile -t fuzzers < <(cmake --build --preset asan --target help | sed -nE 's/^([a-z]+)_fuzzer: .*/\1/p' | sort -u)
cmake --build --preset asan --target "${fuzzers[@]/%/_fuzzer}" >&2

results=build/fuzz
rm -rf "$results/logs"
mkdir -p "$results"/{logs,findings}
cores=$(nproc)
seconds=$((minutes * 60 * cores / ${#fuzzers[@]}))
export results seconds
run_fuzzer() { # NAME: a finding ends it; its log says so
    local longest
    longest=$(sed -nE "s/^ *vela_add_fuzzer\($1 ([0-9]+).*/\1/p" fuzz/CMakeLists.txt)
    mkdir -p "$results/corpus/$1"
    "build/asan/fuzz/$1_fuzzer" -max_total_time="$seconds" -max_len="$longest" -print_final_stats=1 -close_fd_mask=1 \
        -artifact_prefix="$results/findings/$1-" "$results/corpus/$1" "fuzz/corpora/$1" \
        </dev/null &>"$results/logs/$1.txt" || true
}
export -f run_fuzzer
say "${fuzzers[*]}: $seconds seconds each, $cores at a time"
printf '%s\n' "${fuzzers[@]}" | xargs -P "$cores" -I{} bash -c 'run_fuzzer {}'

if [[ $merge ]]; then
    for name in "${fuzzers[@]}"; do
        say "$name: what reaches something new"
        "build/asan/fuzz/${name}_fuzzer" -merge=1 -use_counters=0 -close_fd_mask=1 "fuzz/corpora/$name" "$results/corpus/$name" \
            </dev/null &>"$results/logs/$name.merge.txt" || die "see $results/logs/$name.merge.txt"
    done
fi
scripts/coverage.sh --corpora >"$results/coverage.txt"
scripts/fuzz_report.py "$minutes" "${fuzzers[@]}"
