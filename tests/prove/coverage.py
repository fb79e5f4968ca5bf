#!/usr/bin/env python3
"""coverage.py SUMMARY FOLDER WITHOUT...: prints the percentages of the lines and of the branches in FOLDER that are reached,
from a summary of llvm-cov export. Its subfolders WITHOUT do not count."""
import json
import pathlib
import sys


def counted(files, folder, without):
    for file in files:
        path = pathlib.Path(file["filename"])
        if folder in path.parents and path.relative_to(folder).parts[0] not in without:
            yield file["summary"]


def main():
    summary = json.loads(pathlib.Path(sys.argv[1]).read_text(encoding="utf-8"))
    files = list(counted(summary["data"][0]["files"], pathlib.Path(sys.argv[2]), sys.argv[3:]))
    for what in ("lines", "branches"):
        reached = sum(file[what]["covered"] for file in files)
        print(f"{100 * reached / sum(file[what]['count'] for file in files):.1f}", end=" ")
    print()


if __name__ == "__main__":
    main()
