"""Writes MOBI 6 books for tests and benchmarks (Python 3, standard library
only): the given HTML as text records of 4096 bytes, stored (compression 1)
or PalmDOC-compressed (2), a MOBI header with the title, an optional EXTH
block with the author, and an optional NCX index that libmobi parses
(rawml->ncx).

The NCX index is an INDX header record (TAGX says which tags an entry may
carry), index records of at most MAX_ENTRIES entries each (an IDXT table of
16-bit entry offsets ends each record) and one CNCX record of labels. An
entry is its key (a short name), one control byte whose bits say which tags
follow, then the tag values as forward variable-width numbers (7 bits a byte,
the last byte's high bit set):
  1 offset (filepos into the text)   2 length     3 label (CNCX offset)
  4 level (0 = top)                  21 parent    22 first child   23 last child
Parents and children are entry numbers. NcxEntry writes any values it is
given, so an index can also be made wrong on purpose.
"""
import os
import struct

RECORD_SIZE = 4096
NONE = 0xFFFFFFFF
MAX_ENTRIES = 2000  # libmobi takes at most 4095 entries a record
INDX_HEADER = 192
# (tag, bit in the control byte): the order in which the values follow.
NCX_TAGS = ((1, 0x01), (2, 0x02), (3, 0x04), (4, 0x08), (21, 0x10), (22, 0x20), (23, 0x40))


class NcxEntry:
    """One NCX entry; None leaves a tag out."""

    def __init__(self, offset, label, level=0, length=None, parent=None, first_child=None,
                 last_child=None):
        self.offset, self.label, self.level, self.length = offset, label, level, length
        self.parent, self.first_child, self.last_child = parent, first_child, last_child


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


def _ncx_entry(key, entry, cncx_offset):
    control, values = 0, b""
    fields = {1: entry.offset, 2: entry.length, 3: cncx_offset, 4: entry.level,
              21: entry.parent, 22: entry.first_child, 23: entry.last_child}
    for tag, bit in NCX_TAGS:
        if fields[tag] is not None:
            control |= bit
            values += varlen(fields[tag])
    return bytes([len(key)]) + key + bytes([control]) + values


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
    if len(cncx) > 0xFFFF:
        raise ValueError("labels need more than one CNCX record")
    width = max(3, len(str(len(entries) - 1)))
    records, geometry, geometry_offsets = [], b"", []
    for first in range(0, len(entries), MAX_ENTRIES):
        body, offsets = b"", []
        for number in range(first, min(first + MAX_ENTRIES, len(entries))):
            key = b"%0*d" % (width, number) if keys else b""
            offsets.append(len(body))
            entry = entries[number]
            body += _ncx_entry(key, entry, label_at.get(entry.label))
        records.append(_indx({}, body, offsets))
        # The header record names each index record's last key and count.
        geometry_offsets.append(len(geometry) + 12 + 4 * (len(NCX_TAGS) + 1))
        geometry += bytes([len(key)]) + key + struct.pack(">H", len(offsets))
    tagx = b"".join(bytes([tag, 1, bit, 0]) for tag, bit in NCX_TAGS) + bytes([0, 0, 0, 1])
    tagx = b"TAGX" + struct.pack(">II", 12 + len(tagx), 1) + tagx
    header = _indx({28: 65001, 32: NONE, 36: len(entries), 52: 1}, tagx + geometry,
                   geometry_offsets)
    return [header] + records + [bytes(cncx) + b"\0" * (-len(cncx) % 4)]


def _exth(author):
    records = [(100, author.encode("utf-8"))]
    body = b"".join(struct.pack(">II", kind, len(data) + 8) + data for kind, data in records)
    exth = b"EXTH" + struct.pack(">II", len(body) + 12, len(records)) + body
    return exth + b"\0" * (-len(exth) % 4)


def _record0(text_length, text_records, compression, title, author, ncx_record, first_other):
    header = bytearray(16 + 232)
    struct.pack_into(">HHIHHHH", header, 0, compression, 0, text_length, text_records,
                     RECORD_SIZE, 0, 0)
    struct.pack_into(">4sIIII", header, 16, b"MOBI", 232, 2, 65001, 0x4B415645)
    struct.pack_into(">I", header, 36, 6)  # file version
    for offset in range(40, 80, 4):  # no dictionary indexes
        struct.pack_into(">I", header, offset, NONE)
    exth = _exth(author) if author is not None else b""
    name = title.encode("utf-8")
    struct.pack_into(">III", header, 80, first_other, len(header) + len(exth), len(name))
    struct.pack_into(">IIII", header, 92, 9, 0, 0, 6)  # locale, languages, min version
    struct.pack_into(">I", header, 108, NONE)  # no pictures
    struct.pack_into(">I", header, 128, 0x50 if exth else 0)  # 0x40: an EXTH block follows
    struct.pack_into(">II", header, 164, NONE, NONE)  # no DRM
    struct.pack_into(">HHI", header, 192, 1, text_records, 1)
    struct.pack_into(">II", header, 200, NONE, 0)  # no FCIS
    struct.pack_into(">II", header, 208, NONE, 0)  # no FLIS
    struct.pack_into(">I", header, 224, NONE)
    struct.pack_into(">H", header, 242, 0)  # no trailing entries in text records
    struct.pack_into(">I", header, 244, ncx_record)
    return bytes(header) + exth + name + b"\0" * (4 - len(name) % 4) + b"\0" * 2048


def write_mobi(path, html, title, author=None, compress=False, ncx=None, ncx_keys=True):
    """Writes html (str) as a MOBI 6 book; ncx: a list of NcxEntry or None.
    The PalmDOC dates come from SOURCE_DATE_EPOCH (default 1700000000), so
    a book is the same bytes each time it is written."""
    text = html.encode("utf-8")
    chunks = [text[i:i + RECORD_SIZE] for i in range(0, len(text), RECORD_SIZE)]
    if compress:
        chunks = [palmdoc_compress(chunk) for chunk in chunks]
    index = ncx_records(ncx, ncx_keys) if ncx is not None else []
    first_other = len(chunks) + 1
    record0 = _record0(len(text), len(chunks), 2 if compress else 1, title, author,
                       first_other if index else NONE, first_other)
    records = [record0] + chunks + index + [b"\xe9\x8e\r\n"]
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
