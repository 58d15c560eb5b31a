"""Runs the built tools, natively or through TARVEX_RUN (for example "wine"), and reads PNG files."""

import atexit
import contextlib
import os
import pathlib
import shlex
import shutil
import struct
import subprocess
import sys
import tempfile
import unittest
import zlib

RUN = shlex.split(os.environ.get('TARVEX_RUN', ''))
WINDOWS = bool(RUN)
TIMEOUT = 120  # seconds
FIRST_TIMEOUT = 20 if WINDOWS else TIMEOUT  # of what may never get going, see run_tool
SAMPLES = pathlib.Path(__file__).resolve().parents[2] / 'samples'


def program(name):
    return str(pathlib.Path(os.environ['TARVEX_BIN']) / (name + ('.exe' if WINDOWS else '')))


def keep_system_running():
    """The first Windows program starts the system's services, and the first that draws starts the desktop; they
    would hold on to its output. A command interpreter that waits for input until we end keeps them running, with
    outputs of their own."""
    shell = subprocess.Popen([*RUN, 'cmd.exe'], stdin=subprocess.PIPE, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    atexit.register(shell.communicate)
    draw = [program('tarvex-preview'), 'thumbnail', '-o', 'NUL', str(SAMPLES / 'coil.tarvex')]
    for command in ['cmd.exe', '/c', 'exit'], draw:
        with contextlib.suppress(subprocess.TimeoutExpired):
            subprocess.run([*RUN, *command], stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                           timeout=TIMEOUT)


if WINDOWS:
    keep_system_running()
    os.environ['TARVEX_WINE_RUNS'] = '1'


def portable(rows, there=1):
    """Rows whose outcome comes of code that is the same for every system: natively all of them. Under Wine, where each
    start of a program takes its time and some never get going, as many as show that it is built in."""
    return list(rows)[:there] if WINDOWS else rows


class ToolTest(unittest.TestCase):
    """A test with an empty folder of its own, in which the tool runs."""

    tool = ''
    maxDiff = None

    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix='tarvex-'))
        self.addCleanup(shutil.rmtree, self.folder)

    def sample(self, *names):
        """Copies samples to the folder, where their paths are short."""
        for name in names:
            shutil.copy(SAMPLES / name, self.folder)

    def write(self, name, content):
        (self.folder / name).write_bytes(content)

    def run_tool(self, *arguments, before=(), **options):
        command = [*before, *RUN, program(self.tool), *arguments]
        options = {'stdout': subprocess.PIPE, 'stderr': subprocess.PIPE, 'timeout': TIMEOUT, **options}
        if 'input' not in options:
            options.setdefault('stdin', subprocess.DEVNULL)
        try:
            result = subprocess.run(command, cwd=self.folder, **{**options, 'timeout': min(options['timeout'], FIRST_TIMEOUT)})
            if not WINDOWS or result.returncode == 0 or result.stdout or result.stderr:
                return result
        except subprocess.TimeoutExpired:
            if not WINDOWS:
                raise
        # Once in a few hundred starts a program never gets going under Wine: it hangs, or ends without a word.
        # One that does so of its own accord does it again.
        print('tried again:', *command, file=sys.stderr)
        return subprocess.run(command, cwd=self.folder, **options)

    def check(self, arguments, status, stdout='', stderr=''):
        """Compares status and whole standard output, and what standard error matches."""
        with self.subTest(arguments):
            result = self.run_tool(*arguments)
            if stdout is not None:
                self.assertEqual(result.stdout.decode(), stdout)
            self.assertRegex(result.stderr.decode().replace('\r\n', '\n'), '^' + stderr + '$')
            self.assertEqual(result.returncode, status)


def read_png(data):
    """Width, height and the (red, green, blue) pixels over black; 8-bit colour, with or without alpha."""
    assert data[:8] == b'\x89PNG\r\n\x1a\n'
    width, height, depth, kind = struct.unpack('>IIBB', data[16:26])
    channels = {2: 3, 6: 4}[kind]
    assert depth == 8
    body, at = b'', 8
    while at < len(data):
        size, = struct.unpack('>I', data[at:at + 4])
        assert zlib.crc32(data[at + 4:at + 8 + size]) == struct.unpack('>I', data[at + 8 + size:at + 12 + size])[0]
        if data[at + 4:at + 8] == b'IDAT':
            body += data[at + 8:at + 8 + size]
        at += 12 + size
    raw, row = zlib.decompress(body), width * channels
    above, pixels = bytearray(row), []
    for y in range(height):
        kind, line = raw[y * (row + 1)], bytearray(raw[y * (row + 1) + 1:(y + 1) * (row + 1)])
        for i in range(row):
            left, up = (line[i - channels], above[i - channels]) if i >= channels else (0, 0)
            guess = left + above[i] - up
            paeth = min((left, above[i], up), key=lambda v: abs(guess - v))
            line[i] = (line[i] + (0, left, above[i], (left + above[i]) // 2, paeth)[kind]) & 255
        for x in range(width):
            pixel = line[x * channels:(x + 1) * channels]
            alpha = pixel[3] if channels == 4 else 255
            pixels.append(tuple((v * alpha + 127) // 255 for v in pixel[:3]))
        above = line
    return width, height, pixels
