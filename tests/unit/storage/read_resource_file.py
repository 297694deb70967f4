#!/usr/bin/env python3
"""A reader and writer of resource files of its own, made from the layout alone, against which ours is
checked: `dump FILE` prints one line a resource (type, id, attributes, name, bytes in hex); `make FILE`
writes a file from such lines on standard input."""
import struct
import sys


def resources(data):
    data_at, map_at, data_length, map_length = struct.unpack_from(">4I", data)
    assert data_at == 256 and map_at >= 256 + data_length and map_at + map_length == len(data)
    assert data[128:132] == bytes(4)
    table = data[map_at:]
    assert table[:16] == data[:16]
    types_at, names_at = struct.unpack_from(">HH", table, 24)
    count = struct.unpack_from(">h", table, types_at)[0] + 1
    for i in range(count):
        kind, last, list_at = struct.unpack_from(">4sHH", table, types_at + 2 + 8 * i)
        for j in range(last + 1):
            ident, name_at, word, _ = struct.unpack_from(">hHII", table, types_at + list_at + 12 * j)
            name = b""
            if name_at != 0xFFFF:
                at = names_at + name_at
                name = table[at + 1:at + 1 + table[at]]
            body = b""
            if word & 0xFFFFFF != 0xFFFFFF:
                at = 256 + (word & 0xFFFFFF)
                length = struct.unpack_from(">I", data, at)[0]
                body = data[at + 4:at + 4 + length]
                assert len(body) == length and at + 4 + length <= map_at
            yield kind, ident, word >> 24, name, body


def dump(path):
    with open(path, "rb") as file:
        for kind, ident, attributes, name, body in resources(file.read()):
            print(kind.decode("latin-1"), ident, attributes, name.decode("latin-1") or "-", body.hex())


def make(path):
    groups = {}
    for line in sys.stdin:
        kind, ident, attributes, name, *body = line.rstrip("\n").split(" ")
        groups.setdefault(kind.encode("latin-1"), []).append(
            (int(ident), int(attributes), b"" if name == "-" else name.encode("latin-1"),
             bytes.fromhex(body[0] if body else "")))
    area, names, items, lists = b"", b"", b"", b""
    list_at = 2 + 8 * len(groups)
    for kind, entries in groups.items():
        items += struct.pack(">4sHH", kind, len(entries) - 1, list_at + len(lists))
        for ident, attributes, name, body in entries:
            name_at = len(names) if name else 0xFFFF
            names += bytes([len(name)]) + name if name else b""
            lists += struct.pack(">hHII", ident, name_at, attributes << 24 | len(area), 0xDEADBEEF)
            area += struct.pack(">I", len(body)) + body
    types = struct.pack(">h", len(groups) - 1) + items + lists
    length = 28 + len(types) + len(names)
    head = struct.pack(">4I", 256, 256 + len(area), len(area), length)
    table = head + bytes(8) + struct.pack(">HH", 28, 28 + len(types)) + types + names
    with open(path, "wb") as file:
        file.write(head + bytes(240) + area + table)


if __name__ == "__main__":
    {"dump": dump, "make": make}[sys.argv[1]](sys.argv[2])
