#!/usr/bin/env python3
"""spdx.py VERSION TIME FOLDER: prints what is linked into the programs in FOLDER, as an SPDX 2.3 document (tag-value).

Versions are those of the Debian packages that are installed. TIME is in seconds since 1970.
"""
import datetime
import hashlib
import pathlib
import subprocess
import sys

# Debian package, name, licence, programs that contain it, remark.
PARTS = [
    ("g++-mingw-w64-x86-64-posix", "libstdc++ and libgcc", "GPL-3.0-or-later WITH GCC-exception-3.1", "all", ""),
    ("mingw-w64-x86-64-dev", "MinGW-w64 runtime and winpthreads", "ZPL-2.1 AND MIT AND BSD-3-Clause", "all",
     "The runtime has parts in the public domain and under other permissive licences; the package's copyright file lists them."),
    ("libboost-dev", "Boost, headers", "BSL-1.0", "all", ""),
    ("libp11-kit-dev", "the PKCS #11 header of p11-kit", "BSD-3-Clause", "all", ""),
    ("libgcrypt-mingw-w64-dev", "libgcrypt", "LGPL-2.1-or-later", "adapter",
     "Linked statically. docs/releasing.md says what that asks of whoever hands the adapter out."),
    ("libgpg-error-mingw-w64-dev", "libgpg-error", "LGPL-2.1-or-later", "adapter", "Linked statically, as libgcrypt."),
    ("nsis", "the installer's own program (NSIS)", "Zlib", "installer", ""),
]
PROGRAMS = {"provider": "telvocsp.dll", "telvotool": "telvotool.exe", "adapter": "adapter/telvopkcs11.dll"}


def installed(package):
    return subprocess.run(["dpkg-query", "-W", "-f=${Version}", package], capture_output=True, text=True, check=True).stdout


def package(identifier, name, version, licence, remark):
    print(f"\n##### {name}\n\nPackageName: {name}\nSPDXID: SPDXRef-{identifier}\nPackageVersion: {version}")
    print("PackageDownloadLocation: NOASSERTION\nFilesAnalyzed: false")
    print(f"PackageLicenseConcluded: {licence}\nPackageLicenseDeclared: {licence}\nPackageCopyrightText: NOASSERTION")
    if remark:
        print(f"PackageComment: <text>{remark}</text>")


def main():
    version, moment, folder = sys.argv[1], int(sys.argv[2]), pathlib.Path(sys.argv[3])
    created = datetime.datetime.fromtimestamp(moment, datetime.timezone.utc).strftime("%Y-%m-%dT%H:%M:%SZ")
    sums = {name: hashlib.sha256((folder / file).read_bytes()).hexdigest() for name, file in PROGRAMS.items()}
    print("SPDXVersion: SPDX-2.3\nDataLicense: CC0-1.0\nSPDXID: SPDXRef-DOCUMENT")
    print(f"DocumentName: telvocsp-{version}\nDocumentNamespace: urn:telvocsp:{version}:{sums['provider']}")
    print(f"Creator: Tool: scripts-release\nCreated: {created}")
    for name, file in PROGRAMS.items():
        package(name, file, version, "NOASSERTION", "")
        print(f"PackageChecksum: SHA256: {sums[name]}")
    package("installer", f"telvocsp-{version}-setup.exe", version, "NOASSERTION", "")
    for debian, name, licence, _, remark in PARTS:
        package(debian.replace("+", "x"), name, installed(debian), licence, remark)
    print("\n##### What contains what\n")
    for name in (*PROGRAMS, "installer"):
        print(f"Relationship: SPDXRef-DOCUMENT DESCRIBES SPDXRef-{name}")
    for name in PROGRAMS:
        print(f"Relationship: SPDXRef-installer CONTAINS SPDXRef-{name}")
        for debian, _, _, where, _ in PARTS:
            if where in ("all", name):
                print(f"Relationship: SPDXRef-{name} STATIC_LINK SPDXRef-{debian.replace('+', 'x')}")
    print("Relationship: SPDXRef-installer CONTAINS SPDXRef-nsis")


main()
