#!/usr/bin/env python3
"""check_vectors.py OBJDUMP FILE: that no instruction of a program wants a vector of 32 or 64 bytes aligned in memory.

The compiler keeps such vectors on the stack and believes that it aligns them, which on 64-bit Windows it does not do:
the program would end on some calls, on some days.
"""
import re
import subprocess
import sys

VECTOR = re.compile(r"%[yz]mm\d")
ALIGNED = re.compile(r"\bv(?:mov(?:dqa|dqa32|dqa64|aps|apd|ntdq|ntdqa|ntps|ntpd))\s.*\(")


def main():
    objdump, path = sys.argv[1:]
    listing = subprocess.run([objdump, "--disassemble", "--no-show-raw-insn", path], capture_output=True, text=True,
                             check=True).stdout
    vectors = [line for line in listing.splitlines() if VECTOR.search(line)]
    if not vectors:
        sys.exit("%s has no such vectors: there is nothing to check" % path)
    aligned = [line.strip() for line in vectors if ALIGNED.search(line)]
    if aligned:
        sys.exit("%s wants aligned vectors:\n%s" % (path, "\n".join(aligned)))
    print("%d instructions on vectors of 32 or 64 bytes, none wants them aligned in memory" % len(vectors))


if __name__ == "__main__":
    main()
