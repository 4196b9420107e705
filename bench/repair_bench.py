#!/usr/bin/env python3
"""XHTML repair benchmark: the cost of repairing grows with the page, never
with the square of it.

1. Legacy-tag pages (bench/repair_pages.py) of 10,000 to 80,000 <font> and
   <center> pairs against the same pages with <p> in their place; targets:
   each within 3 x its valid page, and doubling the page costs at most
   2.3 x the time.
2. A page asking for most kinds of repair at 1,000, 2,000 and 4,000 blocks:
   the time should double with the page.
3. A dictionary-shaped MOBI book (thousands of short entries in one
   frameset, 5 MB of HTML, written by tests/data/mobi/mobi_writer.py) with kav-epub
   mobi; target: at most 5 x the zip -r -6 time of its finished book.
4. Peak memory of importing a plain page of 8.6 MB, per MB of input.
Every time is the best of three runs, as processor time (user + system)
beside the wall time: on a shared machine the wall time mostly measures the
other jobs, and the ratios are taken from the processor time.
Usage: [TMPDIR=DIR] bench/repair_bench.py [BUILD_DIR]
"""
import os
import sys
import tempfile

import benchlib
import repair_pages

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "tests", "data", "mobi"))
import mobi_writer  # noqa: E402  (tests/data/mobi/mobi_writer.py)


def measure(command):
    """(processor seconds, wall seconds, peak MB) of one run of command."""
    wall, seconds, peak = benchlib.measure_times(command)
    return seconds, wall, peak


def best(command, runs=3):
    """(processor seconds, wall seconds, peak MB) of the run that took the
    least processor time."""
    return min(measure(command) for _ in range(runs))


def zip_floor(epub, work):
    """(processor seconds, wall seconds) of zip -r -6 packing the unpacked
    book."""
    benchlib.zip_floor(epub, work)  # unpacks the book, and warms the cache
    book_dir = os.path.join(work, "unpacked")
    floor = os.path.join(work, "floor.zip")
    os.remove(floor)
    seconds, wall, _ = measure(["sh", "-c", f"cd '{book_dir}' && zip -r -6 -q '{floor}' ."])
    return seconds, wall


def main():
    kav = os.path.join(benchlib.build_dir(), "kav-epub")
    with tempfile.TemporaryDirectory() as work:
        print(f"working files on {work} ({benchlib.file_system(work)})")
        epub = os.path.join(work, "book.epub")

        def page(name, text):
            return repair_pages.write(os.path.join(work, name), text)

        previous = None
        for pairs in (10000, 20000, 40000, 80000):
            legacy = page("legacy.html", repair_pages.legacy_page(pairs))
            valid = page("valid.html", repair_pages.valid_page(pairs))
            seconds, wall, peak = best([kav, "html", legacy, epub, "--quiet"])
            plain, plainWall, _ = best([kav, "html", valid, epub, "--quiet"])
            growth = f", {seconds / previous:.2f} x the half page (target <= 2.3)" if previous else ""
            print(f"legacy {pairs:6d} pairs ({os.path.getsize(legacy) / 1e6:4.1f} MB): {seconds:.3f} s"
                  f" ({wall:.3f} s wall), peak {peak:.1f} MB; valid page {plain:.3f} s"
                  f" ({plainWall:.3f} s wall); ratio {seconds / plain:.2f} (target <= 3){growth}")
            previous = seconds

        previous = None
        for blocks in (1000, 2000, 4000):
            mixed = page("mixed.html", repair_pages.mixed_page(blocks))
            seconds, wall, peak = best([kav, "html", mixed, epub, "--quiet"])
            growth = f", {seconds / previous:.2f} x the half page (linear: 2)" if previous else ""
            print(f"mixed repairs {blocks} blocks ({os.path.getsize(mixed) / 1e6:4.1f} MB):"
                  f" {seconds:.3f} s ({wall:.3f} s wall), peak {peak:.1f} MB{growth}")
            previous = seconds

        html = repair_pages.dictionary_page(18500)
        book = os.path.join(work, "dictionary.mobi")
        mobi_writer.write_mobi(book, html, "A Dictionary", "Kav Bench")
        seconds, wall, peak = best([kav, "mobi", book, epub, "--quiet"])
        floor = min(zip_floor(epub, work) for _ in range(3))
        print(f"dictionary MOBI ({len(html.encode()) / 1e6:.1f} MB of HTML, 18,500 entries):"
              f" kav-epub mobi {seconds:.3f} s ({wall:.3f} s wall), peak {peak:.1f} MB;"
              f" zip -r -6 floor {floor[0]:.3f} s ({floor[1]:.3f} s wall);"
              f" ratio {seconds / floor[0]:.2f} (target <= 5)")

        plain = page("plain.html", repair_pages.valid_page(115000))
        size = os.path.getsize(plain) / 1e6
        seconds, wall, peak = best([kav, "html", plain, epub, "--quiet"], runs=1)
        print(f"plain page {size:.1f} MB: {seconds:.3f} s ({wall:.3f} s wall), peak {peak:.1f} MB,"
              f" {peak / size:.1f} MB per MB of input")


if __name__ == "__main__":
    main()
