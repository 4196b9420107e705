"""Writes MOBI 6 and KF8 books for tests and benchmarks (Python 3, standard
library only): the given HTML as text records of 4096 bytes, stored
(compression 1) or PalmDOC-compressed (2), a MOBI header with the title, an
optional EXTH block with the author, and an optional NCX index that libmobi
parses (rawml->ncx); KF8 books add the skeleton and fragment indexes and an
FDST record (write_kf8).

The NCX index is an INDX header record (TAGX says which tags an entry may
carry), index records of at most MAX_ENTRIES entries each (an IDXT table of
16-bit entry offsets ends each record) and one CNCX record of labels. An
entry is its key (a short name), one control byte whose bits say which tags
follow, then the tag values as forward variable-width numbers (7 bits a byte,
the last byte's high bit set):
  1 offset (filepos into the text)   2 length     3 label (CNCX offset)
  4 level (0 = top)                  21 parent    22 first child   23 last child
  6 (KF8 only) fragment number and offset in the fragment (two values)
Parents and children are entry numbers. NcxEntry writes any values it is
given, so an index can also be made wrong on purpose.
"""
import os
import struct

RECORD_SIZE = 4096
NONE = 0xFFFFFFFF
MAX_ENTRIES = 2000  # libmobi takes at most 4095 entries a record
INDX_HEADER = 192
# (tag, values, bit in the control byte): the order in which the values follow.
NCX_TAGS = ((1, 1, 0x01), (2, 1, 0x02), (3, 1, 0x04), (4, 1, 0x08), (6, 2, 0x80), (21, 1, 0x10),
            (22, 1, 0x20), (23, 1, 0x40))


class NcxEntry:
    """One NCX entry; None leaves a tag out."""

    def __init__(self, offset, label, level=0, length=None, parent=None, first_child=None,
                 last_child=None, pos=None):
        self.offset, self.label, self.level, self.length = offset, label, level, length
        self.parent, self.first_child, self.last_child = parent, first_child, last_child
        self.pos = pos  # KF8: (fragment number, offset in the fragment)


def ncx_from_headings(headings, text_length):
    """NcxEntry list from (label, offset, level) in reading order: each entry
    runs to the next one at its level or above, its parent is the last entry
    above its level, its children the entries right under it."""
    entries = [NcxEntry(offset, label, level) for label, offset, level in headings]
    for i, entry in enumerate(entries):
        end = next((e.offset for e in entries[i + 1:] if e.level <= entry.level), text_length)
        entry.length = end - entry.offset
        for j in range(i - 1, -1, -1):
            if entries[j].level < entry.level:
                entry.parent = j
                parent = entries[j]
                if parent.first_child is None:
                    parent.first_child = i
                parent.last_child = i
                break
    return entries


def varlen(value):
    """Forward variable-width number: 7 bits a byte, the last marked."""
    out = [0x80 | (value & 0x7F)]
    value >>= 7
    while value:
        out.insert(0, value & 0x7F)
        value >>= 7
    return bytes(out)


def palmdoc_compress(data):
    """PalmDOC (LZ77) compression of one text record: copies of 3 to 10
    bytes from up to 2047 bytes back, a space folded into the next
    character, runs of up to 8 bytes that need escaping."""
    out = bytearray()
    i, n = 0, len(data)
    while i < n:
        start = max(0, i - 2047)
        length, at = 0, -1
        if i + 3 <= n:
            at = data.rfind(data[i:i + 3], start, i)
            if at >= 0:
                length = 3
                while length < 10 and i + length < n:
                    nearer = data.rfind(data[i:i + length + 1], start, i)
                    if nearer < 0:
                        break
                    at, length = nearer, length + 1
        if length >= 3:
            out += struct.pack(">H", 0x8000 | ((i - at) << 3) | (length - 3))
            i += length
        elif data[i] == 0x20 and i + 1 < n and 0x40 <= data[i + 1] <= 0x7F:
            out.append(data[i + 1] ^ 0x80)
            i += 2
        elif data[i] == 0 or 0x09 <= data[i] <= 0x7F:
            out.append(data[i])
            i += 1
        else:
            run = 1
            while run < 8 and i + run < n and not (data[i + run] == 0 or 0x09 <= data[i + run] <= 0x7F):
                run += 1
            out.append(run)
            out += data[i:i + run]
            i += run
    return bytes(out)


def _entry(key, tags, values):
    control, data = 0, b""
    for tag, count, bit in tags:
        if values.get(tag) is not None:
            control |= bit
            data += b"".join(varlen(v) for v in values[tag])
    return bytes([len(key)]) + key + bytes([control]) + data


