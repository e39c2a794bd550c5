#!/usr/bin/python3
"""Takes a picture of every screen, light and dark, wide and at the smallest size.

    tests/endtoend/take_screenshots.py PROGRAM FOLDER [FOLDER-TO-MAP]

The folder that is mapped is /usr/share unless another is named.
"""

import os
import sys
from pathlib import Path

from larkfold_driver import Session


def first_run(program, folder, suffix, dark):
    with Session(settings={}, dark=dark) as session, session.start(program) as larkfold:
        larkfold.resize(1280, 800)
        for page in range(1, 5):
            larkfold.screenshot(folder / f"welcome-{page}-{suffix}.png")
            if page < 4:
                following = larkfold.find("Next", role="push button")
                before = larkfold.texts()
                following.click()
                larkfold.wait(lambda before=before: larkfold.texts() != before, "the next page")


def main_window(program, folder, suffix, dark, mapped):
    with Session(dark=dark) as session, session.start(program) as larkfold:
        for name in ("Desktop", "Documents", "Downloads", "Music", "Pictures", "Videos"):
            (session.home / name).mkdir()
        larkfold.resize(1280, 800)
        larkfold.find("Scan Folder", role="push button")
        larkfold.screenshot(folder / f"start-{suffix}.png")
        larkfold.find("Scan Folder", role="push button").click()
        larkfold.move_to(0, 0)
        larkfold.find(role="dialog")
        larkfold.type_path("/usr/share")
        larkfold.find("Folder to open: /usr/share")
        larkfold.key("Down", "Down", "Down")
        larkfold.screenshot(folder / f"chooser-{suffix}.png")
        larkfold.choose_folder(mapped)
        larkfold.wait(lambda: larkfold.has("Cancel", role="push button") or larkfold.totals(), "the scan's beginning")
        if not larkfold.totals():
            (folder / f"scanning-{suffix}.png").write_bytes(larkfold.picture())
        larkfold.wait_for_map(600)
        larkfold.move_to(0, 0)
        larkfold.screenshot(folder / f"result-{suffix}.png")

        larkfold.find("Show color legend").click()
        larkfold.find("Legend", role="panel")
        larkfold.screenshot(folder / f"legend-{suffix}.png")
        larkfold.find("Show color legend").click()

        rows = larkfold.find_all(role="list item", inside="list")
        rows[0].click(button=3)
        larkfold.find("Show in Finder")
        larkfold.screenshot(folder / f"menu-{suffix}.png")
        larkfold.key("Escape")

        larkfold.resize(900, 600)
        larkfold.screenshot(folder / f"result-small-{suffix}.png")


def main():
    program, folder, *rest = sys.argv[1:]
    folder = Path(folder)
    mapped = rest[0] if rest else "/usr/share"
    # One session for each process: the bindings connect to one accessibility bus and stay there.
    for suffix, dark in (("light", False), ("dark", True)):
        for screens in ("first_run", "main_window"):
            run_apart(screens, program, folder, suffix, dark, mapped)
    for picture in sorted(folder.glob("*.png")):
        print(picture)


def run_apart(screens, program, folder, suffix, dark, mapped):
    child = os.fork()
    if child == 0:
        status = 1
        try:
            if screens == "first_run":
                first_run(program, folder, suffix, dark)
            else:
                main_window(program, folder, suffix, dark, mapped)
            status = 0
        except BaseException as error:  # the child must not go on with what its parent does
            print(f"{screens}, {suffix}: {error}", file=sys.stderr)
        finally:
            os._exit(status)
    if os.waitpid(child, 0)[1] != 0:
        raise SystemExit(1)


if __name__ == "__main__":
    main()
