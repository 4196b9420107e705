#!/usr/bin/env python3
"""Comparison benchmark: kav-epub txt against what users would otherwise
use to make an EPUB of a plain text, on the same text.

Converts one scripture-shaped text (that of txt_bench.py) with kav-epub, with
pandoc (as Markdown, to EPUB 2) and with calibre's ebook-convert when they
are installed, each skipped with a line saying so when not, and packs the
finished kav-epub book directory with zip -r -6 as the floor no converter
can beat. Prints wall time and peak memory of each, and their ratios to
kav-epub and to the floor.
Usage: [TMPDIR=DIR] bench/compare_bench.py [BUILD_DIR] [--lines N]
"""
import argparse
import os
import shutil
import subprocess
import sys
import tempfile

sys.dont_write_bytecode = True  # nothing is left behind in the source tree
import benchlib  # noqa: E402
import txt_bench  # noqa: E402


def converters(kav, text, work):
    """(name, command or None when absent, output) of each converter."""
    pandoc = shutil.which("pandoc")
    calibre = shutil.which("ebook-convert")
    out = lambda name: os.path.join(work, name + ".epub")
    return [
        ("kav-epub", [kav, "txt", text, out("kav"), "--quiet"], out("kav")),
        ("pandoc", pandoc and [pandoc, "-f", "markdown", "-t", "epub2", "--metadata",
                               "title=Bench", "-o", out("pandoc"), text], out("pandoc")),
        ("ebook-convert", calibre and [calibre, text, out("calibre")], out("calibre")),
    ]


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("build", nargs="?", help="build directory (default: build)")
    parser.add_argument("--lines", type=int, default=31000,
                        help="verse lines of text (default 31000, about 4.4 MB)")
    args = parser.parse_args()
    build = os.path.abspath(args.build) if args.build else benchlib.build_dir()
    kav = os.path.join(build, "kav-epub")
    if not os.access(kav, os.X_OK):
        sys.exit(f"no kav-epub in {build}: build first")
    with tempfile.TemporaryDirectory() as work:
        text = os.path.join(work, "scripture.txt")
        with open(text, "w") as f:
            f.write(txt_bench.scripture_text(args.lines, 1))
        print(f"text: {os.path.getsize(text) / 1e6:.1f} MB, {args.lines:,} lines; "
              f"working files on {benchlib.file_system(work)}")
        env = dict(os.environ, TMPDIR=work)
        results = []
        for name, command, output in converters(kav, text, work):
            if not command:
                print(f"  {name:14} not installed, skipped")
                continue
            try:
                seconds, peak = benchlib.measure(command, env)
            except subprocess.CalledProcessError:
                print(f"  {name:14} failed, skipped")
                continue
            results.append((name, seconds, peak, os.path.getsize(output)))
        if not results or results[0][0] != "kav-epub":
            sys.exit("kav-epub did not convert the text")
        floor = benchlib.zip_floor(os.path.join(work, "kav.epub"), work)
    kav_seconds, kav_peak = results[0][1], results[0][2]
    print(f"  {'zip -r -6':14} {floor:8.3f} s   (the finished kav-epub book's directory)")
    for name, seconds, peak, size in results:
        print(f"  {name:14} {seconds:8.3f} s  peak {peak:7.1f} MB  book {size / 1e6:6.2f} MB"
              f"   x kav-epub: time {seconds / kav_seconds:6.2f} memory {peak / kav_peak:6.2f}"
              f"   x zip floor: {seconds / floor:6.2f}")


if __name__ == "__main__":
    main()
