#!/usr/bin/env python3
"""table.py ANSWERS [--check]: writes docs/compatibility.md from the answers of compatibility_rows and from the file reasons.

With --check it writes nothing, and fails when the committed file differs. In both forms it fails when the two answers of a row
differ without a reason, or agree although there is a reason.
"""
import difflib
import pathlib
import re
import sys

HERE = pathlib.Path(__file__).parent
DOCUMENT = HERE.parent.parent / "docs" / "compatibility.md"
FEWEST_ROWS = 300
SUBJECTS = {
    "context": "Contexts",
    "release": "Releasing contexts",
    "hash": "Hashes",
    "provider": "Parameters of the provider",
    "list": "Lists",
    "random": "Random numbers",
    "sign": "Signing",
    "verify": "Verifying",
    "key": "Keys",
    "derive": "Derived keys",
    "duplicate": "Duplicates",
    "export": "Exporting keys",
    "import": "Importing keys",
    "encrypt": "Encryption",
    "decrypt": "Decryption",
    "param": "Parameters of keys",
    "certificate": "Certificates",
    "message": "Messages",
    "pin": "Without the PIN",
}
HEAD = """# What programs may expect

The answers to calls of CryptoAPI, in {rows} rows. `tests/compat/compare.sh build/windows` writes this file;
[testing.md](testing.md#compatibility-testscompat) describes how. Do not edit it. The test `compatibility` fails when it is no longer true.

- *documentation*: what Microsoft publishes about the call, in a few words.
- *platform*: the platform's own software provider, of type `PROV_RSA_AES`, in Wine 8. Windows itself was not tested.
- *this provider*: on the software token, in the same run. The PIN was set with `PP_KEYEXCHANGE_PIN`, except in the rows "Without the PIN".
  No window could be shown.
- *result*: the same; or different, on purpose, with the reason and what to do instead.

`FALSE` is followed by the last error. A name in brackets after it is an earlier call, which failed before the one in the
row. Only the first four bytes of a value are shown.

| answers | rows |
|---|---|
| the same | {same} |
| differ on purpose | {differ} |

{both} of the answers that are the same are not what the documentation says; they have a note. {followed} of those that differ are what the
documentation says; there the platform's provider does not follow it.

[programming.md](programming.md) describes by subject what matters to programmers.
"""


def give_up(problems):
    sys.exit("\n".join(f"FAILED: {problem}" for problem in problems))


def read_rows(path):
    rows = []
    for line in path.read_text(encoding="utf-8").splitlines():
        cells = line.split("\t")
        if len(cells) != 5:
            give_up([f"the row {cells[0]} has no answers"])
        rows.append(dict(zip(("id", "call", "documented", "platform", "this"), cells)))
    return rows


def read_reasons(path):
    """The blocks of the file: [NAME], then `why`, `instead` and `rows`. A block without `instead` is a note."""
    blocks = {}
    for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
        if not line or line.startswith("#"):
            continue
        name = re.fullmatch(r"\[([a-z0-9-]+)\]", line)
        if name:
            block = blocks.setdefault(name[1], {"rows": []})
            continue
        key, _, value = line.partition(": ")
        if key == "rows":
            block["rows"] += value.split()
        elif key in ("title", "why", "instead", "documented"):
            block[key] = value
        else:
            give_up([f"{path}:{number}: {line}"])
    return blocks


def follows(documented, answer):
    """Whether an answer begins like one of the documented ones."""
    return any(answer == one or answer.startswith((one + ",", one + " (")) for one in documented.split(";")[0].split(" or "))


def by_row(blocks, problems):
    found = {}
    for name, block in blocks.items():
        for row in block["rows"]:
            if row in found:
                problems.append(f"{row} has two reasons: {found[row]} and {name}")
            found[row] = name
    return found


