#!/usr/bin/env python3
"""table.py FOLDER: prints docs/reliability.md from FOLDER/groups and the results of scripts/prove in FOLDER/results."""
import pathlib
import re
import sys

HEAD = """# Reliability

The long proofs of the provider, and what they have shown. `scripts/prove` writes this file and `tests/prove/results`, one group
at a time: do not edit it. `scripts/prove GROUP` repeats a row. No group has suppressions. `scripts/test` runs a short form of each group
except `soak`, which measures times, and `mutants`, which needs its own build of the sources. The short form of `unload` is the test
`load_cycles`; those of `fuzz` are the tests `fuzz_NAME`.

*Commit* names the sources that ran; a `+` after it stands for uncommitted changes.

| group | runs | findings | what the run has shown | time | commit | command |
|---|---|---|---|---|---|---|
"""


def duration(seconds):
    return f"{seconds} s" if seconds < 120 else f"{round(seconds / 60)} min"


def row(folder, group):
    path = folder / "results" / group
    command = f"`scripts/prove {group}`"
    if not path.exists():
        return f"| {group} | | | not run yet | | | {command} |"
    result = dict(line.split("\t", 1) for line in path.read_text(encoding="utf-8").splitlines())
    runs = f"{int(result['runs']):,}"
    time = duration(int(result["seconds"]))
    return f"| {group} | {runs} | {result['findings']} | {result['shown']} | {time} | {result['commit']} | {command} |"


def main():
    folder = pathlib.Path(sys.argv[1])
    groups = re.search(r"all_groups=\((.*)\)", (folder / "groups").read_text(encoding="utf-8")).group(1).split()
    print(HEAD + "\n".join(row(folder, group) for group in groups))


if __name__ == "__main__":
    main()
