#!/usr/bin/env bash
# Installs what is missing, builds, and runs every check:
#   1. the test suite on a plain build (including the heavy "limits" tests),
#      and that build's batch on a one-node Slurm cluster (scripts/slurm_demo.sh),
#   2. valgrind memcheck over the end-to-end tests and kav-epub,
#   3. the test suite again under AddressSanitizer and UndefinedBehaviorSanitizer,
#   4. each libFuzzer target for a short smoke run.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/setup.sh
jobs=$(nproc)

# run_suite BUILD_DIR "CMAKE OPTIONS" [CTEST OPTIONS...]
run_suite() {
  local dir=$1 options=$2
  shift 2
  # shellcheck disable=SC2086 # the options are words
  cmake -S . -B "$dir" -G Ninja $options >/dev/null
  cmake --build "$dir" -j "$jobs"
  ctest --test-dir "$dir" -j "$jobs" --output-on-failure --timeout 1800 "$@"
}

echo "== plain build and tests"
run_suite build ""
echo "== Slurm demonstration"
KAV_BUILD_DIR=build bash scripts/slurm_demo.sh
echo "== valgrind memcheck of the end-to-end tests"
bash scripts/valgrind.sh build
echo "== sanitizer build and tests"
# halt_on_error makes any report fail the test that caused it. The limits
# tests convert a gigabyte of text: they run in the plain build only.
export ASAN_OPTIONS=detect_leaks=1:halt_on_error=1:abort_on_error=0
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
run_suite build-asan "-DKAV_SANITIZE=ON -DCMAKE_BUILD_TYPE=Debug" -LE limits
unset ASAN_OPTIONS UBSAN_OPTIONS
echo "== fuzz smoke runs"
bash fuzz/run.sh 30
