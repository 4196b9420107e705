#!/usr/bin/env bash
# Installs what is missing, builds, and runs the whole test suite twice:
# once plain, once under AddressSanitizer and UndefinedBehaviorSanitizer.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/setup.sh
jobs=$(nproc)

run_suite() {
  local dir=$1; shift
  cmake -S . -B "$dir" -G Ninja "$@" >/dev/null
  cmake --build "$dir" -j "$jobs"
  ctest --test-dir "$dir" -j "$jobs" --output-on-failure --timeout 600
}

echo "== plain build and tests"
run_suite build
echo "== sanitizer build and tests"
# halt_on_error makes any report fail the test that caused it.
export ASAN_OPTIONS=detect_leaks=1:halt_on_error=1:abort_on_error=0
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
run_suite build-asan -DKAV_SANITIZE=ON -DCMAKE_BUILD_TYPE=Debug
