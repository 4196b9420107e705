#!/usr/bin/env python3
"""Text-conversion benchmark: kav-epub txt against the zip -r -6 floor.

Generates a scripture-shaped text (31,000 verse lines, about 4.4 MB) and the
same text ten times over, converts each with kav-epub, and packs each finished
book directory with zip -r -6 for comparison (best of three runs each). Runs
on the temporary directory's file system and, when it is another one, on
/dev/shm. Prints wall times, peak memory, the time that merely writing the
book's files costs there, and the ratios the project holds itself to:
  conversion time <= 2 x zip time, peak memory < 32 MB,
  ten times the text <= 11 x the time.
Then the cost of what kav-epub txt does by default beyond the former sixty-line
pages, chapter detection and language guessing, on the text as it is (no
headings) and with a "Chapter N" heading every 300 lines: default against
--no-chapters --language en, best of five, target at most +10%. Both the wall
time and the processor time (user + system) are shown: on a busy machine the
wall time mostly measures the wait for a processor.
Usage: [TMPDIR=DIR] bench/txt_bench.py [BUILD_DIR]
"""
import os
import random
import resource
import subprocess
import tempfile
import time

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
    """(seconds, peak MB, zip floor, creation floor) of one conversion whose
    working files lie in work."""
    epub = os.path.join(work, "book.epub")
    env = dict(os.environ, TMPDIR=work)
    # The best of three runs of each command, so that a busy machine disturbs
    # the comparison less.
    runs = [benchlib.measure([kav, "txt", text_path, epub, "--quiet"], env) for _ in range(3)]
    seconds, peak_mb = min(r[0] for r in runs), max(r[1] for r in runs)
    zip_seconds = min(benchlib.zip_floor(epub, work) for _ in range(3))
    create_seconds = min(benchlib.creation_floor(work) for _ in range(3))
    return seconds, peak_mb, zip_seconds, create_seconds


def verdict(ok):
    return "met" if ok else "MISSED"


def run_on(kav, root, base):
    with tempfile.TemporaryDirectory(dir=root) as work:
        small = os.path.join(work, "scripture.txt")
        large = os.path.join(work, "scripture10.txt")
        with open(small, "w") as f:
            f.write(base)
        with open(large, "w") as f:
            f.write(base * 10)
        print(f"working files on {root} ({benchlib.file_system(work)})")
        s_time, s_peak, s_zip, s_create = measure(kav, small, work)
        l_time, l_peak, l_zip, l_create = measure(kav, large, work)
    for label, t, peak, z, c in (("txt", s_time, s_peak, s_zip, s_create),
                                 ("x10", l_time, l_peak, l_zip, l_create)):
        print(f"  kav-epub {label}  {t:8.3f} s  peak {peak:6.1f} MB   zip -r -6 floor {z:7.3f} s"
              f"   ratio {t / z:5.2f}   creating the book's files alone {c:7.3f} s")
    peak = max(s_peak, l_peak)
    print(f"  time   x1 ratio {s_time / s_zip:.2f} (target <= 2: {verdict(s_time <= 2 * s_zip)})")
    print(f"  memory peak {peak:.1f} MB (target < 32 MB: {verdict(peak < 32)})")
    print(f"  scaling x10 text took {l_time / s_time:.2f} x the time "
          f"(target <= 11: {verdict(l_time <= 11 * s_time)})")


def cpu_and_wall(command, env):
    """(processor seconds, wall seconds) of one run of command."""
    start, before = time.perf_counter(), resource.getrusage(resource.RUSAGE_CHILDREN)
    subprocess.run(command, check=True, env=env, stdout=subprocess.DEVNULL)
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    cpu = (after.ru_utime - before.ru_utime) + (after.ru_stime - before.ru_stime)
    return cpu, time.perf_counter() - start


def chapter_cost(kav, root, base):
    lines = base.splitlines(keepends=True)
    chaptered = "".join((f"Chapter {n // 300 + 1}\n" if n % 300 == 0 else "") + line
                        for n, line in enumerate(lines))
    with tempfile.TemporaryDirectory(dir=root) as work:
        env = dict(os.environ, TMPDIR=work)
        print(f"chapter detection and language guessing (working files on {root}):")
        for label, text in (("no headings", base), ("a heading every 300 lines", chaptered)):
            path = os.path.join(work, "text.txt")
            with open(path, "w") as f:
                f.write(text)
            epub = os.path.join(work, "book.epub")
            plain_args = [kav, "txt", path, epub, "--quiet", "--no-chapters", "--language", "en"]
            default_args = [kav, "txt", path, epub, "--quiet"]
            # Alternated, so that a busy moment weighs on both alike.
            plain, default = [], []
            for _ in range(5):
                plain.append(cpu_and_wall(plain_args, env))
                default.append(cpu_and_wall(default_args, env))
            print(f"  {label}:")
            for kind, index in (("processor", 0), ("wall", 1)):
                p = min(run[index] for run in plain)
                d = min(run[index] for run in default)
                extra = (d / p - 1) * 100
                print(f"    {kind:9s} --no-chapters --language en {p:7.3f} s   default {d:7.3f} s"
                      f"   {extra:+5.1f}% (target <= +10%: {verdict(extra <= 10)})")


def main():
    kav = os.path.join(benchlib.build_dir(), "kav-epub")
    base = scripture_text(31000, 1)
    mb = len(base.encode()) / 1e6
    print(f"text: {mb:.1f} MB, 31,000 lines; ten times: {10 * mb:.1f} MB")
    # Creating ~5,000 page files is the file system's cost, not ours, and on
    # some disks it varies tenfold from run to run (the "creating ... alone"
    # column shows it); memory-backed tmpfs shows the converter's own cost.
    roots = [tempfile.gettempdir()]
    if os.path.isdir("/dev/shm") and benchlib.file_system("/dev/shm") != benchlib.file_system(roots[0]):
        roots.append("/dev/shm")
    for root in roots:
        run_on(kav, root, base)
    chapter_cost(kav, roots[-1], base)


if __name__ == "__main__":
    main()
