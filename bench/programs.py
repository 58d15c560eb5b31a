#!/usr/bin/env python3
"""Measures whole processes, one after the other in turns: programs.py BIN_FOLDER SAMPLES_FOLDER BLENDER_THUMBNAILER

tarvex-preview beside programs that take a stored preview out of a file, each with a file of its own kind that holds
the same picture, or one of its size. Prints of each the time that nine of ten runs exceed, in which other work of the
machine hardly shows, and ratios of wall time.
"""

import base64
import os
import re
import statistics
import struct
import sys
import tempfile
import time
from pathlib import Path

sys.path.insert(0, str(Path(__file__).parent.parent / "tests/apps"))
from toolbox import read_png  # noqa: E402

ROUNDS = 300
WARM_UP = 20


def stored_picture(project):
    """The bytes of a project's thumbnail."""
    text = re.search(rb"Thumbnail64='([^']*)'", project.read_bytes()).group(1)
    return base64.b64decode(re.sub(rb"[\\\s]", b"", text))


def jpeg_with_preview(picture):
    """A JPEG file whose Exif block holds the JPEG picture as its thumbnail."""
    entries = [(0x0103, 3, 6), (0x0201, 4, 0), (0x0202, 4, len(picture))]  # compression, offset, length
    first = struct.pack("<2sHIHI", b"II", 42, 8, 0, 14)  # an empty first directory, the second behind it
    offset = len(first) + 2 + 12 * len(entries) + 4
    second = struct.pack("<H", len(entries))
    for tag, kind, value in entries:
        second += struct.pack("<HHII", tag, kind, 1, offset if tag == 0x0201 else value)
    exif = b"Exif\0\0" + first + second + bytes(4) + picture
    return picture[:2] + b"\xff\xe1" + struct.pack(">H", len(exif) + 2) + exif + picture[2:]


def blend_with_preview(width, height, pixels):
    """A .blend file that ends behind its thumbnail: the pixels as they are."""
    picture = struct.pack("<ii", width, height) + b"".join(bytes((*pixel, 255)[:4]) for pixel in pixels)
    block = lambda code, data: struct.pack("<4siQii", code, len(data), 0, 0, 1) + data
    return b"BLENDER-v304" + block(b"REND", bytes(72)) + block(b"TEST", picture) + block(b"ENDB", b"")


def commands(bin_folder, samples, blender, folder):
    """(title, command, the file that it writes or None)"""
    project, jpeg_project = samples / "array_steering.tarvex", samples / "horn_feed.tarvex"
    opaque_project = samples / "bandpass.tarvex"
    png, jpeg, blend = folder / "picture.png", folder / "photo.jpg", folder / "scene.blend"
    png.write_bytes(stored_picture(project))
    jpeg.write_bytes(jpeg_with_preview(stored_picture(jpeg_project)))
    blend.write_bytes(blend_with_preview(*read_png(png.read_bytes())[:3]))
    preview = bin_folder / "tarvex-preview"
    out = lambda name: folder / f"out-{name}.png"
    return [
        ("tarvex-preview tip", [preview, "tip", project], None),
        ("tarvex-preview thumbnail, PNG", [preview, "thumbnail", "-o", out("png"), project], out("png")),
        ("tarvex-preview thumbnail, opaque PNG", [preview, "thumbnail", "-o", out("opaque"), opaque_project], out("opaque")),
        ("tarvex-preview thumbnail, JPEG", [preview, "thumbnail", "-o", out("jpeg"), jpeg_project], out("jpeg")),
        ("blender-thumbnailer", [blender, blend, out("blend")], out("blend")),
        ("exiv2 -ep1", ["exiv2", "-f", "-ep1", "-l", folder, jpeg], folder / "photo-preview1.jpg"),
        ("gdk-pixbuf-thumbnailer", ["gdk-pixbuf-thumbnailer", "-s", "256", png, out("gdk")], out("gdk")),
        ("a C++ program that does nothing", [bin_folder / "tarvex_bench_nothing"], None),
    ]


def run(command, silent):
    """Wall time and processor time of one process, in milliseconds."""
    arguments = [str(word) for word in command]
    actions = [(os.POSIX_SPAWN_DUP2, silent, 1), (os.POSIX_SPAWN_DUP2, silent, 2)]
    start = time.perf_counter_ns()
    child = os.posix_spawnp(arguments[0], arguments, os.environ, file_actions=actions)
    _, status, usage = os.wait4(child, 0)
    took = time.perf_counter_ns() - start
    if status != 0:
        sys.exit(f"{' '.join(arguments)}: status {os.waitstatus_to_exitcode(status)}")
    return took / 1e6, (usage.ru_utime + usage.ru_stime) * 1e3


def main():
    if len(sys.argv) != 4:
        sys.exit(__doc__)
    bin_folder, samples, blender = map(Path, sys.argv[1:])
    with tempfile.TemporaryDirectory() as name, open(os.devnull, "wb") as null:
        programs = commands(bin_folder, samples, blender, Path(name))
        times = {title: [] for title, _, _ in programs}
        for turn in range(-WARM_UP, ROUNDS):
            for title, command, result in programs:
                took = run(command, null.fileno())
                if turn >= 0:
                    times[title].append(took)
                elif result and result.read_bytes()[:3] not in (b"\x89PN", b"\xff\xd8\xff"):
                    sys.exit(f"{title}: wrote no picture")
    walls, processors = ({title: statistics.quantiles([pair[i] for pair in many], n=10)[0] for title, many in times.items()}
                         for i in range(2))
    ours = [title for title in walls if title.startswith("tarvex")]
    heads = ["process", "wall ms", "processor ms", *(title.removeprefix("tarvex-preview ") + " ÷ it" for title in ours)]
    print("| " + " | ".join(heads) + " |\n|---|" + "--:|" * (len(heads) - 1))
    for title, wall in walls.items():
        ratios = [f"{walls[other] / wall:.2f}" for other in ours]
        print(f"| {title} | {wall:.2f} | {processors[title]:.2f} | " + " | ".join(ratios) + " |")


if __name__ == "__main__":
    main()
