# shellcheck shell=bash
# Sourced by the install tests: fail MESSAGE, and book_made EPUB WHO, which
# fails unless EPUB starts as a book does.
fail() { echo "FAIL: $*" >&2; exit 1; }
book_made() {
  # A book starts with its stored mimetype entry, whose name is at byte 30.
  [ "$(head -c 38 "$1" 2>/dev/null | tail -c 8)" = "mimetype" ] || fail "$2 made no book"
}
