#!/usr/bin/env python3
"""Checks who includes whom: check_includes.py ROOT. Prints each broken rule; exit status 1 if any.

Rooms may include only rooms below them, system headers stay behind the seam, and no two files
include each other in a circle.
"""

import re
import sys
from pathlib import Path

# A room, and the rooms it may include besides itself and the standard library.
ROOMS = [
    ("lib/tessel/platform", []),
    ("lib/tessel/baseutils/debug_log", ["lib/tessel/strings"]),
    ("lib/tessel/baseutils/FileDiagnostics", ["lib/tessel/strings"]),
    ("lib/tessel/baseutils", ["lib/tessel/platform"]),
    ("lib/tessel/strings", ["lib/tessel/platform", "lib/tessel/baseutils"]),
    ("lib/tessel/streamio", ["lib/tessel/strings", "lib/tessel/baseutils", "lib/tessel/platform"]),
    ("lib/viewkit/tools", ["lib/tessel"]),
    ("shellext/runtime", []),
    ("shellext", ["lib", "shellext/runtime"]),
    ("apps", ["lib"]),
    ("examples", ["lib"]),
]
# Of baseutils, the rooms below the diagnostics know only these.
BASICS = {"mrefcount", "refptr", "assertion", "utilfuncs"}
# Where system and third-party headers may appear.
OPEN_ROOMS = ("lib/tessel/platform/", "shellext/", "apps/", "examples/")
PLATFORM_SWITCHES = ("lib/tessel/platform/", "shellext/", "tests/")

# Written by the interface compiler while the module is built.
GENERATED = {"TarvexShellExt_i.h"}

INCLUDE = re.compile(r'^\s*#\s*include\s+(?:"([^"]+)"|<([^>]+)>)', re.MULTILINE)
SWITCH = re.compile(r"^\s*#\s*(?:if|ifdef|ifndef|elif)\b.*\b(?:_WIN32|WIN32|__linux__|_MSC_VER|__MINGW\w+)", re.MULTILINE)
STANDARD = re.compile(r"^[a-z_0-9]+$")


def room_of(path):
    for room, below in ROOMS:
        if path == room or path.startswith(room + "/") or path.startswith(room + "."):
            diagnostics = room.split("/")[-1] in ("debug_log", "FileDiagnostics")
            return ("lib/tessel/baseutils", below + ["lib/tessel/platform"]) if diagnostics else (room, below)
    return None


def resolve(root, path, name):
    """The file that an include with quotes means, as a path from the root."""
    for base in (root / path).parent, root / "lib", root:
        if (base / name).is_file():
            return (base / name).resolve().relative_to(root).as_posix()
    return None


def allowed(path, target):
    room, below = room_of(path)
    if target.startswith(room + "/"):
        return True
    if room == "lib/tessel/strings" and target.startswith("lib/tessel/baseutils/"):
        return Path(target).stem in BASICS
    return any(target.startswith(other + "/") for other in below)


def check_file(root, path, graph):
    text = (root / path).read_text(encoding="utf-8")
    problems = []
    for quoted, angled in INCLUDE.findall(text):
        if angled:
            if not path.startswith(OPEN_ROOMS) and not STANDARD.match(angled):
                problems.append(f"{path}: <{angled}> is no header of the standard library")
            continue
        if quoted in GENERATED:
            continue
        target = resolve(root, path, quoted)
        if target is None:
            problems.append(f'{path}: "{quoted}" is not there')
            continue
        graph.setdefault(path, []).append(target)
        if not allowed(path, target):
            problems.append(f"{path}: may not include {target}")
    if SWITCH.search(text) and not path.startswith(PLATFORM_SWITCHES):
        problems.append(f"{path}: tests for a platform")
    return problems


def find_circle(graph):
    done, way = set(), []

    def visit(path):
        if path in way:
            return way[way.index(path):] + [path]
        if path in done:
            return None
        way.append(path)
        for target in graph.get(path, []):
            circle = visit(target)
            if circle:
                return circle
        way.pop()
        done.add(path)
        return None

    for path in sorted(graph):
        circle = visit(path)
        if circle:
            return circle
    return None


def main():
    root = Path(sys.argv[1]).resolve()
    files = sorted(
        path.relative_to(root).as_posix()
        for top in ("lib", "shellext", "apps", "examples")
        for path in (root / top).rglob("*")
        if path.suffix in (".cpp", ".h")
    )
    graph = {}
    problems = [problem for path in files for problem in check_file(root, path, graph)]
    circle = find_circle(graph)
    if circle:
        problems.append("a circle: " + " -> ".join(circle))
    print("\n".join(problems) if problems else f"{len(files)} files keep the rules")
    sys.exit(1 if problems or not files else 0)


if __name__ == "__main__":
    main()