def _indx(header_fields, body, offsets):
    """An INDX record: header, body, IDXT of the body's entry offsets."""
    header = bytearray(INDX_HEADER)
    struct.pack_into(">4sI", header, 0, b"INDX", INDX_HEADER)
    for at, value in header_fields.items():
        struct.pack_into(">I", header, at, value)
    idxt_at = INDX_HEADER + len(body)
    struct.pack_into(">II", header, 20, idxt_at, len(offsets))
    idxt = b"IDXT" + b"".join(struct.pack(">H", INDX_HEADER + o) for o in offsets)
    record = bytes(header) + body + idxt
    return record + b"\0" * (-len(record) % 4)


def index_records(tags, rows, cncx=b""):
    """An index's records: INDX header (TAGX: tags as (tag, values, bit)),
    index records of (key, {tag: [values]}) rows, and a CNCX record when
    cncx holds labels."""
    if len(cncx) > 0xFFFF:
        raise ValueError("labels need more than one CNCX record")
    records, geometry, geometry_offsets = [], b"", []
    for first in range(0, len(rows), MAX_ENTRIES):
        body, offsets = b"", []
        for key, values in rows[first:first + MAX_ENTRIES]:
            offsets.append(len(body))
            body += _entry(key, tags, values)
        records.append(_indx({}, body, offsets))
        # The header record names each index record's last key and count.
        geometry_offsets.append(len(geometry) + 12 + 4 * (len(tags) + 1))
        geometry += bytes([len(key)]) + key + struct.pack(">H", len(offsets))
    tagx = b"".join(bytes([tag, count, bit, 0]) for tag, count, bit in tags) + bytes([0, 0, 0, 1])
    tagx = b"TAGX" + struct.pack(">II", 12 + len(tagx), 1) + tagx
    header = _indx({28: 65001, 32: NONE, 36: len(rows), 52: 1 if cncx else 0},
                   tagx + geometry, geometry_offsets)
    tail = [bytes(cncx) + b"\0" * (-len(cncx) % 4)] if cncx else []
    return [header] + records + tail


def ncx_records(entries, keys=True):
    """The NCX index's records: INDX header, index records, CNCX. Equal
    labels share one CNCX string. keys=False leaves the entries' keys empty
    (a smaller index)."""
    cncx, label_at = bytearray(), {}
    for entry in entries:
        if entry.label is not None and entry.label not in label_at:
            label_at[entry.label] = len(cncx)
            text = entry.label.encode("utf-8")
            cncx += varlen(len(text)) + text
    width = max(3, len(str(len(entries) - 1)))
    rows = []
    for number, e in enumerate(entries):
        fields = {1: e.offset, 2: e.length, 3: label_at.get(e.label), 4: e.level, 6: e.pos,
                  21: e.parent, 22: e.first_child, 23: e.last_child}
        values = {tag: (list(v) if tag == 6 else [v]) for tag, v in fields.items() if v is not None}
        rows.append((b"%0*d" % (width, number) if keys else b"", values))
    tags = [t for t in NCX_TAGS if t[0] != 6 or any(e.pos is not None for e in entries)]
    return index_records(tags, rows, bytes(cncx))


def _exth(author):
    records = [(100, author.encode("utf-8"))]
    body = b"".join(struct.pack(">II", kind, len(data) + 8) + data for kind, data in records)
    exth = b"EXTH" + struct.pack(">II", len(body) + 12, len(records)) + body
    return exth + b"\0" * (-len(exth) % 4)


def _record0(text_length, text_records, compression, title, author, first_other, indexes=None,
             fdst=None):
    """Record 0: PalmDOC header, MOBI header, EXTH, full name. indexes maps
    a header field (244 NCX, 248 fragments, 252 skeletons) to its record;
    fdst (KF8, file version 8) is the FDST record's number."""
    kf8 = fdst is not None
    length = 264 if kf8 else 232
    header = bytearray(16 + length)
    struct.pack_into(">HHIHHHH", header, 0, compression, 0, text_length, text_records,
                     RECORD_SIZE, 0, 0)
    struct.pack_into(">4sIIII", header, 16, b"MOBI", length, 2, 65001, 0x4B415645)
    struct.pack_into(">I", header, 36, 8 if kf8 else 6)  # file version
    for offset in range(40, 80, 4):  # no dictionary indexes
        struct.pack_into(">I", header, offset, NONE)
    exth = _exth(author) if author is not None else b""
    name = title.encode("utf-8")
    struct.pack_into(">III", header, 80, first_other, len(header) + len(exth), len(name))
    struct.pack_into(">IIII", header, 92, 9, 0, 0, 8 if kf8 else 6)  # locale, languages, min version
    struct.pack_into(">I", header, 108, NONE)  # no pictures
    struct.pack_into(">I", header, 128, 0x50 if exth else 0)  # 0x40: an EXTH block follows
    struct.pack_into(">II", header, 164, NONE, NONE)  # no DRM
    if kf8:
        struct.pack_into(">II", header, 192, fdst, 1)  # FDST record, one flow
    else:
        struct.pack_into(">HHI", header, 192, 1, text_records, 1)
    struct.pack_into(">II", header, 200, NONE, 0)  # no FCIS
    struct.pack_into(">II", header, 208, NONE, 0)  # no FLIS
    struct.pack_into(">I", header, 224, NONE)
    struct.pack_into(">H", header, 242, 0)  # no trailing entries in text records
    for at in range(244, 16 + length, 4):
        struct.pack_into(">I", header, at, (indexes or {}).get(at, NONE))
    return bytes(header) + exth + name + b"\0" * (4 - len(name) % 4) + b"\0" * 2048


