#!/usr/bin/env python3
"""hardening.py COMPILE_COMMANDS OBJDUMP FILE...: checks how the product was compiled, and the contents of its Windows files.

Prints a line for each check, which begins with "ok" or "FOUND". The numbers are those of the Microsoft PE Format,
sections "Optional Header" and "Section Flags".
"""
import json
import pathlib
import re
import struct
import subprocess
import sys

FLAGS = ("-fstack-protector-strong", "-D_FORTIFY_SOURCE=2")
TREE = f"{pathlib.Path(__file__).resolve().parents[2]}/"
PRODUCT = ("/src/", "/apps/", "/adapter/", "/pkcs11/")
CHARACTERISTICS = {0x20: "high-entropy address layout", 0x40: "random address layout", 0x100: "no code in data"}
WRITABLE, EXECUTABLE = 0x80000000, 0x20000000
SYSTEM = {"advapi32", "bcrypt", "comctl32", "crypt32", "gdi32", "kernel32", "msvcrt", "shell32", "user32", "version", "winscard", "ws2_32"}


def report(good, what):
    print("ok   " if good else "FOUND", what)


def compiled_with(database):
    """Checks that each source of the product has the flags, and no flag that takes them back."""
    for entry in json.loads(pathlib.Path(database).read_text()):
        words = entry["command"].split()
        file = entry["file"]
        if not file.startswith(TREE) or "/tests/" in file or not any(folder in file for folder in PRODUCT):
            continue
        if not words[0].endswith(("gcc-posix", "g++-posix")) and "g++-posix" not in entry["command"]:
            continue  # a resource script
        taken_back = {"-fno-stack-protector", "-U_FORTIFY_SOURCE", "-O0"} & set(words)
        good = all(flag in words for flag in FLAGS) and not taken_back
        report(good, f"{pathlib.Path(entry['file']).name} is compiled with {' '.join(FLAGS)}")


class Image:
    """The headers of a PE file."""

    def __init__(self, path):
        self.bytes = pathlib.Path(path).read_bytes()
        header = self.number("<I", 0x3C)
        assert self.bytes[header:header + 4] == b"PE\0\0", path
        optional = header + 24
        self.base = self.number("<Q", optional + 24)
        self.characteristics = self.number("<H", optional + 70)
        table = optional + self.number("<H", header + 20)
        self.sections = [self.section(table + 40 * i) for i in range(self.number("<H", header + 6))]

    def number(self, form, offset):
        return struct.unpack_from(form, self.bytes, offset)[0]

    def section(self, offset):
        return self.bytes[offset:offset + 8].rstrip(b"\0").decode(), self.number("<I", offset + 36)


def check_image(objdump, path):
    name = pathlib.Path(path).name
    image = Image(path)
    for bit, words in CHARACTERISTICS.items():
        report(image.characteristics & bit, f"{name}: {words}")
    report(image.base > 0xFFFFFFFF, f"{name}: its base is above 4 GiB, as high-entropy address layout needs")
    for section, flags in image.sections:
        report(not (flags & WRITABLE and flags & EXECUTABLE), f"{name}: {section} is not writable and executable")
    headers = subprocess.run([objdump, "-p", path], capture_output=True, text=True, check=True).stdout
    for library in re.findall(r"DLL Name: (.*)\.dll", headers, re.IGNORECASE):
        report(library.lower() in SYSTEM, f"{name} imports {library}, a library of the system")
    if name.endswith(".dll"):
        report("CryptAcquireContext" not in headers, f"{name} does not import CryptAcquireContext, which may load telvocsp.dll")
    code = subprocess.run([objdump, "-d", path], capture_output=True, text=True, check=True).stdout
    guarded = len(re.findall(r"call .*<__stack_chk_fail>", code))
    report(guarded > 100, f"{name}: {'more than 100' if guarded > 100 else guarded} functions check their stack")


def main():
    database, objdump, *files = sys.argv[1:]
    compiled_with(database)
    for path in files:
        check_image(objdump, path)


main()
