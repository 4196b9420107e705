#!/usr/bin/env bash
# Usage: package_hosts.sh BUILD_DIR SOURCE_DIR CC CPACK PKG_CONFIG PYTHON3 LIBDIR
# Makes the Debian packages of BUILD_DIR with cpack, checks what each holds
# and declares and that lintian finds no error in them, unpacks them with
# dpkg-deb -x into a scratch root, and there builds tests/install/host.c
# through pkg-config and runs it, runs the root's kav-epub, and makes a book
# with the root's Python module, each on the root's libraries.
set -euo pipefail
build=$1 source=$2 cc=$3 cpack=$4 pkgconfig=$5 python=$6 libdir=usr/$7
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
root=$scratch/root
source "$source/checks.sh"

[ "$libdir" = "usr/lib/$("$cc" -print-multiarch)" ] || fail "$libdir is not the multiarch library directory"
"$cpack" -G DEB --config "$build/CPackConfig.cmake" -B "$scratch/debs" >"$scratch/cpack.log" 2>&1 ||
  fail "cpack: $(grep -v '^ *;' "$scratch/cpack.log")"

# What each package must hold, and what it must depend on.
declare -A holds=(
  [libkav-epub1]="$libdir/libKav_Epub.so.1 $libdir/libKav_Epub.so.1.0.0 $libdir/libKav_Tool.so.1
    $libdir/libKav_Tool.so.1.0.0 $libdir/libKav_Ebase.so.1 $libdir/libKav_Ebase.so.1.0.0
    $libdir/libKav_Mobi.so.1 $libdir/libKav_Mobi.so.1.0.0"
  [libkav-epub-dev]="usr/include/KavEpub/service/kav_epub.h $libdir/libKav_Epub.so $libdir/libKav_Mobi.so
    $libdir/pkgconfig/kav-epub.pc $libdir/cmake/KavEpub/KavEpubConfig.cmake"
  [kav-epub]="usr/bin/kav-epub usr/share/man/man1/kav-epub.1.gz"
  [python3-kav-epub]="usr/lib/python3/dist-packages/kav_epub.py"
)
declare -A depends=(
  [libkav-epub1]="libxml2 libzip4 libmobi0 libuchardet0 libpcre2-8-0 libdeflate0 libc6"
  [libkav-epub-dev]="libkav-epub1 libxml2-dev"
  [kav-epub]="libkav-epub1 libc6"
  [python3-kav-epub]="libkav-epub1 python3:any"
)
for package in "${!holds[@]}"; do
  deb=$(echo "$scratch/debs/${package}_"*.deb)
  [ -f "$deb" ] || fail "no package $package"
  listing=$(dpkg-deb -c "$deb" | awk '{print $6}')
  for path in ${holds[$package]} usr/share/doc/$package/copyright usr/share/doc/$package/changelog.Debian.gz; do
    grep -Fqx "./$path" <<<"$listing" || fail "$package lacks /$path"
  done
  relations=" $(dpkg-deb -f "$deb" Depends | sed 's/ ([^)]*)//g; s/,/ /g') "
  for needed in ${depends[$package]}; do
    [[ $relations == *" $needed "* ]] || fail "$package does not depend on $needed:$relations"
  done
  dpkg-deb -x "$deb" "$root"
done
# The runtime package holds no development link, so that a later soname can
# be installed beside it; it tells ldconfig and dependent packages of itself.
dpkg-deb -c "$scratch/debs/libkav-epub1_"*.deb | grep -q '\.so ->' && fail "libkav-epub1 holds an unversioned link"
dpkg-deb -I "$scratch/debs/libkav-epub1_"*.deb shlibs | grep -q '^libKav_Epub 1 libkav-epub1 ' ||
  fail "libkav-epub1 has no shlibs entry for libKav_Epub.so.1"
lintian --fail-on error "$scratch/debs/"*.deb >"$scratch/lintian.log" 2>&1 ||
  fail "lintian: $(grep '^E:' "$scratch/lintian.log")"

# shared_objects PROGRAM [ENV...]: the Kav libraries PROGRAM loads (ld.so's list).
shared_objects() { env "${@:2}" ldd "$1" | awk '/libKav_/ {print $3}'; }
only_from_root() {
  local loaded
  loaded=$(cat)
  [ "$(grep -c . <<<"$loaded")" -eq 4 ] && ! grep -qv "^$root/" <<<"$loaded" ||
    fail "$1 loads ${loaded//$'\n'/ }, not the four libraries of the root"
}

mkdir "$scratch/work"
printf 'A line of text.\n' >"$scratch/book.txt"
# The library's pkg-config file names its folders relative to itself, so the
# root's search path alone leads into the root (libxml2 comes from the system).
# shellcheck disable=SC2046
"$cc" -o "$scratch/host" "$source/host.c" $(PKG_CONFIG_PATH=$root/$libdir/pkgconfig "$pkgconfig" --cflags --libs kav-epub)
shared_objects "$scratch/host" LD_LIBRARY_PATH="$root/$libdir" | only_from_root host
LD_LIBRARY_PATH=$root/$libdir "$scratch/host" "$scratch/work" "$scratch/host.epub"
book_made "$scratch/host.epub" host

# The tool finds its libraries by its run path, with no search path set.
shared_objects "$root/usr/bin/kav-epub" -u LD_LIBRARY_PATH | only_from_root kav-epub
env -u LD_LIBRARY_PATH "$root/usr/bin/kav-epub" txt "$scratch/book.txt" "$scratch/tool.epub" --quiet
book_made "$scratch/tool.epub" kav-epub
version=$("$root/usr/bin/kav-epub" --version | head -n 1)
zcat "$root/usr/share/man/man1/kav-epub.1.gz" | grep -q "^\.TH KAV-EPUB \"1\" .* \"$version\"" ||
  fail "the manual page is not that of $version"

# The module, neither given a library nor beside a build, loads it by its
# soname from the library path.
(cd "$scratch" && env -u KAV_EPUB_LIBRARY PYTHONPATH="$root/usr/lib/python3/dist-packages" \
  LD_LIBRARY_PATH="$root/$libdir" "$python" -B -c '
import sys, kav_epub
root, text, epub, work = sys.argv[1:]
assert kav_epub.__file__.startswith(root + "/"), kav_epub.__file__
with kav_epub.EpubService() as service:
    service.txt2epub(text, epub, work)
print("\n".join(line.split()[-1] for line in open("/proc/self/maps") if "/libKav_" in line))
' "$root" "$scratch/book.txt" "$scratch/python.epub" "$scratch/work") | sort -u >"$scratch/python.maps"
only_from_root "Python's kav_epub" <"$scratch/python.maps"
book_made "$scratch/python.epub" "Python's kav_epub"
echo "four packages made and unpacked: a pkg-config host, kav-epub and the Python module made their books"