def _text_records(text, compress):
    chunks = [text[i:i + RECORD_SIZE] for i in range(0, len(text), RECORD_SIZE)]
    return [palmdoc_compress(chunk) for chunk in chunks] if compress else chunks


def _write_pdb(path, title, records):
    """The PalmDOC database: the record table, then the records and the
    end-of-file record. The dates come from SOURCE_DATE_EPOCH (default
    1700000000), so a book is the same bytes each time it is written."""
    records = records + [b"\xe9\x8e\r\n"]
    count = len(records)
    offset = 78 + 8 * count + 2
    table = b""
    for i, data in enumerate(records):
        table += struct.pack(">II", offset, i * 2)
        offset += len(data)
    when = int(os.environ.get("SOURCE_DATE_EPOCH", "1700000000")) + 2082844800
    name = title.encode("ascii", "replace")[:31].replace(b" ", b"_")
    pdb = struct.pack(">32sHHIIIIII4s4sIIH", name, 0, 0, when, when, 0, 0, 0, 0, b"BOOK", b"MOBI",
                      2 * count, 0, count)
    with open(path, "wb") as f:
        f.write(pdb + table + b"\0\0" + b"".join(records))


def write_mobi(path, html, title, author=None, compress=False, ncx=None, ncx_keys=True):
    """Writes html (str) as a MOBI 6 book; ncx: a list of NcxEntry or None."""
    text = html.encode("utf-8")
    chunks = _text_records(text, compress)
    index = ncx_records(ncx, ncx_keys) if ncx is not None else []
    first_other = len(chunks) + 1
    record0 = _record0(len(text), len(chunks), 2 if compress else 1, title, author, first_other,
                       {244: first_other} if index else None)
    _write_pdb(path, title, [record0] + chunks + index)


KF8_HEAD = ('<?xml version="1.0" encoding="utf-8"?>\n<html xmlns="http://www.w3.org/1999/xhtml">'
            '<head><title>%s</title></head><body aid="%s">')
KF8_TAIL = "</body></html>"


def kf8_layout(bodies):
    """Where each part's body lands: a list of (insert position, part
    start), positions in the assembled text, and the text's length. Each part is a skeleton (head
    and tail, KF8_HEAD and KF8_TAIL) with one fragment, its body, inserted
    after the head."""
    places, at = [], 0
    for number, body in enumerate(bodies):
        head = (KF8_HEAD % ("Part %d" % number, "%d" % number)).encode("utf-8")
        places.append((at + len(head), at))
        at += len(head) + len(KF8_TAIL) + len(body.encode("utf-8"))
    return places, at


def write_kf8(path, bodies, title, author=None, compress=False, ncx=None):
    """Writes a KF8 book (file version 8, no MOBI 6 half): one part per body
    (XHTML body content, str), each a skeleton with one fragment; a
    skeleton and a fragment index, an FDST of one flow, and an NCX of
    NcxEntry whose pos is (fragment number, offset in the fragment)."""
    text, skeletons, fragments, aids = b"", [], [], b""
    for number, (body, (insert, start)) in enumerate(zip(bodies, kf8_layout(bodies)[0])):
        head = (KF8_HEAD % ("Part %d" % number, "%d" % number)).encode("utf-8")
        skeleton = head + KF8_TAIL.encode("utf-8")
        fragment = body.encode("utf-8")
        skeletons.append((b"SKEL%010d" % number, {1: [1], 6: [len(text), len(skeleton)]}))
        aid = b"%d" % number
        fragments.append((b"%010d" % insert, {2: [len(aids)], 3: [number], 4: [number],
                                              6: [0, len(fragment)]}))
        aids += varlen(len(aid)) + aid
        text += skeleton + fragment
    chunks = _text_records(text, compress)
    first_other = len(chunks) + 1
    records, indexes = [], {}
    for field, index in ((244, ncx_records(ncx) if ncx is not None else None),
                         (248, index_records(((2, 1, 1), (3, 1, 2), (4, 1, 4), (6, 2, 8)),
                                             fragments, aids)),
                         (252, index_records(((1, 1, 1), (6, 2, 2)), skeletons))):
        if index is not None:
            indexes[field] = first_other + len(records)
            records += index
    fdst = struct.pack(">4sIIII", b"FDST", 12, 1, 0, len(text))
    record0 = _record0(len(text), len(chunks), 2 if compress else 1, title, author, first_other,
                       indexes, first_other + len(records))
    _write_pdb(path, title, [record0] + chunks + records + [fdst])
