#!/usr/bin/env bash
# Runs the libFuzzer targets for a given time each.
#   bash fuzz/run.sh SECONDS [TARGET...]     (default: every target)
# Builds build-fuzz with clang-14 when needed, works on a corpus under
# build-fuzz/corpus/<target> seeded from fuzz/seeds/<target> (the MOBI reader
# also from the MOBI fixtures and truncations of them), prints per target the
# time, executions, exec/s and coverage, and exits nonzero on any finding.
# Findings are left in build-fuzz/findings/<target>/.
set -u
cd "$(dirname "$0")/.."
root=$PWD
seconds=${1:?usage: fuzz/run.sh SECONDS [TARGET...]}
shift
all=(text_line txt_conversion html_process html_import mobi_reader mobi_html page_split break_end_tags
  filepos_links)
targets=("$@")
[ ${#targets[@]} -eq 0 ] && targets=("${all[@]}")
build=$root/build-fuzz
jobs=${KAV_FUZZ_JOBS:-2}

mkdir -p "$build"
if [ ! -f "$build/build.ninja" ]; then
  CC=clang-14 CXX=clang++-14 cmake -S "$root" -B "$build" -G Ninja -DKAV_FUZZ=ON \
    -DKAV_BUILD_TESTS=OFF -DCMAKE_BUILD_TYPE=RelWithDebInfo >"$build/configure.log" 2>&1 ||
    { cat "$build/configure.log"; exit 2; }
fi
cmake --build "$build" -j"$jobs" --target "${targets[@]/%/_fuzzer}" >"$build/build.log" 2>&1 ||
  { tail -50 "$build/build.log"; exit 2; }

seed_mobi() {
  local corpus=$1 f base
  for f in "$root"/tests/data/mobi/*.mobi "$root"/tests/data/mobi/{damaged,invalid}/*.mobi; do
    [ -f "$f" ] || continue
    base=$(basename "$f" .mobi)
    cp "$f" "$corpus/fixture-$base"
    # Truncations: the header alone, the record table, half the book.
    head -c 78 "$f" >"$corpus/cut78-$base"
    head -c 1024 "$f" >"$corpus/cut1k-$base"
    head -c $(( $(stat -c %s "$f") / 2 )) "$f" >"$corpus/half-$base"
  done
}

export ASAN_OPTIONS=detect_leaks=1:allocator_may_return_null=1
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
status=0
printf '%-16s %8s %12s %10s %8s %8s  %s\n' target seconds executions exec/s cov ft result
for t in "${targets[@]}"; do
  corpus=$build/corpus/$t findings=$build/findings/$t log=$build/fuzz-$t.log
  mkdir -p "$corpus" "$findings"
  cp -n "$root"/fuzz/seeds/"$t"/* "$corpus"/ 2>/dev/null
  [ "$t" = mobi_reader ] && seed_mobi "$corpus"
  dict=() max_len=16384
  [ "$t" = mobi_reader ] && max_len=65536
  case $t in html_*|mobi_html|break_end_tags|filepos_links) dict=(-dict="$root/fuzz/html.dict") ;; esac
  start=$(date +%s)
  "$build/fuzz/${t}_fuzzer" "$corpus" "${dict[@]}" -max_total_time="$seconds" -timeout=25 \
    -rss_limit_mb=2048 -max_len="$max_len" -print_final_stats=1 -artifact_prefix="$findings/" >"$log" 2>&1 &
  pid=$!
  wait $pid
  rc=$?
  # A target that died did not remove its scratch directory.
  rm -rf "/dev/shm/kav-fuzz-$pid" "${TMPDIR:-/tmp}/kav-fuzz-$pid"
  elapsed=$(( $(date +%s) - start ))
  execs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -1)
  last=$(grep -E '^#[0-9]+' "$log" | tail -1)
  cov=$(sed -n 's/.* cov: \([0-9]*\).*/\1/p' <<<"$last")
  ft=$(sed -n 's/.* ft: \([0-9]*\).*/\1/p' <<<"$last")
  result=ok
  if [ $rc -ne 0 ]; then
    result="FINDING (exit $rc, see $log and $findings/)"
    status=1
  fi
  printf '%-16s %8s %12s %10s %8s %8s  %s\n' "$t" "$elapsed" "${execs:-?}" \
    "$(( ${execs:-0} / (elapsed > 0 ? elapsed : 1) ))" "${cov:-?}" "${ft:-?}" "$result"
done
exit $status
