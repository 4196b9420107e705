#!/usr/bin/env bash
# Runs the end-to-end tests of a plain build, and kav-epub on one book of each
# kind, under valgrind memcheck. Any memory error or definite/indirect leak in
# the library, the test programs or kav-epub fails the run.
#
#   bash scripts/valgrind.sh [BUILD_DIR]     (default: build; build it first)
#
# kav-epub is traced when the tests start it; java (epubcheck) and nm are not.
#
# Left out, because under valgrind each takes minutes on its own: the two
# tests that push megabytes of HTML through the import (a 50 MB page, and a
# chain of thousands of pages; about 6 s each natively, and the chain alone
# took two minutes under memcheck, clean). They run the same code paths as
# the smaller HTML tests, and the sanitizer run of scripts/test.sh, which
# checks leaks as well, runs them in full. The whole run takes about three
# minutes on two busy cores.
set -euo pipefail
cd "$(dirname "$0")/.."

build=${1:-build}
slow='HostileHtml.FiftyMegabytePageKeepsEveryFragmentLinkToItsSection'
slow+=':HostileHtml.LongChainOfPagesNeedsNoDeepStack'
slow+=':Limits.*'  # a gigabyte of text: minutes natively
# These drive kav-epub from shell loops whose helpers (date, cat, find,
# unshare) memcheck would trace and report on, and under memcheck the loops
# miss a conversion's process; the interrupt is checked directly below.
slow+=':Cli.InterruptEndsAnyConversionAtOnceAndLeavesNothing'
slow+=':Cli.FullDiskIsNamedWithTheDirectoryItHolds'

if ! command -v valgrind >/dev/null; then
  echo "valgrind is not installed (apt-get install valgrind)" >&2
  exit 2
fi
for program in "$build/kav-epub" "$build"/tests/e2e_*_test; do
  [[ -x $program ]] || { echo "missing $program: build $build first" >&2; exit 2; }
done

failed=()
work=$(mktemp -d)
# The logs stay when something failed, for a closer look.
trap 'if ((${#failed[@]})); then echo "logs kept in $work"; else rm -rf "$work"; fi' EXIT

memcheck=(valgrind --tool=memcheck --leak-check=full
  --errors-for-leak-kinds=definite,indirect --error-exitcode=99
  --trace-children=yes '--trace-children-skip=*java*,*epubcheck*,*/nm'
  "--log-file=$work/vg.%p.log")

run() {
  local name=$1; shift
  local start=$SECONDS
  if "${memcheck[@]}" "$@" >"$work/$name.out" 2>&1; then
    echo "ok     $name ($((SECONDS - start)) s)"
  else
    echo "FAILED $name ($((SECONDS - start)) s)"
    tail -n 30 "$work/$name.out"
    failed+=("$name")
  fi
}

for test in "$build"/tests/e2e_*_test; do
  run "$(basename "$test")" "$test" "--gtest_filter=-$slow"
done

# kav-epub directly, on a text, an HTML, a MOBI and a damaged MOBI book.
books=$work/books
mkdir -p "$books"
printf '<html><body><h1>One</h1><p>A page <a href="two.html">on</a>.</p></body></html>' \
  >"$books/one.html"
printf '<html><body><p>Two <img src="missing.png" alt="x"></p></body></html>' >"$books/two.html"
run kav-epub-txt "$build/kav-epub" txt samples/the-clockmakers-apprentice.txt "$books/t.epub" \
  --quiet --title T --author A
run kav-epub-html "$build/kav-epub" html "$books/one.html" "$books/h.epub" --quiet
run kav-epub-mobi "$build/kav-epub" mobi tests/data/mobi/lantern_kf8.mobi \
  "$books/m.epub" --quiet
run kav-epub-mobi-damaged "$build/kav-epub" mobi tests/data/mobi/damaged/fragment_lantern_joint.mobi \
  "$books/d.epub" --quiet

# The interrupt path: a conversion's process killed in the middle of an HTML
# import, the tool exiting 128 + the signal with its working directory,
# the temporary book and no output left behind.
page=$books/legacy.html
{ printf '<html><body>'
  for ((i = 0; i < 20000; ++i)); do printf '<font color=red>%d</font><center>c</center>' "$i"; done
  printf '</body></html>'; } >"$page"
for signal in INT TERM; do
  mkdir -p "$work/tmp"
  start=$SECONDS
  TMPDIR=$work/tmp "${memcheck[@]}" "$build/kav-epub" "$page" -o "$books/legacy.epub" \
    >"$work/kav-epub-$signal.out" 2>&1 &
  tool=$!
  until [[ -n $(cat "/proc/$tool/task/$tool/children" 2>/dev/null) ]] || ((SECONDS - start > 120)); do sleep 0.1; done
  # The import is quick now: the conversion's process is frozen at work, so
  # that the signal always finds it running, and only the tool can end it.
  sleep 1
  for child in $(cat "/proc/$tool/task/$tool/children" 2>/dev/null); do kill -STOP "$child" 2>/dev/null || true; done
  kill -"$signal" "$tool"
  status=0
  wait "$tool" || status=$?
  left=$(ls -A "$work/tmp" | grep -c '^kav-epub-' || true)
  if [[ $status == $((128 + $(kill -l "$signal"))) && $left == 0 && ! -e $books/legacy.epub ]] &&
    ! ls "$books" | grep -q part; then
    echo "ok     kav-epub-$signal ($((SECONDS - start)) s)"
  else
    echo "FAILED kav-epub-$signal: status $status, $left working directories left"
    failed+=("kav-epub-$signal")
  fi
done

# A traced child (kav-epub started by a test) reports in its own log; its
# exit status may have been taken as an expected failure by the test.
# (A shell that execs java ends its log without a summary.)
bad=$(grep -l -E 'ERROR SUMMARY: [1-9]' "$work"/vg.*.log || true)
if [[ -n $bad ]]; then
  for log in $bad; do
    echo "== memcheck report $(basename "$log")"
    grep -A40 -m1 -E 'Invalid|uninitialised|definitely lost|indirectly lost|ERROR SUMMARY' \
      "$log" | head -n 60
  done
  failed+=("traced children")
fi

if ((${#failed[@]})); then
  echo "valgrind: ${#failed[@]} failed: ${failed[*]}"
  exit 1
fi
echo "valgrind: memcheck clean ($(ls "$work"/vg.*.log | wc -l) processes checked, $SECONDS s)"
