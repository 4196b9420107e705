#!/usr/bin/env bash
# Converts the bundled samples (the sample text, a Chinese text, the lantern
# HTML page and the MOBI test books) with kav-epub's defaults and prints what
# DAISY Ace (the EPUB accessibility checker) finds in each book, naming the
# findings that the author's own content causes (a picture the source does
# not describe, a colour it sets) with their reason. Exits 1 when Ace finds
# anything else.
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
# A Chinese text of our own, so that a book in another script is checked too.
{
  printf '第一章 灯塔\n从前有一座小岛，岛上有一座灯塔。\n守灯人每天晚上点亮灯火。\n'
  printf '第二章 风暴\n有一天夜里，海上起了大风暴。\n灯火一直亮到天明。\n'
} >"$out/zh-lantern.txt"
for txt in "$root"/samples/*.txt "$out/zh-lantern.txt"; do
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

# One line per violation: its impact, rule and page; a violation that the
# author's own content causes says so and why. Any other is ours to mend,
# and makes the script fail.
status=0
for book in "${books[@]}"; do
  report="$out/$(basename "$book" .epub)-report"
  if ! ace-cli --silent --outdir "$report" "$book" >/dev/null 2>"$report.log"; then
    echo "$(basename "$book"): Ace did not run:"; sed 's/^/  /' "$report.log"; status=1; continue
  fi
  node -e '
    const r = require(process.argv[1]);
    // Why a finding belongs to the source, or null when it is ours.
    function authors(rule, html) {
      const src = (/src="([^"]*)"/.exec(html) || [])[1];
      const alt = /alt="([^"]*)"/.exec(html);
      if (rule === "image-alt" && (!alt || alt[1].trim() === ""))
        return `the source gives the picture ${src} no description (no alt text to carry over; none is invented)`;
      if (rule === "color-contrast")
        return `a colour the source sets: ${html.slice(0, 120)}`;
      return null;
    }
    const lines = [];
    let own = 0;
    for (const a of r.assertions || [])
      for (const t of a.assertions || []) {
        const rule = t["earl:test"]["dct:title"];
        const why = authors(rule, (t["earl:result"] || {}).html || "");
        if (!why) ++own;
        lines.push(`  ${t["earl:test"]["earl:impact"]} ${rule} (${a["earl:testSubject"]["url"]})` +
                   (why ? `: author content: ${why}` : ""));
      }
    console.log(`${process.argv[2]}: ${lines.length} violation(s), ${lines.length - own} of them from the source content`);
    if (lines.length) console.log(lines.join("\n"));
    process.exit(own ? 1 : 0);' "$report/report.json" "$(basename "$book")" || status=1
done
exit $status
