"""Prints which branches of the given files were taken, from what llvm-cov exports; exit code 1 where one was not.

    branch-coverage.py EXPORT FILE...

Each branch is a condition with two ways out. A line that holds no test of its own can be left out with a reason, in a
comment at its end: "// not reached: ...". Those are printed too.
"""

import json
import os
import sys

MARK = "// not reached: "


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


def main(arguments):
    with open(arguments[0], encoding="utf-8") as stream:
        counts = branches_of(json.load(stream))
    is_complete = True
    for path in arguments[1:]:
        with open(path, encoding="utf-8") as stream:
            lines = stream.read().split("\n")
        rows = counts.get(path, {})
        if not rows:
            print(f"{path}: nothing was counted")
            is_complete = False
            continue
        taken = total = 0
        missing = []
        for (line, column, end_line, end_column), ways in sorted(rows.items()):
            text = lines[line - 1]
            condition = text[column - 1 : end_column - 1] if line == end_line else text[column - 1 :] + " ..."
            excuse = next((lines[at - 1].split(MARK)[1] for at in (line, end_line) if MARK in lines[at - 1]), None)
            for way, count in zip(("true", "false"), ways):
                if count == 0 and excuse is not None:
                    missing.append(f"  {path}:{line}: “{condition}” is never {way}; left out: {excuse}")
                    continue
                total += 1
                taken += count > 0
                if count == 0:
                    missing.append(f"  {path}:{line}: “{condition}” is never {way}")
                    is_complete = False
        print(f"{path}: {taken} of {total} branches, {100 * taken / max(total, 1):.1f} %")
        for row in missing:
            print(row)
    return 0 if is_complete else 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
