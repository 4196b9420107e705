#!/usr/bin/env python3
"""Writes one of the MOBI 6 and KF8 test books of this folder with
mobi_writer.py:
    python3 make_books.py BOOK OUT.mobi
    python3 make_books.py BOOK --expect > OUT.expect
(run from this folder; README.md lists the books). The .expect lines:
title=, author=, cover=no, words= (the words of the body's text, split at
white space and tags), sentences= (the last sentence number), and one
toc=LEVEL LABEL a NCX entry, in order. The text is made here,
the same each time: numbered sentences (s1, s2, ... in reading order) of
words from a fixed list, so a converted book's words can be checked.
Headings and page breaks are placed as in real MOBI 6 books: a page break,
then the heading, and the NCX entries and filepos links point at the
heading.

BOOK:
  toc2            three chapters (h1), the second with two sections (h2);
                  an NCX of 5 entries on two levels, filepos links
  big-pagebreaks  40 chapters (h2) between page breaks, 1.2 MB of text:
                  chapter 20 alone 290 KB, the others 24 KB each; an NCX of
                  the chapters; PalmDOC-compressed
  no-ncx          toc2's text and headings, no NCX
  no-headings     three page breaks between paragraphs, no headings, no NCX
  ncx-past-text   toc2 with entries past the text's end (offset at the
                  end, offset and length beyond it, at 2^28-1) and parent
                  and child numbers past the last entry
  ncx-self-parent toc2 whose Section 2.1 is its own parent and child
  ncx-cycle       toc2 whose chapters 1 and 3 are each other's parent and
                  child, Section 2.1 and 2.2 likewise (levels as written)
  ncx-deep        toc2 with an NCX of 5,000 entries, each the only child of
                  the one before (levels 0 to 4999)
  ncx-100k        toc2 with an NCX of 100,000 entries (one level, empty
                  keys, 1,000 labels shared), all inside the text
  toc2-kf8        KF8 (file version 8 only): toc2's chapters as three parts
                  (skeleton + fragment each), Chapter 2's part holding
                  both sections; the NCX's 5 entries on two levels point
                  by fragment and offset (and text offset) at the headings,
                  kindle:pos links between the parts
  chapters-kf8    KF8 like toc2-kf8, two parts: Test chapter 1 (h1), and
                  Test chapter 2 (h1) holding Test subchapter 2-1 and 2-2
                  (h2); an NCX of those 4 entries on two levels
"""
import re
import sys

import mobi_writer
from mobi_writer import NcxEntry

VOCABULARY = ("lantern harbour river window meadow orchard bridge candle ledger quarry "
              "thimble compass lattice granary pewter saddle beacon ferry willow chimney "
              "anvil barley cobble drizzle ember furrow gable hearth inkwell juniper kettle "
              "larch mortar nettle oxbow parsnip quill rafter sorrel tinder umber vellum "
              "wicker yarrow zither amber bramble cinder dapple größer café 灯塔 naïve").split()


class Text:
    """Numbered sentences, the same for the same calls."""

    def __init__(self):
        self.count = 0

    def sentence(self):
        self.count += 1
        n = self.count
        words = [VOCABULARY[(n * 7 + k * 13) % len(VOCABULARY)] for k in range(4 + n % 6)]
        return "s%d %s." % (n, " ".join(words))

    def paragraphs(self, count, sentences=4):
        return "".join("<p>%s</p>" % " ".join(self.sentence() for _ in range(sentences))
                       for _ in range(count))


def resolve(html):
    """Places the marks: "\x01name\x01" is a target, "\x02name\x02" a
    filepos (10 digits) pointing at it. Returns the HTML and each target's
    byte offset."""
    out, targets, links = bytearray(), {}, []
    for part in re.split(r"([\x01\x02][^\x01\x02]*[\x01\x02])", html):
        if part.startswith("\x01"):
            targets[part[1:-1]] = len(out)
        elif part.startswith("\x02"):
            links.append((len(out), part[1:-1]))
            out += b"0" * 10
        else:
            out += part.encode("utf-8")
    for at, name in links:
        out[at:at + 10] = b"%010d" % targets[name]
    return out.decode("utf-8"), targets


def heading(tag, name):
    return '<mbp:pagebreak/>\x01%s\x01<%s>%s</%s>' % (name, tag, name, tag)


