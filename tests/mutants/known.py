"""The list of changes that cannot be observed: tests/mutants/survivors. An entry is three lines or more:

    src/folder/File.cpp
    - the line, without the spaces before it
    + the line as it was changed, or *: any change of that line
      why nobody can see it

A second line that begins with + belongs to the same reason. Changes are known by the text of their lines, not by numbers."""
import re


def entries(text):
    """Of each entry: its file, the line before, the lines after, and its reason."""
    for block in re.split(r"\n\s*\n", text):
        lines = [line for line in block.splitlines() if line and not line.startswith("#")]
        if not lines:
            continue
        before = [line[2:] for line in lines if line.startswith("- ")]
        after = [line[2:] for line in lines if line.startswith("+")]
        reason = " ".join(line.strip() for line in lines[1:] if line.startswith("  "))
        if len(before) != 1 or not after or not reason:
            raise ValueError(f"survivors: an entry needs one line -, a line + and a reason: {lines[0]}")
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
