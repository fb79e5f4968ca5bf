#!/usr/bin/env python3
"""analyze.py COMPILE_COMMANDS: runs gcc's static analysis (-fanalyzer) on each source of the product, with its compile command.

Prints a line for each: "ok"; "FOUND" with gcc's output; "EXPLAINED" with the reasons when EXPLAINED has all that gcc found.

gcc 12 analyses C++ as if it were C. It assumes that operator new may return null, and that an object that is returned by value
was never written. So two of its checks report correct C++, and are off: NOT_FOR_CXX.
"""
import concurrent.futures
import json
import os
import pathlib
import re
import shlex
import subprocess
import sys

TREE = f"{pathlib.Path(__file__).resolve().parents[2]}/"
PRODUCT = ("/src/", "/apps/", "/adapter/", "/pkcs11/", "/softtoken/", "/bridge/", "/posix/")
NOT_FOR_CXX = ["-Wno-analyzer-possible-null-dereference", "-Wno-analyzer-use-of-uninitialized-value"]
PROBLEM = re.compile(": (?:fatal error|error|warning): ")
FINDING = re.compile(rf"{re.escape(TREE)}(\S+?):\d+:\d+: (?:error|warning): .*\[-W(?:error=)?(analyzer-[\w-]+)\]$")
EXPLAINED = {
    ("src/cryptoki/Attribute.cpp", "analyzer-malloc-leak"): "gcc assumes that operator new returned null for the counter of "
    "a boost::shared_array, so that nothing would free the bytes, but operator new throws",
    ("apps/telvotool/Extensions.h", "analyzer-null-dereference"): "gcc assumes that operator new returned null for the new memory "
    "of a growing std::vector, but operator new throws",
}


def is_ours(file):
    return file.startswith(TREE) and any(folder in file for folder in PRODUCT) and "/tests/" not in file and file.endswith((".cpp", ".cxx"))


def analyze(entry):
    """gcc's output for one source if it found something, or an empty string."""
    words = shlex.split(entry["command"])
    words[words.index("-o") + 1] = os.devnull
    words[words.index("-c")] = "-S"
    command = [word for word in words if "ccache" not in word and not word.startswith("CCACHE_") and word != "env"]
    run = subprocess.run(command + ["-fanalyzer", *NOT_FOR_CXX], cwd=entry["directory"], capture_output=True, text=True, check=False)
    return run.stderr if run.returncode or "-Wanalyzer" in run.stderr else ""


def verdict(output):
    """The first word of a source's line, and the text at its end."""
    if not output:
        return "ok   ", ""
    findings = [FINDING.match(line) for line in output.splitlines() if PROBLEM.search(line)]
    if findings and all(finding and finding.groups() in EXPLAINED for finding in findings):
        return "EXPLAINED", "; ".join(sorted({EXPLAINED[finding.groups()] for finding in findings}))
    return "FOUND", output


def main():
    entries = [entry for entry in json.loads(pathlib.Path(sys.argv[1]).read_text()) if is_ours(entry["file"])]
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        runs = {pool.submit(analyze, entry): entry["file"] for entry in entries}
        for run in concurrent.futures.as_completed(runs):
            file = pathlib.Path(runs[run])
            name = file.relative_to(next(parent for parent in file.parents if (parent / "CMakePresets.json").exists()))
            word, reason = verdict(run.result())
            print(word, f"-fanalyzer {name}", reason, flush=True)


main()
