#!/usr/bin/env python3
"""Stored fuzz inputs: one text file for each target here, a folder of files for libFuzzer.

    corpus.py unpack TARGET FOLDER    writes each input of corpus/TARGET.txt to a file of FOLDER
    corpus.py pack TARGET FOLDER      makes corpus/TARGET.txt of the files of FOLDER

A line holds the bytes of one input in hexadecimal digits. An input that was written by hand has its name
behind them; the others are files under the SHA-1 of their bytes, as libFuzzer names them.
"""

import hashlib
import re
import sys
from pathlib import Path

CORPUS = Path(__file__).resolve().parent / "corpus"


def read_lines(target):
    for line in (CORPUS / f"{target}.txt").read_text().splitlines():
        digits, _, name = line.partition(" # ")
        data = bytes.fromhex(digits)
        yield data, name or hashlib.sha1(data).hexdigest()


def unpack(target, folder):
    folder.mkdir(parents=True, exist_ok=True)
    for data, name in read_lines(target):
        (folder / name).write_bytes(data)


def pack(target, folder):
    named = []
    found = []
    for file in sorted(folder.iterdir()):
        digits = file.read_bytes().hex()
        if re.fullmatch("[0-9a-f]{40}", file.name):
            found.append(digits)
        else:
            named.append(f"{digits} # {file.name}")
    found.sort(key=lambda digits: (len(digits), digits))
    (CORPUS / f"{target}.txt").write_text("".join(line + "\n" for line in named + found))


def main():
    actions = {"pack": pack, "unpack": unpack}
    if len(sys.argv) != 4 or sys.argv[1] not in actions:
        sys.exit(__doc__)
    actions[sys.argv[1]](sys.argv[2], Path(sys.argv[3]))


if __name__ == "__main__":
    main()
