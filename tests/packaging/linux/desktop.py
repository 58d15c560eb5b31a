"""What the tests of the installed package share: installing it, projects to show, pictures to read.

Runs in a private system only (private_system.sh): it changes the system it is in.
"""

import base64
import os
import pathlib
import struct
import subprocess
import sys
import zlib

TESTS = pathlib.Path(__file__).resolve().parents[2]
SAMPLES = TESTS.parent / 'samples'
sys.path.insert(0, str(TESTS / 'apps'))

from toolbox import read_png  # noqa: E402

assert 'PRIVATE_SYSTEM' in os.environ, 'would install into the system itself: start it by private_system.sh'
HOME = pathlib.Path(os.environ['HOME'])
TEMPORARY = pathlib.Path(os.environ['TMPDIR'])
PACKAGE = sys.argv.pop(1)

MIME_TYPE = 'application/x-tarvex-project'
BYTE_ORDER_MARK = b'\xef\xbb\xbf'


def run(*command, **options):
    return subprocess.run(command, check=True, text=True, stdout=subprocess.PIPE, **options).stdout


def dpkg(*arguments):
    run('dpkg', *arguments, env={**os.environ, 'DEBIAN_FRONTEND': 'noninteractive', 'LC_ALL': 'C.UTF-8'})


def png(width, height):
    """A PNG file in one colour."""
    def chunk(kind, data):
        return struct.pack('>I', len(data)) + kind + data + struct.pack('>I', zlib.crc32(kind + data))
    header = struct.pack('>IIBBBBB', width, height, 8, 2, 0, 0, 0)
    rows = (b'\0' + b'\x20\x60\xa0' * width) * height
    return b'\x89PNG\r\n\x1a\n' + chunk(b'IHDR', header) + chunk(b'IDAT', zlib.compress(rows)) + chunk(b'IEND', b'')


# One pixel, of the kind that the package only recommends a library for.
GIF = b'GIF89a\1\0\1\0\x80\0\0\x20\x60\xa0\0\0\0,\0\0\0\0\1\0\1\0\0\2\2\x44\1\0;'


def project(picture):
    """A project file that stores the bytes as its picture."""
    text = base64.b64encode(picture)
    return (b"$begin 'TarvexProject'\n\tProduct='ZEPH'\n\t$begin 'Desktop'\n\t\tVersion(2015, 0)\n\t$end 'Desktop'\n"
            b"$end 'TarvexProject'\n$begin 'ProjectPreview'\n\tThumbnail64='" + text + b"'\n$end 'ProjectPreview'\n")


def random_bytes(count):
    """The same ones each time, and no zero at the beginning."""
    value, data = 1, bytearray()
    for _ in range(count):
        value = value * 1103515245 + 12345 & 0x7fffffff
        data.append(value >> 16 & 255 | 1)
    return bytes(data)


# Name: what it holds. None of them gives a picture, each for another reason.
BROKEN = {
    'random.tarvex': random_bytes(5000),
    'empty.tarvex': b'',
    'no preview.tarvex': (SAMPLES / 'no_preview.tarvex').read_bytes(),
    'cut.tarvex': (SAMPLES / 'bandpass.tarvex').read_bytes()[:5000],
    'half a picture.tarvex': project(png(64, 48)[:-30]),
    'no picture.tarvex': project(random_bytes(3000)),
}

# Name: what it holds, and its picture's width and height.
PICTURES = {
    'array.tarvex': ((SAMPLES / 'array_steering.tarvex').read_bytes(), (256, 192)),
    'HORN.TARVEX': ((SAMPLES / 'horn_feed.tarvex').read_bytes(), (256, 192)),
    'a b & "c" $(d) %i.tarvex': ((SAMPLES / 'bandpass.tarvex').read_bytes(), (256, 192)),
    'größe 大きさ.tarvex': ((SAMPLES / 'radome_utf8.tarvex').read_bytes(), (192, 192)),
    'a gif.tarvex': (project(GIF), (1, 1)),
    'small.tarvex': ((SAMPLES / 'coil.tarvex').read_bytes(), (64, 48)),
    'tall.tarvex': (project(png(1, 1000)), (1, 1000)),
    'wide.tarvex': (project(png(1000, 10)), (1000, 10)),
    '-no extension': ((SAMPLES / 'array_steering.tarvex').read_bytes(), (256, 192)),
}


def fitted(size, side):
    """A picture's size when it is scaled down, never up, to fit a square; no side becomes nothing."""
    longest = max(size)
    return size if longest <= side else tuple(max(1, (value * side * 2 + longest) // (2 * longest)) for value in size)


def size_of(path):
    """Width and height of a PNG file, which must be whole."""
    return read_png(pathlib.Path(path).read_bytes())[:2]
