"""Pages that make the XHTML repair work hard, for the repair benchmark and
for comparing books before and after a change to the repair.

- legacy_page(n): a body of n <font> and n <center> elements in turn, the
  shape of much old HTML; valid_page(n) is the same page with <p> in their
  place.
- mixed_page(n): n blocks, each asking for most kinds of repair at once
  (unknown and block elements in inline parents, lists and tables holding
  stray elements, duplicate ids, fragment links, scripts, forms, images).
- dictionary_page(entries): the HTML a MOBI dictionary gives, thousands of
  short entries in one frameset inside the body.
Usage: bench/repair_pages.py OUT_DIR  (writes a small set of each)
"""
import os
import random
import sys


def _page(body):
    return ("<html><head><title>Page</title></head><body>\n" + body +
            "</body></html>\n")


def legacy_page(pairs):
    return _page("".join(
        f'<font face="Arial" color="#333333">Entry {i}</font>'
        f"<center>Line {i} of an old page, centred as it used to be.</center>\n"
        for i in range(pairs)))


def valid_page(pairs):
    return _page("".join(
        f"<p>Entry {i}</p><p>Line {i} of an old page, centred as it used to be.</p>\n"
        for i in range(pairs)))


def mixed_page(blocks):
    parts = []
    for i in range(blocks):
        parts.append(
            f'<p><font color="red">f{i}</font> <u>u{i}</u> <a href="#id{i}">to {i}</a>'
            f' <a href="#none{i}">dangling</a> <a href="javascript:go({i})">js</a>'
            f' <a name="n{i}">named</a> <img src="missing{i}.png"> <img src="p{i}.bmp">'
            f' <img src="http://example.com/{i}.png" alt="remote {i}"></p>\n'
            f"<span><object>o{i}</object><center>c{i}</center><form>x</form></span>\n"
            f'<div id="id{i}" lang="en" onclick="x()" style="color:red" title="">d{i}</div>'
            f'<div id="id{i}">duplicate {i}</div><div id="a b{i}">blank</div>\n'
            f'<ul><font>gone {i}</font><li>item <a href="other.html#y{i}">away</a></li>'
            f"<a>bare</a><a href=\"#id{i}\">in list</a></ul>\n"
            f'<blockquote cite="x">q{i}</blockquote><ins cite="c" datetime="d">i{i}</ins>\n'
            f'<form><input type="text" name="q{i}"></form>'
            f"<table><tr><td>cell {i}</td></tr><center>in table {i}</center></table>\n"
            f"<u><center>uc{i}</center><u>inner</u><center>uc{i}b</center></u>\n"
            f"<script>var a{i};</script><style>p{{}}</style><!-- c{i} -->"
            f"<dir><li>d{i}</li></dir><menu><font>m{i}</font></menu>\n"
            f'<bdo>b{i}</bdo><map name="m{i}"><center>mc</center></map>'
            f'<a href="http://example.com/file{i}.pdf">remote</a> loose text {i}\n')
    return _page("".join(parts))


def dictionary_page(entries):
    # Made-up words and definitions, different in every entry, so that the
    # book compresses as a real dictionary does rather than as one line
    # repeated.
    rand = random.Random(entries)
    syllables = ["ka", "ve", "lo", "mir", "tan", "sul", "dre", "po", "gin", "ar", "bel", "cu",
                 "dos", "fen", "hil", "jor", "nu", "ost", "rim", "wey"]

    def word():
        return "".join(rand.choice(syllables) for _ in range(rand.randint(1, 4)))

    body = ["<mbp:frameset>\n"]
    for i in range(entries):
        head = f"{word()}{i}"
        sense = " ".join(word() for _ in range(rand.randint(8, 16)))
        body.append(
            f'<idx:entry name="default" scriptable="yes" spell="yes">'
            f'<idx:orth value="{head}"><b>{head}</b></idx:orth> <i>{rand.choice("nvap")}.</i> '
            f'{sense}; <a href="#filepos{rand.randint(0, 99999)}">{word()}</a></idx:entry><hr/>\n')
    body.append("</mbp:frameset>\n")
    return _page("".join(body))


def write(path, text):
    with open(path, "w", encoding="utf-8") as f:
        f.write(text)
    return path


def main():
    out = sys.argv[1]
    os.makedirs(out, exist_ok=True)
    for n in (10, 500, 2000):
        write(os.path.join(out, f"legacy_{n}.html"), legacy_page(n))
        write(os.path.join(out, f"valid_{n}.html"), valid_page(n))
        write(os.path.join(out, f"mixed_{n // 10}.html"), mixed_page(n // 10))
        write(os.path.join(out, f"dictionary_{n}.html"), dictionary_page(n))


if __name__ == "__main__":
    main()
