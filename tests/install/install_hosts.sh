#!/usr/bin/env bash
# Usage: install_hosts.sh BUILD_DIR SOURCE_DIR CC CMAKE PKG_CONFIG
# Installs BUILD_DIR into a scratch prefix, builds tests/install/host.c
# against it through pkg-config and through find_package, runs both hosts
# and the installed kav-epub with no library path set, and checks the books.
set -euo pipefail
build=$1 source=$2 cc=$3 cmake=$4 pkgconfig=$5
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
prefix=$scratch/prefix
fail() { echo "FAIL: $*" >&2; exit 1; }

"$cmake" --install "$build" --prefix "$prefix" >/dev/null
libdir=$(dirname "$(find "$prefix" -name libKav_Epub.so -print -quit)")
[ -n "$libdir" ] || fail "no libKav_Epub.so installed"
for name in Kav_Epub Kav_Tool Kav_Ebase Kav_Mobi; do
  soname=$(readelf -d "$libdir/lib$name.so" | sed -n 's/.*(SONAME).*\[\(.*\)\]/\1/p')
  [ "$soname" = "lib$name.so.1" ] || fail "lib$name.so has soname '$soname'"
  [ -f "$libdir/lib$name.so.1.0.0" ] || fail "lib$name.so.1.0.0 missing"
done
[ -f "$prefix/include/KavEpub/service/kav_epub.h" ] || fail "headers not under include/KavEpub"

# A book starts with the stored mimetype entry: "PK", then its name at 30.
check_book() {
  [ "$(head -c 2 "$1")" = "PK" ] || fail "$1 is not a ZIP archive"
  [ "$(head -c 38 "$1" | tail -c 8)" = "mimetype" ] || fail "$1 does not open with mimetype"
}

mkdir "$scratch/work"
export PKG_CONFIG_PATH=$libdir/pkgconfig
# shellcheck disable=SC2046
"$cc" -o "$scratch/host_pkgconfig" "$source/host.c" $("$pkgconfig" --cflags --libs kav-epub) \
  -Wl,-rpath,"$libdir"
env -u LD_LIBRARY_PATH "$scratch/host_pkgconfig" "$scratch/work" "$scratch/pkgconfig.epub"
check_book "$scratch/pkgconfig.epub"

"$cmake" -S "$source/find_package_host" -B "$scratch/host_build" -G Ninja \
  -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_C_COMPILER="$cc" >/dev/null
"$cmake" --build "$scratch/host_build" >/dev/null
env -u LD_LIBRARY_PATH "$scratch/host_build/host" "$scratch/work" "$scratch/find_package.epub"
check_book "$scratch/find_package.epub"

printf 'A line of text.\n' >"$scratch/book.txt"
env -u LD_LIBRARY_PATH "$prefix/bin/kav-epub" txt "$scratch/book.txt" "$scratch/tool.epub" --quiet
check_book "$scratch/tool.epub"
echo "installed, two hosts and kav-epub made their books"
