"""Prints which branches of the given files were taken, from what llvm-cov exports; exit code 1 where one was not.

    branch-coverage.py EXPORT FILE...

Each branch is a condition with two ways out. What the system cannot be made to do may be excused, with a reason, in the
comment at the end of the condition's line or right above it: "// not reached: ...". Excused branches are counted and
printed by themselves; an excuse without a reason, or one for what was taken both ways, is a failure.
"""

import json
import os
import sys

MARK = "// not reached:"


def branches_of(export):
    """By file: each condition's place, and how often it came out true and false, summed over all instances."""
    counts = {}
    for file in export["data"][0]["files"]:
        rows = counts.setdefault(os.path.relpath(file["filename"]), {})
        for line, column, end_line, end_column, true_count, false_count, *_ in file["branches"]:
            row = rows.setdefault((line, column, end_line, end_column), [0, 0])
            row[0] += true_count
            row[1] += false_count
    return counts


def excuse_for(lines, first, last):
    """The line of the mark and its reason, for a condition that stands from line `first` to `last` (from 1)."""
    for at in (first, last):
        if MARK in lines[at - 1]:
            return at, lines[at - 1].split(MARK)[1].strip()
    comment = []
    for at in range(first - 1, 0, -1):
        text = lines[at - 1].strip()
        if not text.startswith("//"):
            break
        comment.insert(0, text.removeprefix("//").strip())
        if text.startswith(MARK):
            comment[0] = text.removeprefix(MARK).strip()
            return at, " ".join(comment).strip()
    return None, None


def judge(path, rows, lines):
    """What is to be printed of a file, and how many branches were taken, are there, are missing and are excused."""
    taken = total = missing = excused = 0
    messages = []
    needed = set()
    for (line, column, end_line, end_column), ways in sorted(rows.items()):
        text = lines[line - 1]
        condition = text[column - 1 : end_column - 1] if line == end_line else text[column - 1 :] + " ..."
        mark, reason = excuse_for(lines, line, end_line)
        for way, count in zip(("true", "false"), ways):
            if count > 0:
                taken += 1
                total += 1
            elif reason:
                needed.add(mark)
                excused += 1
                messages.append(f"  {path}:{line}: “{condition}” is never {way}; excused: {reason}")
            else:
                total += 1
                missing += 1
                messages.append(f"  {path}:{line}: “{condition}” is never {way}")
    for at, text in enumerate(lines, 1):
        if MARK in text and at not in needed:
            missing += 1
            messages.append(f"  {path}:{at}: nothing needs this excuse, or it has no reason")
    return messages, taken, total, missing, excused


def main(arguments):
    with open(arguments[0], encoding="utf-8") as stream:
        counts = branches_of(json.load(stream))
    all_taken = all_total = all_missing = all_excused = 0
    for path in arguments[1:]:
        with open(path, encoding="utf-8") as stream:
            lines = stream.read().split("\n")
        rows = counts.get(path, {})
        if not rows:
            print(f"{path}: nothing was counted")
            all_missing += 1
            continue
        messages, taken, total, missing, excused = judge(path, rows, lines)
        aside = f", {excused} more excused" if excused else ""
        print(f"{path}: {taken} of {total} branches, {100 * taken / max(total, 1):.1f} %{aside}")
        for row in messages:
            print(row)
        all_taken += taken
        all_total += total
        all_missing += missing
        all_excused += excused
    print(f"all: {all_taken} of {all_total} branches, {100 * all_taken / max(all_total, 1):.1f} %; "
          f"{all_excused} branches excused, with reasons")
    return 0 if all_missing == 0 else 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
