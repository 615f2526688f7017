#!/usr/bin/env python3
"""Checks that the component's rooms depend only downwards.

The rooms and their order come from omx_components/src/README.md (the numbered list); a public header
of include/ belongs to the room of the source with the same name, or to the room named for it in that
README. Given the component's static library (--archive), calls are checked too: a function defined in
one room may call only functions defined in the same room or a lower one, whatever header declared it.
Exit status 1 lists every include or call that runs up from a lower room to a higher one, and every
folder of src/ holding more than the allowed number of sources."""
import argparse
import pathlib
import re
import subprocess
import sys

MAX_SOURCES = 12


def archive_symbols(archive, nm_options):
    """Symbols by archive member: nm -A prints `archive[member]: ... symbol` or `archive:member: ...`."""
    output = subprocess.run(["nm", "-A", "-C", *nm_options, str(archive)], capture_output=True, text=True,
                            check=True).stdout
    symbols = {}
    for line in output.splitlines():
        match = re.match(r"^[^:]*[\[:]([^\]:]+\.o)\]?:\s*(?:[0-9a-f]+)?\s*([A-Za-z])\s+(.*)$", line)
        if match:
            symbols.setdefault(match.group(1), []).append((match.group(2), match.group(3)))
    return symbols


def check_calls(archive, room_of_source, rank):
    problems = []
    defined = {}
    for member, entries in archive_symbols(archive, ["--defined-only"]).items():
        for kind, symbol in entries:
            if kind in "TWVBDR":
                defined.setdefault(symbol, member)
    for member, entries in archive_symbols(archive, ["-u"]).items():
        room = room_of_source.get(member.removesuffix(".o"))
        for _, symbol in entries:
            owner = defined.get(symbol)
            target = room_of_source.get(owner.removesuffix(".o")) if owner else None
            if room and target and rank[target] > rank[room]:
                problems.append(f"{member}: {room}/ calls {symbol.split('(')[0]} of {target}/")
    return sorted(set(problems))


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("root", nargs="?", default=pathlib.Path(__file__).resolve().parents[1])
    parser.add_argument("--archive", help="the component's static library, to check calls as well")
    arguments = parser.parse_args()
    root = pathlib.Path(arguments.root)
    component = root / "omx_components"
    readme = (component / "src" / "README.md").read_text()
    rooms = re.findall(r"^\d+\. `([a-z_]+)/`", readme, re.MULTILINE)
    rank = {room: level for level, room in enumerate(rooms)}
    problems = []

    room_of = {}
    room_of_source = {}
    for room in rooms:
        folder = component / "src" / room
        if not folder.is_dir():
            problems.append(f"room {room}/ is listed but has no folder")
            continue
        sources = [f for f in folder.iterdir() if f.suffix in (".cpp", ".h")]
        if len(sources) > MAX_SOURCES:
            problems.append(f"{room}/ holds {len(sources)} sources, more than {MAX_SOURCES}")
        for source in sources:
            room_of[f"{room}/{source.name}"] = room
            room_of_source[source.name] = room
            room_of[source.stem + ".h"] = room
    for folder in (component / "src").iterdir():
        if folder.is_dir() and folder.name not in rank:
            problems.append(f"src/{folder.name}/ is not a room of the README")
    # Public headers without a source of their name are assigned in the README: `header.h`: room.
    for header, room in re.findall(r"`(zvx_[a-z0-9_]+\.h)` belongs to `([a-z_]+)/`", readme):
        room_of[header] = room
    public = {h.name for h in (component / "include").glob("*.h")}

    def room_of_include(name):
        if "/" in name:
            return room_of.get(name)
        if name in public:
            return room_of.get(name, "")
        return None

    def check(path, room):
        for number, line in enumerate(path.read_text().splitlines(), 1):
            match = re.match(r'#include "([^"]+)"', line)
            if not match:
                continue
            target = room_of_include(match.group(1))
            if target is None or target == "":
                continue
            if rank[target] > rank[room]:
                problems.append(f"{path.relative_to(root)}:{number}: {room}/ includes {match.group(1)} of {target}/")

    for room in rooms:
        for source in (component / "src" / room).glob("*"):
            if source.suffix in (".cpp", ".h"):
                check(source, room)
    for header in (component / "include").glob("*.h"):
        room = room_of.get(header.name)
        if room:
            check(header, room)
        elif header.name not in re.findall(r"`(zvx_[a-z0-9_]+\.h)` belongs to every room", readme):
            problems.append(f"include/{header.name} belongs to no room")

    if arguments.archive:
        problems += check_calls(arguments.archive, room_of_source, rank)
    for problem in problems:
        print(problem)
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
