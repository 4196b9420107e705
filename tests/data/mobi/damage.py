#!/usr/bin/env python3
"""Makes a damaged copy of a MOBI test book: python3 damage.py KIND BOOK.mobi OUT.mobi

The places come from the book itself: the PalmDOC record table (78-byte
database header, record count at 76, then 8 bytes a record: its offset
first) and the MOBI header in record 0 (for a joint MOBI 6 + KF8 book, in
the KF8 header record that EXTH 121 names). Header fields, counted from the
start of the header record: 8 text record count, 244 NCX index,
248 fragment index, 252 skeleton index; index numbers count from the
header record.

KIND:
  skeleton, fragment, ncx  every byte of that index's first record
                           (its INDX header) becomes 0xEE
  skeleton-total, ncx-total
                           that index's first record declares 385,875,968
                           entries (its total, at 36 in the INDX header)
                           where its records list a few
  text-offset              the second text record starts 3 bytes early in
                           the record table: the first loses the entries
                           that end it, the second gains noise at its start
  no-text                  every text record becomes 0xBF 0xFF pairs, copies
                           from before the record's start: nothing decompresses
"""
import struct
import sys

INDEX_FIELDS = {"skeleton": 252, "fragment": 248, "ncx": 244}


def u32(data, at):
    return struct.unpack(">I", data[at:at + 4])[0]


def damage(kind, book):
    data = bytearray(book)
    count = struct.unpack(">H", data[76:78])[0]
    starts = [u32(data, 78 + 8 * i) for i in range(count)] + [len(data)]
    header = 0  # the header record's number
    record0 = starts[0]
    if u32(data, record0 + 0x80) & 0x40:  # EXTH present, after the MOBI header
        exth = record0 + 16 + u32(data, record0 + 20)
        at = exth + 12
        for _ in range(u32(data, exth + 8)):
            tag, size = struct.unpack(">II", data[at:at + 8])
            if tag == 121:  # the KF8 half's header follows this boundary
                header = u32(data, at + 8)
            at += size
    base = starts[header]
    if kind in INDEX_FIELDS:
        record = header + u32(data, base + INDEX_FIELDS[kind])
        data[starts[record]:starts[record + 1]] = b"\xee" * (starts[record + 1] - starts[record])
    elif kind.endswith("-total") and kind[:-6] in INDEX_FIELDS:
        record = header + u32(data, base + INDEX_FIELDS[kind[:-6]])
        data[starts[record] + 36:starts[record] + 40] = struct.pack(">I", 0x17000000)
    elif kind == "text-offset":
        entry = 78 + 8 * (header + 2)
        data[entry:entry + 4] = struct.pack(">I", starts[header + 2] - 3)
    elif kind == "no-text":
        for record in range(header + 1, header + 1 + struct.unpack(">H", data[base + 8:base + 10])[0]):
            size = starts[record + 1] - starts[record]
            data[starts[record]:starts[record + 1]] = (b"\xbf\xff" * size)[:size]
    else:
        raise SystemExit("unknown damage " + kind)
    return bytes(data)


if __name__ == "__main__":
    if len(sys.argv) != 4:
        raise SystemExit(__doc__)
    with open(sys.argv[2], "rb") as f:
        damaged = damage(sys.argv[1], f.read())
    with open(sys.argv[3], "wb") as f:
        f.write(damaged)
