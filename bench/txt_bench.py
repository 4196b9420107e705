#!/usr/bin/env python3
"""Text-conversion benchmark: kav-epub txt against the zip -r -6 floor.

Generates a scripture-shaped text (31,000 verse lines, about 4.4 MB) and the
same text ten times over, converts each with kav-epub, and packs each finished
book directory with zip -r -6 for comparison. Prints wall times, peak memory
and the ratios the project holds itself to:
  conversion time <= 2 x zip time, peak memory < 32 MB,
  ten times the text <= 11 x the time.
Usage: [TMPDIR=DIR] bench/txt_bench.py [BUILD_DIR]
"""
import os
import random
import tempfile

import benchlib

BOOKS = ["Genesis", "Exodus", "Leviticus", "Numbers", "Deuteronomy", "Joshua", "Judges",
         "Ruth", "Samuel", "Kings", "Chronicles", "Ezra", "Nehemiah", "Esther", "Job"]
WORDS = ("and the of to that in he shall unto for his I they be is him not them it with all "
         "thou thy was which my me said but ye their have will when lord came land upon "
         "people house children went even day before hand made out one king against").split()


def scripture_text(lines, seed):
    rng = random.Random(seed)
    out = []
    for n in range(lines):
        book = BOOKS[(n // 2100) % len(BOOKS)]
        chapter, verse = n // 30 % 150 + 1, n % 30 + 1
        words = []
        length = len(book) + 8
        target = rng.randint(98, 186)
        while length < target:
            w = rng.choice(WORDS)
            words.append(w)
            length += len(w) + 1
        sentence = " ".join(words)
        out.append(f"{book} {chapter}:{verse} {sentence[0].upper()}{sentence[1:]}.\n")
    return "".join(out)


def measure(kav, text_path, work):
    epub = os.path.join(work, "book.epub")
    seconds, peak_mb = benchlib.measure([kav, "txt", text_path, epub, "--quiet"])
    return seconds, peak_mb, benchlib.zip_floor(epub, work)


def main():
    kav = os.path.join(benchlib.build_dir(), "kav-epub")
    with tempfile.TemporaryDirectory() as work:
        # Creating and deleting the book's files costs what the file system
        # makes it cost; TMPDIR chooses where both runs work.
        print(f"working files on {work} ({benchlib.file_system(work)})")
        base = scripture_text(31000, 1)
        small = os.path.join(work, "scripture.txt")
        large = os.path.join(work, "scripture10.txt")
        with open(small, "w") as f:
            f.write(base)
        with open(large, "w") as f:
            f.write(base * 10)
        s_time, s_peak, s_zip = measure(kav, small, work)
        l_time, l_peak, l_zip = measure(kav, large, work)
    mb = len(base.encode()) / 1e6
    print(f"text: {mb:.1f} MB, 31,000 lines; ten times: {10 * mb:.1f} MB")
    print(f"kav-epub txt  {s_time:8.3f} s  peak {s_peak:6.1f} MB   zip -r -6 floor {s_zip:7.3f} s"
          f"   ratio {s_time / s_zip:5.2f} (target <= 2)")
    print(f"kav-epub x10  {l_time:8.3f} s  peak {l_peak:6.1f} MB   zip -r -6 floor {l_zip:7.3f} s"
          f"   ratio {l_time / l_zip:5.2f}")
    print(f"peak memory   {max(s_peak, l_peak):.1f} MB (target < 32 MB)")
    print(f"scaling       x10 text took {l_time / s_time:.2f} x the time (target <= 11)")


if __name__ == "__main__":
    main()
