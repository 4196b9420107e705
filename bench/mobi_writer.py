"""A minimal MOBI 6 writer for benchmarks: the given HTML as uncompressed
text records (PalmDOC compression 1), a MOBI header with the title and an
EXTH record with the author. Enough for libmobi to read the book back; no
pictures, no index, no compression.
"""
import struct
import time

RECORD_SIZE = 4096
NONE = 0xFFFFFFFF


def _exth(author):
    records = [(100, author.encode("utf-8"))]
    body = b"".join(struct.pack(">II", kind, len(data) + 8) + data for kind, data in records)
    exth = b"EXTH" + struct.pack(">II", len(body) + 12, len(records)) + body
    return exth + b"\0" * (-len(exth) % 4)


def _record0(text_length, text_records, title, author):
    header = bytearray(16 + 232)
    struct.pack_into(">HHIHHHH", header, 0, 1, 0, text_length, text_records, RECORD_SIZE, 0, 0)
    struct.pack_into(">4sIIII", header, 16, b"MOBI", 232, 2, 65001, 0x4B415645)
    struct.pack_into(">I", header, 36, 6)  # file version
    for offset in range(40, 80, 4):  # no indexes
        struct.pack_into(">I", header, offset, NONE)
    exth = _exth(author)
    name = title.encode("utf-8")
    struct.pack_into(">III", header, 80, text_records + 1, len(header) + len(exth), len(name))
    struct.pack_into(">IIII", header, 92, 9, 0, 0, 6)  # locale, languages, min version
    struct.pack_into(">I", header, 108, NONE)  # no pictures
    struct.pack_into(">I", header, 128, 0x50)  # an EXTH block follows
    struct.pack_into(">II", header, 164, NONE, NONE)  # no DRM
    struct.pack_into(">HHI", header, 192, 1, text_records, 1)
    struct.pack_into(">II", header, 200, NONE, 0)  # no FCIS
    struct.pack_into(">II", header, 208, NONE, 0)  # no FLIS
    struct.pack_into(">I", header, 224, NONE)
    struct.pack_into(">H", header, 242, 0)  # no trailing entries in text records
    struct.pack_into(">I", header, 244, NONE)
    return bytes(header) + exth + name + b"\0" * (4 - len(name) % 4) + b"\0" * 2048


def write_mobi(path, html, title, author):
    text = html.encode("utf-8")
    chunks = [text[i:i + RECORD_SIZE] for i in range(0, len(text), RECORD_SIZE)]
    records = [_record0(len(text), len(chunks), title, author)] + chunks + [b"\xe9\x8e\r\n"]
    count = len(records)
    offset = 78 + 8 * count + 2
    table = b""
    for i, data in enumerate(records):
        table += struct.pack(">II", offset, i * 2)
        offset += len(data)
    now = int(time.time()) + 2082844800
    name = title.encode("ascii", "replace")[:31].replace(b" ", b"_")
    pdb = struct.pack(">32sHHIIIIII4s4sIIH", name, 0, 0, now, now, 0, 0, 0, 0, b"BOOK", b"MOBI",
                      2 * count, 0, count)
    with open(path, "wb") as f:
        f.write(pdb + table + b"\0\0" + b"".join(records))
