#!/usr/bin/env python3
"""analyze.py COMPILE_COMMANDS: the static analysis of gcc (-fanalyzer) over each source of the product, as it is compiled.

Prints a line for each: "ok"; "FOUND" with what gcc said; "EXPLAINED" with the reason when gcc found nothing but what EXPLAINED has.

gcc 12 analyses C++ as if it were C. It takes it that operator new may return null, and that an object that is returned by value
was never written. So two of its checks find something wherever C++ does that, and are left out: NOT_FOR_CXX.
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
    ("src/cryptoki/Attribute.cpp", "analyzer-malloc-leak"): "gcc follows a boost::shared_array whose counter is null because "
    "operator new returned null, and then nothing would free the bytes; operator new throws instead",
    ("apps/telvotool/Extensions.h", "analyzer-null-dereference"): "gcc lets a std::vector that grows move its elements to where "
    "operator new returned null; operator new throws instead",
}


def is_ours(file):
    return file.startswith(TREE) and any(folder in file for folder in PRODUCT) and "/tests/" not in file and file.endswith((".cpp", ".cxx"))


def analyze(entry):
    """What gcc has to say of one source."""
    words = shlex.split(entry["command"])
    words[words.index("-o") + 1] = os.devnull
    words[words.index("-c")] = "-S"
    command = [word for word in words if "ccache" not in word and not word.startswith("CCACHE_") and word != "env"]
    run = subprocess.run(command + ["-fanalyzer", *NOT_FOR_CXX], cwd=entry["directory"], capture_output=True, text=True, check=False)
    return run.stderr if run.returncode or "-Wanalyzer" in run.stderr else ""


def verdict(told):
    """The first word of a source's line, and what stands at its end."""
    if not told:
        return "ok   ", ""
    findings = [FINDING.match(line) for line in told.splitlines() if PROBLEM.search(line)]
    if findings and all(finding and finding.groups() in EXPLAINED for finding in findings):
        return "EXPLAINED", "; ".join(sorted({EXPLAINED[finding.groups()] for finding in findings}))
    return "FOUND", told


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
