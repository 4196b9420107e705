#!/usr/bin/env python3
"""Documentation-site benchmark: kav-epub html on the Python documentation.

Imports one page of Debian's python3-doc that links to many others (the
library index, and through it most of the site) with kav-epub html, then
prints the wall time, the peak memory of the conversion (its ru_maxrss),
the pages and files in the book, and epubcheck's summary counts. The
conversion and epubcheck each run under a time limit, and the conversion
under a memory limit, so the run ends in bounded time and memory.
Installs nothing: without python3-doc it says how to get it and exits 0.
Usage: bench/html_bench.py [BUILD_DIR]
"""
import os
import re
import resource
import subprocess
import sys
import tempfile
import time
import zipfile

import benchlib

DOC_ROOTS = ["/usr/share/doc/python3/html", "/usr/share/doc/python3.11/html"]
START_PAGES = ["library/index.html", "contents.html"]
CONVERT_SECONDS = 600
CONVERT_BYTES = 4 << 30
CHECK_SECONDS = 900


def find_start_page():
    """(documentation root, start page) of the first that exists, or None."""
    for root in DOC_ROOTS:
        for page in START_PAGES:
            path = os.path.join(root, page)
            if os.path.isfile(path):
                return root, path
    return None


def convert(kav, page, epub):
    """Runs kav-epub html in a child limited in time and address space (a
    sanitizer build needs more address space than the limit allows);
    returns (exit status, seconds, peak KB of the child)."""
    def limit():
        resource.setrlimit(resource.RLIMIT_AS, (CONVERT_BYTES, CONVERT_BYTES))

    start = time.perf_counter()
    try:
        status = subprocess.run([kav, "html", page, epub, "--quiet", "--title", "Python Library"],
                                preexec_fn=limit, timeout=CONVERT_SECONDS).returncode
    except subprocess.TimeoutExpired:
        status = "timeout"
    seconds = time.perf_counter() - start
    # ru_maxrss of the children is the largest peak of any child so far;
    # this is the first child, so it is the conversion's own.
    return status, seconds, resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss


def epubcheck_summary(epub):
    try:
        out = subprocess.run(["java", "-jar", "/usr/bin/epubcheck", epub], capture_output=True,
                             text=True, timeout=CHECK_SECONDS)
    except (OSError, subprocess.TimeoutExpired) as error:
        return f"epubcheck did not finish: {error}", {}
    text = out.stdout + out.stderr
    summary = re.search(r"Messages: .*", text)
    codes = {}
    for code in re.findall(r"^(?:ERROR|WARNING|FATAL)\(([A-Z]+-\d+)\)", text, re.M):
        codes[code] = codes.get(code, 0) + 1
    return summary.group(0) if summary else "no summary", codes


def main():
    kav = os.path.join(benchlib.build_dir(), "kav-epub")
    found = find_start_page()
    if found is None:
        print("python3-doc not installed; apt-get install python3-doc")
        return 0
    root, page = found
    site_pages = sum(1 for _, _, files in os.walk(root) for f in files if f.endswith(".html"))
    with tempfile.TemporaryDirectory() as work:
        epub = os.path.join(work, "python.epub")
        status, seconds, peak_kb = convert(kav, page, epub)
        print(f"start page    {page} ({site_pages} HTML files in the site)")
        print(f"kav-epub html {seconds:8.2f} s  peak {peak_kb / 1024:7.1f} MB  exit {status}")
        if status != 0:
            return 1
        with zipfile.ZipFile(epub) as book:
            names = book.namelist()
            size = sum(info.file_size for info in book.infolist())
        pages = sum(1 for n in names if n.startswith("OEBPS/") and ".htm" in n)
        print(f"book          {len(names)} files, {pages} pages, {size / 1e6:.1f} MB unpacked, "
              f"{os.path.getsize(epub) / 1e6:.1f} MB packed")
        summary, codes = epubcheck_summary(epub)
        print(f"epubcheck     {summary}")
        for code, count in sorted(codes.items()):
            print(f"              {code:8} {count}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
