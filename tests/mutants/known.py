"""The list of changes that cannot be observed: tests/mutants/survivors. An entry is four lines or more:

    src/folder/File.cpp
    - the line, without leading spaces
    + the changed line, or * for any change of the line
      the reason why the change cannot be observed

Further lines that begin with + share the reason. Changes are identified by the text of their lines, not by line numbers."""
import re


def entries(text):
    """Yields the file, the line before, the lines after, and the reason of each entry."""
    for block in re.split(r"\n\s*\n", text):
        lines = [line for line in block.splitlines() if line and not line.startswith("#")]
        if not lines:
            continue
        before = [line[2:] for line in lines if line.startswith("- ")]
        after = [line[2:] for line in lines if line.startswith("+")]
        reason = " ".join(line.strip() for line in lines[1:] if line.startswith("  "))
        if len(before) != 1 or not after or not reason:
            raise ValueError(f"survivors: an entry needs one - line, a + line and a reason: {lines[0]}")
        yield lines[0], before[0], after, reason


class Known:
    def __init__(self, path):
        self.reasons = {}
        for file, before, after, reason in entries(path.read_text(encoding="utf-8") if path.exists() else ""):
            for one in after:
                self.reasons[(file, before, one)] = reason

    def reason(self, change):
        """Why a change cannot be observed, or None."""
        before, after = change.told()
        return self.reasons.get((change.file, before, after)) or self.reasons.get((change.file, before, "*"))
