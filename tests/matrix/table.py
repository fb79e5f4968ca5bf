#!/usr/bin/env python3
"""table.py RESULTS: prints docs/modules.md from the results of scripts/matrix in the folder RESULTS.

RESULTS/flows has a line for each flow: its name, the module's function, its description. RESULTS/MODULE has one for each
flow that ran: its name, the outcome, the reason.
"""
import pathlib
import sys

HEAD = """# Modules

What applications do through CryptoAPI, on each module below the adapter. `scripts/matrix` writes this file and
`tests/matrix/results`; [testing.md](testing.md) says how. Do not edit it.

- *works*: the token does it.
- *emulated*: the adapter does it in software.
- *cannot*: neither does it, for the reason in the note.
- *failed*: it should work, and does not.

The last row does not count pulling the card where there is no reader.
"""
NO_READER = "the token is not in a reader"
COLUMNS = {
    "softhsm2": "SoftHSM2",
    "nss": "NSS",
    "piv": "PIV card, OpenSC",
    "opencryptoki": "openCryptoki",
    "tpm2": "tpm2-pkcs11",
    "p11kit": "p11-kit",
    "ykcs11": "PIV card, ykcs11",
}


def rows(path):
    return [line.split("\t") for line in path.read_text(encoding="utf-8").splitlines()]


class Notes:
    """The reasons, each with its number."""

    def __init__(self):
        self.texts = []

    def number(self, text):
        if text not in self.texts:
            self.texts.append(text)
        return self.texts.index(text) + 1


def cell(result, notes):
    if result is None:
        return ""
    outcome, reason = result
    return f"{outcome} ({notes.number(reason)})" if reason else outcome


def total(results):
    counted = [outcome for outcome, reason in results if reason != NO_READER]
    return f"{sum(outcome in ('works', 'emulated') for outcome in counted)} of {len(counted)}"


def main():
    folder = pathlib.Path(sys.argv[1])
    modules = [name for name in COLUMNS if (folder / name).exists()]
    results = {name: {flow: (outcome, reason) for flow, outcome, reason in rows(folder / name)} for name in modules}
    notes = Notes()
    print(HEAD)
    print("| | " + " | ".join(COLUMNS[name] for name in modules) + " |")
    print("|---" * (len(modules) + 1) + "|")
    flows = rows(folder / "flows")
    for flow, _, description in flows:
        print(f"| {description} | " + " | ".join(cell(results[name].get(flow), notes) for name in modules) + " |")
    print("| works or emulated | " + " | ".join(total(results[name].values()) for name in modules) + " |")
    if notes.texts:
        print("\n## Notes\n")
        for number, text in enumerate(notes.texts, 1):
            print(f"{number}. {text[0].upper()}{text[1:].rstrip('.')}.")


main()
