#!/usr/bin/env bash
# Converts the bundled samples with kav-epub's defaults and prints what
# DAISY Ace (the EPUB accessibility checker) finds in each book.
# Usage: bash scripts/ace_check.sh [BUILD_DIR]   (default: build)
# Installs what is missing: Debian's chromium, and @daisy/ace-cli from npm
# without the browser and Electron downloads it would otherwise attempt.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-build}
tool="$root/$build/kav-epub"
[ -x "$tool" ] || { echo "ace_check: no $tool; build first" >&2; exit 2; }

if ! command -v chromium >/dev/null; then
  sudo=""; [ "$(id -u)" -eq 0 ] || sudo=sudo
  $sudo apt-get install -y --no-install-recommends chromium
fi
export PUPPETEER_EXECUTABLE_PATH=/usr/bin/chromium
# The package's command is "ace-cli" (older releases also named it "ace").
prefix="$root/$build/ace"
PATH="$prefix/node_modules/.bin:$PATH"
if ! command -v ace-cli >/dev/null; then
  ELECTRON_SKIP_BINARY_DOWNLOAD=1 PUPPETEER_SKIP_DOWNLOAD=1 \
    npm install --prefix "$prefix" --no-audit --no-fund @daisy/ace-cli >/dev/null
fi

out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT
books=()
for txt in "$root"/samples/*.txt; do
  book="$out/$(basename "${txt%.txt}").epub"
  "$tool" txt "$txt" "$book" -q && books+=("$book")
done
for html in "$root"/tests/data/mobi/src/*.html; do
  book="$out/$(basename "${html%.html}")-html.epub"
  "$tool" html "$html" "$book" -q && books+=("$book")
done
for mobi in "$root"/tests/data/mobi/*.mobi; do
  book="$out/$(basename "${mobi%.mobi}").epub"
  "$tool" mobi "$mobi" "$book" -q && books+=("$book")
done

status=0
for book in "${books[@]}"; do
  report="$out/$(basename "$book" .epub)-report"
  if ! ace-cli --silent --outdir "$report" "$book" >/dev/null 2>"$report.log"; then
    echo "$(basename "$book"): Ace did not run:"; sed 's/^/  /' "$report.log"; status=1; continue
  fi
  # One line per violation: its impact, rule and the page it is on.
  node -e '
    const r = require(process.argv[1]);
    const found = [];
    for (const a of r.assertions || [])
      for (const t of a.assertions || [])
        found.push(`  ${t["earl:test"]["earl:impact"]} ${t["earl:test"]["dct:title"]} (${a["earl:testSubject"]["url"]})`);
    console.log(`${process.argv[2]}: ${found.length} violation(s)`);
    if (found.length) console.log(found.join("\n"));' "$report/report.json" "$(basename "$book")"
done
exit $status