def judge(row, name, blocks):
    """The last cell of a row, or what is wrong with it."""
    note = name and "instead" not in blocks[name]
    if row["platform"] == row["this"]:
        if follows(row["documented"], row["this"]):
            return ("same", None) if not name else (None, f"{row['id']} needs no reason ({name})")
        if not note:
            return None, f"{row['id']} is the same, but not as documented, and has no note: {row['documented']} / {row['this']}"
        return f"same; [note](#{name})", None
    documented = follows(row["documented"], row["this"]) and not follows(row["documented"], row["platform"])
    if name and "documented" in blocks[name] and not documented:
        return None, f"{row['id']} does not show that this provider alone follows the documentation ({name})"
    if not name or note:
        return None, f"{row['id']} is a defect: {row['documented']} / {row['platform']} / {row['this']}"
    return f"[differs on purpose](#{name})", None


def judge_all(rows, blocks):
    problems = []
    reasons = by_row(blocks, problems)
    ids = [row["id"] for row in rows]
    problems += [f"{row}: there is no such row" for row in reasons if row not in ids]
    problems += [f"{row}: two rows have this id" for row in sorted(set(ids)) if ids.count(row) > 1]
    for row in rows:
        row["verdict"], problem = judge(row, reasons.get(row["id"]), blocks)
        if problem:
            problems.append(problem)
    if len(rows) < FEWEST_ROWS:
        problems.append(f"there are {len(rows)} rows")
    if problems:
        give_up(problems)


def count(rows, blocks):
    same = [row for row in rows if row["platform"] == row["this"]]
    differ = [row for row in rows if row["platform"] != row["this"]]
    return {
        "rows": len(rows),
        "same": len(same),
        "differ": len(differ),
        "both": sum(row["verdict"] != "same" for row in same),
        "followed": sum(follows(row["documented"], row["this"]) and not follows(row["documented"], row["platform"]) for row in differ),
    }


def cell(text):
    return text.replace("|", "\\|")


def print_rows(rows):
    lines = []
    for subject, title in SUBJECTS.items():
        lines += ["", f"## {title}", "", "| call | documentation | platform | this provider | result |", "|---|---|---|---|---|"]
        for row in rows:
            if row["id"].split(".")[0] == subject:
                lines.append("| " + " | ".join(cell(row[key]) for key in ("call", "documented", "platform", "this", "verdict")) + " |")
    return lines


def print_reasons(blocks):
    differences = [(name, block) for name, block in blocks.items() if "instead" in block]
    notes = [(name, block) for name, block in blocks.items() if "instead" not in block]
    lines = ["", "## Reasons", "", "Why the answers differ, and what to do instead. *Required* is what existing applications and cards rely on: it must stay.", ""]
    for name, block in differences:
        lines += [f'- <a id="{name}"></a>**{block["title"]}** {block["why"]} *Instead:* {block["instead"]}']
    lines += ["", "## Notes", "", "Why both answers differ from the documentation.", ""]
    lines += [f'- <a id="{name}"></a>**{block["title"]}** {block["why"]}' for name, block in notes]
    return lines


def main():
    rows = read_rows(pathlib.Path(sys.argv[1]))
    blocks = read_reasons(HERE / "reasons")
    judge_all(rows, blocks)
    strangers = {row["id"].split(".")[0] for row in rows} - set(SUBJECTS)
    if strangers:
        give_up([f"no title for {', '.join(strangers)}"])
    counts = count(rows, blocks)
    text = HEAD.format(**counts) + "\n".join(print_rows(rows) + print_reasons(blocks)) + "\n"
    print("{rows} rows: {same} the same, {differ} differ on purpose".format(**counts))
    if "--check" not in sys.argv:
        DOCUMENT.write_text(text, encoding="utf-8")
        return
    committed = DOCUMENT.read_text(encoding="utf-8")
    if committed != text:
        sys.stdout.writelines(difflib.unified_diff(committed.splitlines(True), text.splitlines(True), str(DOCUMENT), "as it is now", n=0))
        give_up(["docs/compatibility.md is no longer true; tests/compat/compare.sh build/windows rewrites it"])


main()
