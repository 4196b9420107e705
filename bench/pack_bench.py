#!/usr/bin/env python3
"""Packing benchmark: whole conversions against zip -r -6 of the same finished
book, in one run, best of three runs of each command.

On tmpfs (/dev/shm): the 4.4 MB scripture-shaped text of txt_bench.py, the
same text as a MOBI 6 book (4.6 MB of HTML, written by mobi_writer.py) and
the Python-docs MOBI fixture; on the temporary directory's file system (the
disk): the text again. For each: conversion and zip times, their ratio, and
the book's size beside zip's. Targets: text <= 1.2 x zip on tmpfs and
<= 2 x on the disk; the text's MOBI <= 2 x; the MOBI fixture <= 3 x; books
within 1% of zip's size.
With --gigabyte it also converts a 1 GB text of 116,500 pages (several
minutes) and prints its peak memory; target: under 250 MB.
Usage: [TMPDIR=DIR] bench/pack_bench.py [--gigabyte] [BUILD_DIR]
"""
import os
import sys
import tempfile

import benchlib
import txt_bench

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "tests", "data", "mobi"))
import mobi_writer  # noqa: E402  (tests/data/mobi/mobi_writer.py)

MOBI = os.path.join(os.path.dirname(__file__), "..", "tests", "data", "mobi", "large",
                    "pydocs_large_mobi6.mobi")


def scripture_mobi(text, path):
    """Writes the text as a MOBI 6 book: a heading and a page break where each
    book of the text starts, a paragraph for each verse."""
    parts = ["<html><head><title>Scripture</title></head><body>"]
    book = None
    for line in text.splitlines():
        name = line.split(" ", 1)[0]
        if name != book:
            if book is not None:
                parts.append("<mbp:pagebreak/>")
            parts.append(f"<h2>The Book of {name}</h2>")
            book = name
        escaped = line.replace("&", "&amp;").replace("<", "&lt;")
        parts.append(f"<p>{escaped}</p>")
    parts.append("</body></html>")
    mobi_writer.write_mobi(path, "\n".join(parts), "Scripture", "Kav Bench")


def verdict(ok):
    return "met" if ok else "MISSED"


def compare(kav, kind, source, work, limits):
    """Prints one conversion against zip -r -6 of its book."""
    epub = os.path.join(work, "book.epub")
    env = dict(os.environ, TMPDIR=work)
    runs = [benchlib.measure([kav, kind, source, epub, "--quiet"], env) for _ in range(3)]
    seconds, peak = min(r[0] for r in runs), max(r[1] for r in runs)
    zip_seconds = min(benchlib.zip_floor(epub, work) for _ in range(3))
    book, floor = os.path.getsize(epub), os.path.getsize(os.path.join(work, "floor.zip"))
    ratio = seconds / zip_seconds
    targets = ", ".join(f"<= {limit}: {verdict(ratio <= limit)}" for limit in limits)
    print(f"  {os.path.basename(source):26} kav-epub {seconds:6.3f} s (peak {peak:5.1f} MB)"
          f"  zip -r -6 {zip_seconds:6.3f} s  ratio {ratio:4.2f} ({targets})")
    print(f"  {'':26} book {book:9,} bytes  zip {floor:9,} bytes  "
          f"{100.0 * (book - floor) / floor:+5.2f}% (within 1%: {verdict(book <= 1.01 * floor)})")


def gigabyte(kav, root):
    """Converts a gigabyte of 150-byte lines, as the limits test does, and
    prints the conversion's peak memory."""
    with tempfile.TemporaryDirectory(dir=root) as work:
        text = os.path.join(work, "gigabyte.txt")
        line = ("abcdefghij klmnopqrst uvwxyz " * 6)[:149] + "\n"
        with open(text, "w") as f:
            block = line * 10000
            for _ in range(699):
                f.write(block)
        epub = os.path.join(work, "book.epub")
        env = dict(os.environ, TMPDIR=work)
        seconds, peak = benchlib.measure([kav, "txt", text, epub, "--quiet"], env)
        print(f"1 GB text (6,990,000 lines, 116,500 pages) on {root}: {seconds:.1f} s,"
              f" peak {peak:.1f} MB (< 250 MB: {verdict(peak < 250)})")


def main():
    slow = "--gigabyte" in sys.argv
    if slow:
        sys.argv.remove("--gigabyte")
    kav = os.path.join(benchlib.build_dir(), "kav-epub")
    text = txt_bench.scripture_text(31000, 1)
    disk = tempfile.gettempdir()
    shm = "/dev/shm" if os.path.isdir("/dev/shm") else disk
    runs = ((shm, (("txt", "scripture.txt", 1.2), ("mobi", "scripture.mobi", 2),
                   ("mobi", os.path.abspath(MOBI), 3))),
            (disk, (("txt", "scripture.txt", 2),)))
    for root, jobs in runs:
        with tempfile.TemporaryDirectory(dir=root) as work:
            print(f"on {root} ({benchlib.file_system(work)}):")
            with open(os.path.join(work, "scripture.txt"), "w") as f:
                f.write(text)
            scripture_mobi(text, os.path.join(work, "scripture.mobi"))
            for kind, source, limit in jobs:
                compare(kav, kind, os.path.join(work, source), work, (limit,))
    if slow:
        gigabyte(kav, shm)


if __name__ == "__main__":
    main()