def link(name):
    return '<a filepos=\x02%s\x02>%s</a>' % (name, name)


TOC2 = (("Chapter 1", 0), ("Chapter 2", 0), ("Section 2.1", 1), ("Section 2.2", 1), ("Chapter 3", 0))


def toc2_html(headings=True):
    text = Text()
    body = ['<p>The Two Level Book</p><p>Contents: %s</p>' % ", ".join(link(n) for n, _ in TOC2)]
    for name, level in TOC2:
        if level == 0 or headings:
            body.append(heading("h%d" % (level + 1), name))
        else:
            body.append("\x01%s\x01" % name)
        body.append(text.paragraphs(3))
        if name == "Chapter 2":
            body.append("<p>Read on in %s, or go back to %s.</p>" % (link("Section 2.2"),
                                                                   link("Chapter 1")))
        if name == "Chapter 3":
            body.append("<p>Back to %s and %s.</p>" % (link("Chapter 1"), link("Section 2.1")))
    return resolve("<html><head></head><body>%s</body></html>" % "".join(body))


def toc2_ncx(targets, length):
    return mobi_writer.ncx_from_headings([(n, targets[n], level) for n, level in TOC2], length)


BASE32 = "0123456789ABCDEFGHIJKLMNOPQRSTUV"


def base32(value, width):
    digits = ""
    for _ in range(width):
        digits = BASE32[value % 32] + digits
        value //= 32
    return digits


def kf8_link(name):
    return '<a href="\x02%s\x02">%s</a>' % (name, name)


# Each KF8 book: its title and its headings in reading order, (label, level,
# id, part); the first part ends with a contents paragraph of links to every
# heading, the last part with links back to the first and third.
KF8_BOOKS = {
    "toc2-kf8": ("The Two Level Book",
                 (("Chapter 1", 0, "c1", 0), ("Chapter 2", 0, "c2", 1),
                  ("Section 2.1", 1, "s21", 1), ("Section 2.2", 1, "s22", 1),
                  ("Chapter 3", 0, "c3", 2))),
    "chapters-kf8": ("The Test Chapters",
                     (("Test chapter 1", 0, "c1", 0), ("Test chapter 2", 0, "c2", 1),
                      ("Test subchapter 2-1", 1, "s21", 1),
                      ("Test subchapter 2-2", 1, "s22", 1))),
}


def kf8_book(toc):
    """(bodies, NCX) of a KF8 book of the given headings: headings carry
    ids, the marks are placed as in resolve(), links become kindle:pos
    links."""
    text = Text()
    parts = [[] for _ in range(toc[-1][3] + 1)]
    for name, level, ident, number in toc:
        part = parts[number]
        part.append('\x01%s\x01<h%d id="%s">%s</h%d>' % (name, level + 1, ident, name,
                                                         level + 1))
        part.append(text.paragraphs(3))
        if name == toc[0][0]:
            part.append("<p>Contents: %s</p>" % ", ".join(kf8_link(n) for n, *_ in toc))
        if name == toc[-1][0]:
            part.append("<p>Back to %s and %s.</p>" % (kf8_link(toc[0][0]),
                                                      kf8_link(toc[2][0])))
    targets, bodies, links = {}, [], []
    for number, part in enumerate(parts):
        out = ""
        for piece in re.split(r"([\x01\x02][^\x01\x02]*[\x01\x02])", "".join(part)):
            if piece.startswith("\x01"):
                targets[piece[1:-1]] = (number, len(out.encode("utf-8")))
            elif piece.startswith("\x02"):
                links.append(piece[1:-1])
                out += "\x02"
            else:
                out += piece
        bodies.append(out)
    for name in links:
        fid, off = targets[name]
        target = "kindle:pos:fid:%s:off:%s" % (base32(fid, 4), base32(off, 10))
        for number, body in enumerate(bodies):
            if "\x02" in body:
                bodies[number] = body.replace("\x02", target, 1)
                break
    places, length = mobi_writer.kf8_layout(bodies)
    ncx = mobi_writer.ncx_from_headings(
        [(n, places[targets[n][0]][0] + targets[n][1], level) for n, level, *_ in toc], length)
    for entry, (name, *_) in zip(ncx, toc):
        entry.pos = targets[name]
    return bodies, ncx


