#!/usr/bin/env python3
"""Page-split benchmark: one HTML page of 5 MB, shaped as the text of a
MOBI book (chapters behind mbp:pagebreak markers, filepos anchors and links
to them, nested divisions, a table and a list per chapter), imported into a
book whole and split into pages of at most 256 KB. Prints, best of three
each, the wall and processor time and peak memory of both, the split's cost as ratios
(the split must stay within 5% of the whole import), the pages made and the
largest page. Usage: bench/split_bench.py [BUILD_DIR]
"""
import os
import sys
import tempfile
import zipfile

import benchlib

PAGE_BYTES = 5 << 20
LIMIT = 256 * 1024


def make_page(path):
    """Writes the page; returns its size."""
    parts = ["<html><head><title>Bench</title></head><body>\n"]
    size = 0
    chapter = 0
    while size < PAGE_BYTES:
        words = " ".join("word%d" % (i % 997) for i in range(120))
        chapter_parts = []
        if chapter:
            chapter_parts.append("<mbp:pagebreak/>\n")
        chapter_parts.append('<h2 id="filepos%d">Chapter %d</h2>\n<div class="c"><div>' % (chapter, chapter))
        for p in range(400):
            chapter_parts.append('<p id="filepos%d_%d">%s</p>\n' % (chapter, p, words))
        chapter_parts.append("<table><tr><td>cell</td></tr><tr><td>cell</td></tr></table><ul>")
        chapter_parts.extend("<li>item %d</li>" % i for i in range(20))
        chapter_parts.append('</ul><p><a href="#filepos%d">next</a> <a href="#filepos0_3">start</a></p>'
                             "</div></div>\n" % (chapter + 1))
        text = "".join(chapter_parts)
        parts.append(text)
        size += len(text)
        chapter += 1
    parts.append('<p id="filepos%d">end</p></body></html>\n' % chapter)
    data = "".join(parts).encode()
    with open(path, "wb") as f:
        f.write(data)
    return len(data)


def main():
    build = benchlib.build_dir()
    tool = os.path.join(build, "bench", "split_import")
    if not os.path.exists(tool):
        tool = os.path.join(build, "split_import")
    with tempfile.TemporaryDirectory(prefix="kav-split-bench-") as tmp:
        page = os.path.join(tmp, "book.html")
        size = make_page(page)
        work = os.path.join(tmp, "work")
        os.makedirs(work)
        results = {}
        for mode in ("whole", "split", "whole", "split", "whole", "split"):
            epub = os.path.join(tmp, mode + ".epub")
            run = benchlib.measure_times([tool, mode, page, work, epub])
            best = results.get(mode, run)
            results[mode] = tuple(min(a, b) for a, b in zip(best, run))
        with zipfile.ZipFile(os.path.join(tmp, "split.epub")) as z:
            pages = [i.file_size for i in z.infolist() if i.filename.endswith(".html")]
    whole, split = results["whole"], results["split"]
    print("page: %.1f MB, file system %s" % (size / 1048576, benchlib.file_system(tempfile.gettempdir())))
    print("whole import:  %.3f s wall, %.3f s processor, peak %.1f MB" % whole)
    print("split import:  %.3f s wall, %.3f s processor, peak %.1f MB" % split)
    print("split/whole:   wall %.3f, processor %.3f, peak memory %.3f (target: time within 1.05)"
          % (split[0] / whole[0], split[1] / whole[1], split[2] / whole[2]))
    print("pages: %d, largest %d bytes (limit %d)" % (len(pages), max(pages), LIMIT))


if __name__ == "__main__":
    sys.exit(main())
