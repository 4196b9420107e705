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
source "$source/checks.sh"

"$cmake" --install "$build" --prefix "$prefix" >/dev/null
libdir=$(dirname "$(find "$prefix" -name libKav_Epub.so -print -quit)")
for name in Kav_Epub Kav_Tool Kav_Ebase Kav_Mobi; do
  soname=$(readelf -d "$libdir/lib$name.so" | sed -n 's/.*(SONAME).*\[\(.*\)\]/\1/p')
  [ "$soname" = "lib$name.so.1" ] && [ -f "$libdir/lib$name.so.1.0.0" ] ||
    fail "lib$name.so has soname '$soname' or no lib$name.so.1.0.0"
done
[ -f "$prefix/include/KavEpub/service/kav_epub.h" ] || fail "headers not under include/KavEpub"

mkdir "$scratch/work"
export PKG_CONFIG_PATH=$libdir/pkgconfig
# shellcheck disable=SC2046
"$cc" -o "$scratch/pkgconfig_host" "$source/host.c" $("$pkgconfig" --cflags --libs kav-epub) \
  -Wl,-rpath,"$libdir"
"$cmake" -S "$source/find_package_host" -B "$scratch/host_build" -G Ninja \
  -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_C_COMPILER="$cc" >/dev/null
"$cmake" --build "$scratch/host_build" >/dev/null
printf 'A line of text.\n' >"$scratch/book.txt"
for maker in pkgconfig_host host_build/host tool; do
  epub=$scratch/${maker%%/*}.epub
  if [ $maker = tool ]; then
    env -u LD_LIBRARY_PATH "$prefix/bin/kav-epub" txt "$scratch/book.txt" "$epub" --quiet
  else
    env -u LD_LIBRARY_PATH "$scratch/$maker" "$scratch/work" "$epub"
  fi
  book_made "$epub" "$maker"
done
echo "installed, two hosts and kav-epub made their books"