def book(name):
    """(html, title, ncx entries or None, compress, keys)."""
    if name == "big-pagebreaks":
        text, body = Text(), ["<p>The Big Book of Page Breaks</p>"]
        chapters = ["Chapter %d" % c for c in range(1, 41)]
        for chapter in chapters:
            body.append(heading("h2", chapter) +
                        text.paragraphs(1100 if chapter == "Chapter 20" else 90, 5))
        html, targets = resolve("<html><head></head><body>%s</body></html>" % "".join(body))
        ncx = mobi_writer.ncx_from_headings([(c, targets[c], 0) for c in chapters],
                                            len(html.encode("utf-8")))
        return html, "The Big Book of Page Breaks", ncx, True, True
    if name in KF8_BOOKS:
        title, toc = KF8_BOOKS[name]
        bodies, ncx = kf8_book(toc)
        return "<body>%s</body>" % "".join(bodies), title, ncx, False, True
    if name == "no-headings":
        text = Text()
        body = "<mbp:pagebreak/>".join(text.paragraphs(2) for _ in range(4))
        return "<html><head></head><body>%s</body></html>" % body, "Four Pages", None, False, True
    html, targets = toc2_html()
    length = len(html.encode("utf-8"))
    ncx = toc2_ncx(targets, length)
    if name == "toc2":
        return html, "The Two Level Book", ncx, False, True
    if name == "no-ncx":
        return html, "The Book Without an Index", None, False, True
    if name == "ncx-past-text":
        ncx[1].offset = length  # the text's end: nothing left to point at
        ncx[2].length = length  # runs far past the end
        ncx[3].offset = length + 1000
        ncx[4].offset, ncx[4].length = 0xFFFFFFF, 0xFFFFFFF
        ncx[1].first_child, ncx[1].last_child = 2, 9  # entries 5 to 9 do not exist
        ncx[3].parent = 7
    elif name == "ncx-self-parent":
        ncx[2].parent = ncx[2].first_child = ncx[2].last_child = 2
    elif name == "ncx-cycle":
        ncx[0].parent, ncx[0].first_child, ncx[0].last_child = 4, 4, 4
        ncx[4].parent, ncx[4].first_child, ncx[4].last_child = 0, 0, 0
        ncx[2].first_child = ncx[2].last_child = 3
        ncx[3].first_child = ncx[3].last_child = 2
        ncx[2].parent, ncx[3].parent = 3, 2
    elif name == "ncx-deep":
        ncx = []
        for i in range(5000):
            ncx.append(NcxEntry(i * length // 5000, "Level %d" % i, level=i,
                                length=length - i * length // 5000,
                                parent=i - 1 if i else None,
                                first_child=i + 1 if i < 4999 else None,
                                last_child=i + 1 if i < 4999 else None))
    elif name == "ncx-100k":
        ncx = [NcxEntry(i * length // 100000, "Entry %d" % (i % 1000)) for i in range(100000)]
        return html, "The Two Level Book", ncx, False, False
    else:
        raise SystemExit("unknown book " + name)
    return html, "The Two Level Book", ncx, False, True


def expect(html, title, ncx):
    body = html[html.index("<body>"):]
    words = len(re.sub(r"<[^>]*>", " ", body).split())
    lines = ["title=" + title, "author=" + AUTHOR, "cover=no", "words=%d" % words,
             "sentences=%d" % max(int(n) for n in re.findall(r"\bs(\d+) ", body))]
    lines += ["toc=%d %s" % (e.level, e.label) for e in ncx or []]
    return "\n".join(lines) + "\n"


AUTHOR = "Kav Test Books"

if __name__ == "__main__":
    if len(sys.argv) != 3:
        raise SystemExit(__doc__)
    html, title, ncx, compress, keys = book(sys.argv[1])
    if sys.argv[2] == "--expect":
        sys.stdout.write(expect(html, title, ncx))
        sys.exit(0)
    if sys.argv[1] in KF8_BOOKS:
        bodies = kf8_book(KF8_BOOKS[sys.argv[1]][1])[0]
        mobi_writer.write_kf8(sys.argv[2], bodies, title, AUTHOR, ncx=ncx)
    else:
        mobi_writer.write_mobi(sys.argv[2], html, title, AUTHOR, compress=compress, ncx=ncx,
                               ncx_keys=keys)
