#!/usr/bin/env python3
"""Writes tiny.exam, the fixture of the exam-file tests, with an implementation
of the format independent of the program's own (struct, hashlib, RC4 here)."""
import hashlib
import struct

PHRASE = b"Practorium item records are enciphered under this fixed phrase. Never change it!!!"
assert len(PHRASE) == 82


def rc4(key, data):
    s = list(range(256))
    j = 0
    for i in range(256):
        j = (j + s[i] + key[i % len(key)]) & 0xFF
        s[i], s[j] = s[j], s[i]
    out, i, j = bytearray(), 0, 0
    for byte in data:
        i = (i + 1) & 0xFF
        j = (j + s[i]) & 0xFF
        s[i], s[j] = s[j], s[i]
        out.append(byte ^ s[(s[i] + s[j]) & 0xFF])
    return bytes(out)


KEY = hashlib.md5(PHRASE).digest()[:5]


def text(s):
    b = s.encode("cp1252")
    return struct.pack("<i", len(b)) + b


def secure(s):
    b = s.encode("cp1252")
    return struct.pack("<i", len(b)) + rc4(KEY, b)


def boolean(v):
    return b"\xff\xff\x00\x00" if v else b"\x00\x00\x00\x00"


def question(number, solutions, hint, exhibit, problem, explanation, choices):
    out = struct.pack("<hh", number, solutions) + boolean(hint) + text(exhibit)
    out += secure(problem) + secure(explanation) + struct.pack("<i", len(choices))
    for n, (ok, statement) in enumerate(choices, 1):
        out += struct.pack("<h", n) + boolean(ok) + secure(statement)
    return out


reserved = b"\x01\x02\x03"
exam = struct.pack("<i", len(reserved)) + reserved + text("TINY-1") + text("Tiny exam")
exam += struct.pack("<hhh", 1000, 700, 30) + struct.pack("<i", 3)
exam += question(1, 1, False, "", "Which port does SSH use?", "  SSH listens on TCP port 22.  ",
                 [(False, "21"), (True, "22"), (False, "23")])
exam += question(2, 2, True, "net.gif", "Pick two private ranges.", "",
                 [(True, "10.0.0.0/8"), (False, "8.8.8.0/24"), (True, "192.168.0.0/16")])
exam += question(3, 0, False, "", "Café – no key", "", [])
with open("tiny.exam", "wb") as f:
    f.write(exam)
print(len(exam), "bytes")
