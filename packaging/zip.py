#!/usr/bin/env python3
"""zip.py TIME FOLDER FILE: packs a folder; the same content gives the same bytes. Each file gets TIME, in seconds since 1970."""
import pathlib
import sys
import time
import zipfile


def main():
    moment = max(int(sys.argv[1]), 315532800)  # a zip file cannot store a time before 1980
    folder = pathlib.Path(sys.argv[2])
    with zipfile.ZipFile(sys.argv[3], "w", zipfile.ZIP_DEFLATED, compresslevel=9) as archive:
        for path in sorted(folder.rglob("*")):
            if path.is_file():
                entry = zipfile.ZipInfo(path.relative_to(folder.parent).as_posix(), time.gmtime(moment)[:6])
                entry.compress_type = zipfile.ZIP_DEFLATED
                entry.external_attr = 0o644 << 16
                archive.writestr(entry, path.read_bytes())


main()
