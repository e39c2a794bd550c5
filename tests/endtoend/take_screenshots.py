#!/usr/bin/python3
"""Takes a picture of every screen, light and dark, wide and at the smallest size.

    tests/endtoend/take_screenshots.py PROGRAM FOLDER [FOLDER-TO-MAP]

The folder that is mapped is /usr/share unless another is named.
"""

import json
import os
import sys
import zlib
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
        larkfold.find("Show in File Manager")
        larkfold.screenshot(folder / f"menu-{suffix}.png")
        larkfold.key("Escape")

        larkfold.resize(900, 600)
        larkfold.screenshot(folder / f"result-small-{suffix}.png")


def next_day(program, folder, suffix, dark):
    """The saved scan at the next start, and the start page with what was scanned lately."""
    with Session(dark=dark) as session:
        places = {"Pictures": {"trip/one.jpg": 5_200_000, "trip/two.jpg": 4_100_000, "family.jpg": 2_700_000},
                  "Projects": {"site/index.html": 40_000, "site/film.webm": 88_000_000, "notes/plan.odt": 310_000},
                  "Documents": {"tax/2025.pdf": 1_200_000, "letters/home.odt": 90_000}}
        for place, sizes in places.items():
            files(session.home / place, sizes)
        with session.start(program) as larkfold:
            for place in places:
                if larkfold.has("New Scan", role="push button"):
                    larkfold.find("New Scan", role="push button").click()
                larkfold.scan_folder(session.home / place)
            larkfold.find("New Scan", role="push button").click()
            larkfold.find("Recent Scans")
            larkfold.resize(1280, 800)
            larkfold.move_to(0, 0)
            larkfold.screenshot(folder / f"recent-{suffix}.png")
            larkfold.terminate()
        files(session.home / "Documents", {"new/scan.pdf": 640_000})
        with session.start(program) as larkfold:
            larkfold.resize(1280, 800)
            larkfold.wait_for_map()
            larkfold.find(contains="Changed folders (1)")
            larkfold.find("Refresh", role="push button").click()
            larkfold.find("Current folder", role="menu item")
            larkfold.move_to(0, 0)
            larkfold.screenshot(folder / f"refresh-{suffix}.png")
            larkfold.key("Escape")
            larkfold.find("Forget saved scan…", role="push button").click()
            larkfold.find("Forget saved scan?")
            larkfold.screenshot(folder / f"forget-{suffix}.png")


def files(folder, sizes):
    """Files of those sizes below the folder; their room is taken and nothing is written."""
    for name, size in sizes.items():
        path = folder / name
        path.parent.mkdir(parents=True, exist_ok=True)
        with path.open("wb") as file:
            os.posix_fallocate(file.fileno(), 0, size)


def recorded(source, finished, items, permanent=False, before=None, after=None):
    """An operation as the history keeps it; `finished` counts seconds from 2001."""
    return {"id": f"00000000-0000-4000-8000-{finished:012d}", "startedAt": finished - 3, "finishedAt": finished,
            "source": source, "permanent": permanent, "items": items,
            "volumes": [] if before is None else [{"path": "/", "before": before, "after": after}]}


def earlier_removals():
    trash = "/home/anna/.local/share/Trash/files"
    return [
        recorded("Disk analysis", 816_000_000, [
            {"originalPath": "/home/anna/Videos/2024/summer-trip-raw-footage.mov", "logicalBytes": 4_831_000_000,
             "trashPath": f"{trash}/summer-trip-raw-footage.mov"},
            {"originalPath": "/home/anna/Downloads/installer.iso", "logicalBytes": 2_140_000_000,
             "trashPath": f"{trash}/installer.iso"},
            {"originalPath": "/home/anna/.ssh/known_hosts",
             "error": "This path is protected or outside the selected folder. Scan again before deleting."}],
                 before=96_000_000_000, after=96_000_000_000),
        recorded("System cleanup", 815_300_000, [
            {"originalPath": "/home/anna/.cache/thumbnails", "logicalBytes": 311_000_000}], True,
                 before=95_600_000_000, after=95_911_000_000),
    ]


def mark(larkfold, name):
    row = next(row for row in larkfold.find_all(role="list item", inside="list") if row.name.startswith(name + ","))
    row.click(modifier="ctrl")


def small_and_usual(larkfold, folder, name, suffix):
    for size, width, height in (("-small", 900, 600), ("", 1280, 800)):
        larkfold.resize(width, height)
        larkfold.screenshot(folder / f"{name}{size}-{suffix}.png")


def cleanup(program, folder, suffix, dark):
    """The way of a removal, and the history with others before it."""
    with Session(dark=dark) as session:
        home = session.home
        files(home / "Projects", {"holiday-2025-master.mov": 149_000_000, "backup-march.tar.xz": 62_000_000,
                                  "atlas/old-build/objects.bin": 31_200_000, "atlas/sources/map.cpp": 4_100_000,
                                  "notes.pdf": 8_200_000, "photos/cover.png": 18_400_000})
        history = home / ".local/share/Larkfold/cleanup-history.json"
        history.parent.mkdir(parents=True)
        history.write_text(json.dumps(earlier_removals()), encoding="utf-8")
        with session.start(program) as larkfold:
            larkfold.resize(1280, 800)
            larkfold.scan_folder(home / "Projects")
            for name in ("holiday-2025-master.mov", "backup-march.tar.xz", "atlas"):
                mark(larkfold, name)
            larkfold.find(contains="3 items", role="panel")
            larkfold.move_to(0, 0)
            larkfold.screenshot(folder / f"marked-{suffix}.png")
            review(larkfold, folder, suffix)
            larkfold.find("View history", role="push button")
            larkfold.move_to(0, 0)
            small_and_usual(larkfold, folder, "banner", suffix)
            larkfold.find("View history", role="push button").press()
            larkfold.find(contains="succeeded", role="list item")
            larkfold.find("Close", role="push button").press()
            past_removals(larkfold, folder, suffix)
        history.write_text("damaged", encoding="utf-8")
        with session.start(program) as larkfold:
            larkfold.resize(1280, 800)
            larkfold.find(contains="History could not be read")
            larkfold.screenshot(folder / f"history-error-{suffix}.png")


