#!/usr/bin/env bash
# Installs what is missing, builds, and turns the bundled sample text into a book.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/setup.sh
cmake -S . -B build -G Ninja >/dev/null
cmake --build build -j "$(nproc)"
mkdir -p out
build/kav-epub txt samples/the-clockmakers-apprentice.txt out/the-clockmakers-apprentice.epub \
  --title "The Clockmaker's Apprentice" --author "Kav EPUB samples"
echo "Wrote $(pwd)/out/the-clockmakers-apprentice.epub"
