#!/usr/bin/env python3
"""Prints a digest and the name of each source, for scripts/lint: of all that clang-tidy reads of it and is told.

    scripts/lint-digests.py BUILD OPTIONS SOURCE...

Two runs with the same digest have the same outcome, in any clone. BUILD is a built tree: what a source includes is known
from there. OPTIONS is what else decides the outcome, as one text. A source that the build does not know gets the
digest "-": nothing is known of what it includes.
"""
import hashlib
import json
import os
import subprocess
import sys

ROOT = os.path.realpath(os.path.join(os.path.dirname(__file__), ".."))


def dependencies_by_object(build):
    """What each object file was made from, as absolute paths; precompiled headers are among the objects."""
    told = subprocess.run(["ninja", "-C", build, "-t", "deps"], check=True, capture_output=True, text=True).stdout
    objects, paths = {}, []
    for line in told.splitlines():
        if line.startswith("    "):
            paths.append(os.path.normpath(os.path.join(build, line[4:])))
        elif ": #deps " in line:
            name, state = line.split(": #deps ", 1)
            paths = []
            if state.endswith("(VALID)"):
                objects[os.path.normpath(os.path.join(build, name))] = paths
    return objects


def all_that_is_read(objects, made):
    """With what a precompiled header holds, of which the object's own list may say nothing."""
    read, left = set(), list(objects[made])
    while left:
        path = left.pop()
        if path in read:
            continue
        read.add(path)
        left += objects.get(path, []) or objects.get(path + ".gch", [])
    return [path for path in read if not path.endswith(".gch")]


def main():
    build, options, sources = os.path.realpath(sys.argv[1]), sys.argv[2], sys.argv[3:]
    objects = dependencies_by_object(build)
    commands = {}
    with open(os.path.join(build, "compile_commands.json"), encoding="utf-8") as file:
        for entry in json.load(file):
            commands.setdefault(os.path.realpath(entry["file"]), entry["command"])
    contents = {}

    def content(path):
        if path not in contents:
            with open(path, "rb") as file:
                contents[path] = hashlib.sha256(file.read()).digest()
        return contents[path]

    def here(text):
        return text.replace(ROOT + "/", "./").replace(ROOT, ".")

    for source in sources:
        command = commands.get(os.path.realpath(source), "")
        words = command.split()
        made = os.path.join(build, words[words.index("-o") + 1]) if "-o" in words else ""
        if made not in objects:
            print("-", source)
            continue
        digest = hashlib.sha256()
        for text in [options, here(command)]:
            digest.update(text.encode() + b"\0")
        for path in sorted(all_that_is_read(objects, made), key=here):
            digest.update(here(path).encode() + b"\0" + content(path))
        print(digest.hexdigest(), source)


if __name__ == "__main__":
    main()
