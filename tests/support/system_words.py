"""The words that only another system's texts have, for tests over everything that a user may read here."""

import re

_FOREIGN = re.compile(r"\b(?:Mac|macOS|Finder|System Settings|Cmd|APFS|Disk Utility|Put Back)\b|⌘|\w\.app\b")


def foreign_words(text):
    """The words in the text that name another system than this one."""
    return _FOREIGN.findall(text)
