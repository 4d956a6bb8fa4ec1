#!/usr/bin/env python3
"""Stored inputs as files for the fuzzer, and back.

    inputs.py unpack inputs/NAME.txt FOLDER
    inputs.py pack FOLDER inputs/NAME.txt    adds what is new, and keeps comments
"""

import hashlib
import re
import sys
from pathlib import Path


def escape(data):
    plain = lambda byte: 0x20 <= byte < 0x7F and byte != 0x5C
    text = "".join(chr(byte) if plain(byte) else f"\\x{byte:02x}" for byte in data)
    return "\\x23" + text[1:] if text.startswith("#") else text


def unescape(line):
    return re.sub(rb"\\x(..)", lambda match: bytes([int(match[1], 16)]), line.encode())


def stored(path):
    lines = path.read_text().split("\n")[:-1] if path.exists() else []
    return [unescape(line) for line in lines if not line.startswith("#")]


def unpack(path, folder):
    folder.mkdir(parents=True, exist_ok=True)
    for data in stored(path):
        (folder / hashlib.sha1(data).hexdigest()).write_bytes(data)


def pack(folder, path):
    known = set(stored(path))
    new = {file.read_bytes() for file in folder.iterdir()} - known
    with path.open("a") as file:
        for data in sorted(new, key=lambda data: (len(data), data)):
            file.write(escape(data) + "\n")


if __name__ == "__main__":
    {"unpack": unpack, "pack": pack}[sys.argv[1]](Path(sys.argv[2]), Path(sys.argv[3]))