def journal_line(fields):
    """A line of a removal's journal; see docs/removal-journal-format.md."""
    text = json.dumps(fields, separators=(",", ":"))
    return f"{zlib.crc32(text.encode()):08x} {text}\n"


def interrupted_removal(program, folder, suffix, dark):
    """What the program asks after it ended while it was removing a folder for good."""
    with Session(dark=dark) as session:
        item = session.home / "Projects/holiday-2025"
        aside = item.parent / ".larkfold-removing-0"
        files(item, {"master.mov": 4_000_000})
        values = item.stat()
        identity = {"volume": values.st_dev, "file": values.st_ino}
        data = session.home / ".local/share/Larkfold"
        data.mkdir(parents=True)
        (data / "cleanup-journal-0.jsonl").write_text("".join(map(journal_line, [
            {"version": 1, "id": "4B1E36E2-0A1C-4B2E-9E52-6C0F5D6D2F01", "startedAt": 785692800.0, "source": "Disk analysis",
             "permanent": True, "volumes": [], "trashes": [], "items": 1},
            {"path": str(item), **identity, "staging": aside.name},
            {"event": "move", "when": 785692800.5, "item": 0, "from": str(item), **identity, "to": str(aside / item.name)},
        ])), encoding="utf-8")
        aside.mkdir(mode=0o700)
        item.rename(aside / item.name)
        with session.start(program) as larkfold:
            larkfold.find("A removal was interrupted")
            small_and_usual(larkfold, folder, "interrupted-removal", suffix)
            larkfold.find("Restore", role="push button", inside="dialog").press()
            larkfold.find("The item is back")
            larkfold.screenshot(folder / f"interrupted-removal-restored-{suffix}.png")


def review(larkfold, folder, suffix):
    larkfold.key("Delete")
    larkfold.find("Review cleanup")
    small_and_usual(larkfold, folder, "review", suffix)
    switch = larkfold.find("Permanently delete instead of moving to Trash")
    switch.press()
    larkfold.find("Review permanent deletion…", role="push button").press()
    larkfold.find("Permanently delete 3 items?")
    larkfold.screenshot(folder / f"permanent-{suffix}.png")
    larkfold.key("Escape")
    larkfold.wait(lambda: not larkfold.has("Permanently delete 3 items?"), "the review")
    switch.press()
    larkfold.find("Move to Trash", role="push button").press()


def past_removals(larkfold, folder, suffix):
    larkfold.key("Home", "Left", "Down", "Right")
    larkfold.find(contains="/home/anna/.ssh/known_hosts", role="list item")
    small_and_usual(larkfold, folder, "history", suffix)
    larkfold.find("Locate in Trash", role="push button").press()
    larkfold.find(contains="no longer at its recorded Trash location")
    larkfold.screenshot(folder / f"history-moved-{suffix}.png")
    larkfold.find("Clear history", role="push button").press()
    larkfold.find("Clear cleanup history?")
    larkfold.screenshot(folder / f"history-clear-{suffix}.png")
    larkfold.find("Clear history", role="push button", inside="dialog").press()
    larkfold.find("No cleanup operations yet")
    larkfold.screenshot(folder / f"history-empty-{suffix}.png")


def settings(program, folder, suffix, dark):
    """The windows beside the main one."""
    with Session(dark=dark) as session, session.start(program) as larkfold:
        larkfold.find("Scan Folder", role="push button")
        larkfold.key("ctrl+comma")
        larkfold.find("Show Onboarding Again", role="push button")
        with larkfold.in_window("Settings"):
            larkfold.screenshot(folder / f"settings-{suffix}.png")
            larkfold.find("Privacy Policy", role="push button").press()
            larkfold.find("What Is Not Collected")
        with larkfold.in_window("Privacy Policy"):
            larkfold.screenshot(folder / f"privacy-{suffix}.png")


SCREENS = {"next_day": next_day, "first_run": first_run, "main_window": main_window, "cleanup": cleanup,
           "interrupted_removal": interrupted_removal, "settings": settings}


def main():
    program, folder, *rest = sys.argv[1:]
    folder = Path(folder)
    mapped = rest[0] if rest else "/usr/share"
    # One session for each process: the bindings connect to one accessibility bus and stay there.
    for suffix, dark in (("light", False), ("dark", True)):
        for screens in SCREENS:
            arguments = (mapped,) if screens == "main_window" else ()
            run_apart(screens, program, folder, suffix, dark, *arguments)
    for picture in sorted(folder.glob("*.png")):
        print(picture)


def run_apart(screens, program, folder, suffix, dark, *arguments):
    child = os.fork()
    if child == 0:
        status = 1
        try:
            SCREENS[screens](program, folder, suffix, dark, *arguments)
            status = 0
        except BaseException as error:  # the child must not go on with what its parent does
            print(f"{screens}, {suffix}: {error}", file=sys.stderr)
        finally:
            os._exit(status)
    if os.waitpid(child, 0)[1] != 0:
        raise SystemExit(1)


if __name__ == "__main__":
    main()
