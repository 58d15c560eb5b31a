"""tarvex-preview as users and thumbnailers call it: whole outputs, exit statuses, bytes read."""

import base64
import json
import os
import random
import re
import resource
import shutil
import struct
import subprocess
import sys
import unittest
import zlib

from toolbox import SAMPLES, WINDOWS, ToolTest, portable, read_png

NO_PREVIEW = 'Design preview information not found.\n'
NO_SUCH_FILE = r'tarvex-preview: {}: \S.*\n'

TIPS = {
    'array_steering.tarvex': """\
Type: Tarvex ZEPH 2013.0 File
Project contains 3 design(s):
Design Name: Element, Notes: single patch, matched at 9.6 G...
Design Name: Array8, Notes: Eight elements, steered to 18 ...
Design Name: FeedNetwork
Size: 31.7 KB
""",
    'horn_feed.tarvex': """\
Type: Tarvex ZEPH 2014.1 File
Project contains 2 design(s):
Design Name: Horn X-band, Notes: gain horn for the feed study
Design Name: Horn with lens, Notes: the lens's rear face is flat
Size: 9.47 KB
""",
    'bandpass.tarvex': """\
Type: Tarvex ZEPH Planar 2013.2 File
Project contains 2 design(s):
Design Name: Bandpass, Notes: Notes of thirty characters: 30
Design Name: Bandpass_measured, Notes: Notes of one more than that: 3...
Size: 8.60 KB
""",
    'coil.tarvex': """\
Type: Tarvex ZEPH Quasistatic 12.1 File
Project contains 1 design(s):
Design Name: Charger_Coil, Notes: L = 6.8 uH
Size: 1.76 KB
""",
    'new_project.tarvex': """\
Type: Tarvex ZEPH 2015.1 File
Project contains 0 design(s):
Size: 233 bytes
""",
    'no_preview.tarvex': 'Type: Tarvex ZEPH 11.0 File\n' + NO_PREVIEW + 'Size: 368 bytes\n',
    'not_a_project.tarvex': 'Type: Unknown\n' + NO_PREVIEW + 'Size: 177 bytes\n',
}

# What the ANSI code page lacks is lost on Windows; nothing is lost elsewhere.
UTF8_TIP = """\
Type: Tarvex ZEPH 2015.0 File
Project contains 3 design(s):
Design Name: Radom_außen, Notes: Größe geprüft, Dämpfung < 0,4 ...
Design Name: レドーム, Notes: 内側の層
Design Name: Обтекатель, Notes: проверить крепление при сильно...
Size: 12.6 KB
"""
UTF8_TIP_1252 = re.sub('[^\x00-\xff]', '?', UTF8_TIP)

HORN_TABLE = """\
horn_feed.tarvex
  Product      ZEPH 2014.1
  Size         9.47 KB
  Preview      2 design(s)
  Thumbnail    5.90 KB, base64

  Design       Horn X-band
    notes      gain horn for the feed study
    solved     yes
    factory    HF
    setups     Setup 10 GHz, Setup 12 GHz
    parametric FlareAngle (type 2), ApertureGoal (type 6), Yield (type 6)

  Design       Horn with lens
    notes      the lens's rear face is flat
    solved     no
    factory    HF
    setups     Setup 10 GHz
"""
NOTHING_TABLE = """\
not_a_project.tarvex
  Product      unknown
  Size         177 bytes
  Preview      none
  Thumbnail    none
"""

COIL_JSON = (
    '{"path": "coil.tarvex", "product": "ZEPH Quasistatic", "major": 12, "minor": 1, "size": 1803, "hasPreview": true, '
    '"designs": [{"name": "Charger_Coil", "notes": "L = 6.8 uH", "isSolved": true, "factory": "Quasistatic", '
    '"nominalSetups": ["100 kHz"], "paramorphSetups": []}], "thumbnail": {"encoding": "hex", "bytes": 591}}\n')
MISSING_JSON = (
    '{"path": "missing", "product": null, "major": null, "minor": null, "size": null, "hasPreview": false, '
    '"designs": [], "thumbnail": null}\n')


class Tip(ToolTest):
    tool = 'tarvex-preview'

    def test_samples(self):
        self.sample(*TIPS, 'radome_utf8.tarvex')
        for name, tip in TIPS.items():
            self.check(['tip', name], 0, tip)
        self.check(['tip', 'radome_utf8.tarvex'], 0, UTF8_TIP_1252 if WINDOWS else UTF8_TIP)

    def test_several_files_and_a_bad_one_between(self):
        self.sample('coil.tarvex', 'new_project.tarvex')
        self.check(['tip', 'coil.tarvex', 'missing', 'new_project.tarvex'], 1,
                   f"coil.tarvex:\n{TIPS['coil.tarvex']}\n"
                   f"missing:\nType: Unknown\n{NO_PREVIEW}\n\n"
                   f"new_project.tarvex:\n{TIPS['new_project.tarvex']}", NO_SUCH_FILE.format('missing'))

    def test_output_is_utf8_whatever_the_file_holds(self):
        self.write('raw.tarvex', b"Product='Z\xff\xe9'\n$begin 'Desktop'\nVersion(1,2)\n")
        for arguments in (['tip', 'raw.tarvex'], ['info', 'raw.tarvex'], ['info', '--json', 'raw.tarvex']):
            text = self.run_tool(*arguments).stdout.decode()
            self.assertIn('Z\u00ff\u00e9' if WINDOWS and arguments[0] == 'tip' else 'Z\ufffd\ufffd', text)


class Info(ToolTest):
    tool = 'tarvex-preview'

    def test_tables(self):
        self.sample('horn_feed.tarvex', 'not_a_project.tarvex')
        self.check(['info', 'horn_feed.tarvex', 'not_a_project.tarvex'], 0, HORN_TABLE + '\n' + NOTHING_TABLE)

    def test_a_table_holds_no_control_characters(self):
        self.write('esc.tarvex', "$begin 'ProjectPreview'\n$begin 'DesignInfo'\nDesignName='a\x1b[31m\\nb\u009bc'\n".encode())
        self.assertRegex(self.run_tool('info', 'esc.tarvex').stdout.decode(), r'  Design       a \[31m b c\n')

    def test_json_lines(self):
        self.sample('coil.tarvex')
        self.check(['info', '--json', 'coil.tarvex', 'missing'], 1, COIL_JSON + MISSING_JSON, NO_SUCH_FILE.format('missing'))

    def test_json_of_every_sample(self):
        rows = {  # file: product, major, designs, thumbnail's encoding
            'array_steering.tarvex': ('ZEPH', 2013, ['Element', 'Array8', 'FeedNetwork'], 'base64'),
            'horn_feed.tarvex': ('ZEPH', 2014, ['Horn X-band', 'Horn with lens'], 'base64'),
            'bandpass.tarvex': ('ZEPH Planar', 2013, ['Bandpass', 'Bandpass_measured'], 'base64'),
            'radome_utf8.tarvex': ('ZEPH', 2015, ['Radom_außen', 'レドーム', 'Обтекатель'], 'base64'),
            'new_project.tarvex': ('ZEPH', 2015, [], None),
            'no_preview.tarvex': ('ZEPH', 11, [], None),
            'not_a_project.tarvex': (None, None, [], None),
        }
        self.sample(*rows)
        lines = self.run_tool('info', '--json', *rows).stdout.decode().splitlines()
        self.assertEqual(len(lines), len(rows))
        for line, (name, expected) in zip(lines, rows.items()):
            value = json.loads(line)
            thumbnail = value['thumbnail'] and value['thumbnail']['encoding']
            names = [design['name'] for design in value['designs']]
            self.assertEqual((value['product'], value['major'], names, thumbnail), expected)
            self.assertEqual((value['path'], value['size']), (name, (SAMPLES / name).stat().st_size))

    def test_setups_and_their_types(self):
        self.sample('horn_feed.tarvex')
        design = json.loads(self.run_tool('info', '--json', 'horn_feed.tarvex').stdout)['designs'][0]
        self.assertEqual(design['nominalSetups'], ['Setup 10 GHz', 'Setup 12 GHz'])
        self.assertEqual([(s['name'], s['experimentType']) for s in design['paramorphSetups']],
                         [('FlareAngle', 2), ('ApertureGoal', 6), ('Yield', 6)])


class Thumbnail(ToolTest):
    tool = 'tarvex-preview'

    def make(self, name, *options):
        self.sample(name)
        self.check(['thumbnail', *options, '-o', 'out.png', name], 0)
        return read_png((self.folder / 'out.png').read_bytes())

    def test_sizes(self):
        rows = [
            ('array_steering.tarvex', [], (256, 192)),
            ('array_steering.tarvex', ['--size', '128'], (128, 96)),
            ('array_steering.tarvex', ['--size', '1'], (1, 1)),
            ('horn_feed.tarvex', ['--size', '100'], (100, 75)),
            ('coil.tarvex', ['--size', '256'], (64, 48)),
            ('radome_utf8.tarvex', ['--size', '4294967295'], (192, 192)),
        ]
        for name, options, size in rows:
            self.assertEqual(self.make(name, *options)[:2], size)

    @staticmethod
    def stored(name):
        """The image file in a sample."""
        text = re.search(rb"Thumbnail64='([^']*)'", (SAMPLES / name).read_bytes())[1]
        return base64.b64decode(text.replace(b'\\\n', b''))

    def test_an_opaque_png_that_fits_is_handed_on_as_it_is(self):
        rows = [
            ('bandpass.tarvex', [], True),
            ('bandpass.tarvex', ['--size', '256'], True),
            ('bandpass.tarvex', ['--size', '255'], False),
            ('array_steering.tarvex', [], False),  # has opacities
            ('horn_feed.tarvex', [], False),       # a JPEG
        ]
        for name, options, as_it_is in rows:
            self.make(name, *options)
            written = (self.folder / 'out.png').read_bytes()
            self.assertEqual(written == self.stored(name), as_it_is, (name, options))
            self.assertEqual(written[25], 2, 'red, green, blue')

    def test_a_png_whose_rows_are_missing_is_not_handed_on(self):
        # All checksums are right, and it is cut all the same.
        def chunk(kind, data):
            return struct.pack('>I', len(data)) + kind + data + struct.pack('>I', zlib.crc32(kind + data))
        png = (b'\x89PNG\r\n\x1a\n' + chunk(b'IHDR', struct.pack('>IIBBBBB', 2, 2, 8, 2, 0, 0, 0)) +
               chunk(b'IDAT', zlib.compress(bytes(7))) + chunk(b'IEND', b''))
        text = base64.b64encode(png)
        self.write('cut.tarvex', b"$begin 'ProjectPreview'\nThumbnail64='" + text + b"'\n$end 'ProjectPreview'\n")
        self.check(['thumbnail', '-o', 'out.png', 'cut.tarvex'], 1, '',
                   r'tarvex-preview: cut\.tarvex: the thumbnail cannot be decoded\n')

    def test_pixels(self):
        for name in ('array_steering.tarvex', 'bandpass.tarvex'):
            stored = read_png(self.stored(name))
            written = self.make(name)
            self.assertEqual(written[:2], stored[:2])
            for ours, theirs in zip(written[2], stored[2]):
                self.assertLessEqual(max(abs(a - b) for a, b in zip(ours, theirs)), 1)

    def test_nothing_to_show(self):
        self.sample('no_preview.tarvex', 'new_project.tarvex', 'not_a_project.tarvex')
        self.write('broken.tarvex', b"$begin 'ProjectPreview'\nThumbnail64='iVBORw0KGgoAAAA'\n$end 'ProjectPreview'\n")
        rows = [
            ('no_preview.tarvex', 'no preview block'),
            ('not_a_project.tarvex', 'no preview block'),
            ('new_project.tarvex', 'no thumbnail in the preview block'),
            ('broken.tarvex', 'the thumbnail cannot be decoded'),
            ('missing.tarvex', r'\S.*'),
            ('.', r'\S.*'),
        ]
        for name, reason in rows:
            self.check(['thumbnail', '-o', 'out.png', name], 1, '', f'tarvex-preview: {re.escape(name)}: {reason}\\n')
            self.assertFalse((self.folder / 'out.png').exists())

    @unittest.skipIf(WINDOWS, 'sparse files')
    def test_a_file_of_2_gib(self):
        self.sample('coil.tarvex')
        os.truncate(self.folder / 'coil.tarvex', 2**31)
        self.check(['thumbnail', '-o', 'out.png', 'coil.tarvex'], 1, '', r'.*: the preview is looked for in files of less than 2 GiB\n')

    def test_no_older_picture_stands_for_one_that_cannot_be_made(self):
        self.sample('no_preview.tarvex')
        picture = self.stored('bandpass.tarvex')
        for before, stays in ((b'', False), (picture, False), (picture[:8], False), (picture[:7], True), (b'notes', True)):
            self.write('out.png', before)
            self.check(['thumbnail', '-o', 'out.png', 'no_preview.tarvex'], 1, '', r'.*: no preview block\n')
            self.assertEqual((self.folder / 'out.png').exists(), stays, before[:8])
        self.write('in.png', picture)
        self.run_tool('thumbnail', '-o', 'in.png', 'in.png')
        self.assertEqual((self.folder / 'in.png').read_bytes(), picture)

    def test_output_that_cannot_be_written(self):
        self.sample('coil.tarvex')
        self.check(['thumbnail', '-o', 'none/out.png', 'coil.tarvex'], 1, '', r'tarvex-preview: none/out\.png: \S.*\n')

    def test_a_project_is_never_overwritten(self):
        for out in ('coil.tarvex', 'horn_feed.tarvex', 'no_preview.tarvex'):
            self.sample('coil.tarvex', out)
            self.check(['thumbnail', '-o', out, 'coil.tarvex'], 2, '',
                       f'tarvex-preview: {out}: is a project file and will not be replaced\\n')
            self.assertEqual((self.folder / out).read_bytes(), (SAMPLES / out).read_bytes())


class CommandLine(ToolTest):
    tool = 'tarvex-preview'

    def test_unusable(self):
        self.sample('coil.tarvex')
        lines = ('', 'draw coil.tarvex', 'tip', 'info', 'tip --json coil.tarvex', 'info --xml coil.tarvex',
                 'thumbnail coil.tarvex', 'thumbnail -o out.png', 'thumbnail -o out.png coil.tarvex coil.tarvex',
                 'thumbnail --size 0 -o out.png coil.tarvex', 'thumbnail --size -3 -o out.png coil.tarvex',
                 'thumbnail --size 12px -o out.png coil.tarvex', 'thumbnail --size 0x10 -o out.png coil.tarvex',
                 'thumbnail --size 4294967296 -o out.png coil.tarvex', 'thumbnail --size', '--json tip coil.tarvex',
                 'gallery coil.tarvex', 'gallery -o out.png', 'tip --recursive coil.tarvex')
        for line in portable(lines, there=2):
            self.check(line.split(), 2, '', r"tarvex-preview: .*\nTry 'tarvex-preview --help'\.\n")
        self.assertFalse((self.folder / 'out.png').exists())

    def test_help_and_version_work_everywhere(self):
        for command in portable(([], ['tip'], ['info'], ['thumbnail'], ['gallery'])):
            self.check([*command, '--version'], 0, f"tarvex-preview {os.environ['TARVEX_VERSION']}\n")
            result = self.run_tool(*command, '--help')
            self.assertEqual((result.returncode, result.stderr), (0, b''))
            self.assertIn(b'Usage: ', result.stdout)

    def test_path_from_the_root(self):
        self.sample('coil.tarvex')
        path = (self.folder / 'coil.tarvex').resolve().as_posix()
        self.check(['tip', path], 0, TIPS['coil.tarvex'])

    @unittest.skipIf(WINDOWS or os.environ.get('TARVEX_SANITIZE'), 'needs a limit on memory')
    def test_too_little_memory_costs_one_file_only(self):
        self.sample('coil.tarvex')
        self.write('huge', b"$begin 'ProjectPreview'\nNotes='" + b'x' * (15 << 20) + b"'\n$end 'ProjectPreview'\n")
        limit = 40 << 20
        result = self.run_tool('info', '--json', 'huge', 'coil.tarvex',
                               preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_DATA, (limit, limit)))
        self.assertEqual((result.returncode, result.stderr), (1, b'tarvex-preview: huge: not enough memory\n'))
        self.assertEqual(json.loads(result.stdout)['path'], 'coil.tarvex')

    def test_names_that_look_like_something_else(self):
        names = ['tip', '-o', '[a].tarvex', 'a b', "it's"]
        for name in names:
            self.write(name, (SAMPLES / 'new_project.tarvex').read_bytes())
        self.check(['tip', '--', *names], 0,
                   '\n'.join(f"{name}:\n{TIPS['new_project.tarvex']}" for name in names))

    def test_names_beyond_ascii(self):
        # On Windows a file opens only when the ANSI code page has its name; the picture's name may be any.
        name, picture = 'größe.tarvex' if WINDOWS else '大きさ.tarvex', '絵.png'
        shutil.copy(SAMPLES / 'coil.tarvex', self.folder / name)
        self.check(['info', '--json', name], 0, COIL_JSON.replace('coil.tarvex', name))
        self.check(['thumbnail', '-o', picture, name], 0)
        self.assertEqual(read_png((self.folder / picture).read_bytes())[:2], (64, 48))

    @unittest.skipIf(WINDOWS, 'names are UTF-16 there')
    def test_names_that_are_no_utf8(self):
        name, picture = b'\xff\xe4\xed\xa0\x80.tarvex', b'\xfe.png'
        shutil.copy(SAMPLES / 'coil.tarvex', os.fsencode(self.folder) + b'/' + name)
        line = self.run_tool('info', '--json', name).stdout.decode()
        self.assertEqual(json.loads(line)['product'], 'ZEPH Quasistatic')
        self.assertIn('"path": "\ufffd', line)
        self.assertEqual(self.run_tool('thumbnail', '-o', picture, name).returncode, 0)
        self.assertIn(picture, os.listdir(os.fsencode(self.folder)))

    @unittest.skipIf(WINDOWS, 'no such device there')
    def test_full_standard_output(self):
        self.sample('coil.tarvex')
        with open('/dev/full', 'wb') as full:
            self.assertEqual(self.run_tool('tip', 'coil.tarvex', stdout=full).returncode, 1)


class BadInput(ToolTest):
    tool = 'tarvex-preview'

    def test_damaged_files(self):
        """Cut and scribbled-over samples, all in one call: an answer for each, and nothing else."""
        draw = random.Random(7)
        names = []
        for sample in ('array_steering.tarvex', 'horn_feed.tarvex', 'coil.tarvex', 'radome_utf8.tarvex'):
            whole = (SAMPLES / sample).read_bytes()
            for i in range(40):
                data = bytearray(whole[:draw.randrange(len(whole))] if i % 2 else whole)
                for _ in range(draw.choice((0, 1, 5, 50)) if data else 0):
                    structural = draw.choice(b"\0\n\r'\"$()[],=\\\xff")
                    data[draw.randrange(len(data))] = draw.choice((structural, draw.randrange(256)))
                names.append(f'{i}-{sample}')
                self.write(names[-1], bytes(data))
        for i in range(10):
            names.append(f'{i}.random')
            self.write(names[-1], draw.randbytes(draw.randrange(5000)))
        self.write('empty', b'')
        result = self.run_tool('info', '--json', *names, 'empty')
        self.assertEqual((result.returncode, result.stderr), (0, b''))
        self.assertEqual([json.loads(line)['path'] for line in result.stdout.splitlines()], [*names, 'empty'])
        self.assertEqual(self.run_tool('tip', *names).returncode, 0)
        for name in names[::12]:
            self.assertIn(self.run_tool('thumbnail', '-o', 'out.png', name).returncode, (0, 1), name)

    @unittest.skipIf(WINDOWS, 'made by the system there')
    def test_what_is_no_file(self):
        os.mkfifo(self.folder / 'pipe')
        self.check(['tip', 'pipe', '.', '/dev/zero'], 1, None,
                   ''.join(NO_SUCH_FILE.format(name) for name in ('pipe', r'\.', '/dev/zero')))


@unittest.skipIf(WINDOWS or not shutil.which('strace'), 'needs strace')
class BytesRead(ToolTest):
    tool = 'tarvex-preview'

    # What one tip may read of a project, however large, whose product and version stand in the first lines and
    # whose preview block begins in the last page:
    HEAD = 4096  # a page with the first lines
    END = 4096   # a page that is searched, and read from the preview block on, without being read again
    BOUND = HEAD + END

    def bytes_read(self, name, trace):
        """Sums the bytes that reads of the file's descriptors returned."""
        total, open_descriptors = 0, set()
        for line in trace.splitlines():
            opened = re.search(r'openat\(.*"([^"]*)".*= (\d+)$', line)
            if opened:
                (open_descriptors.add if opened[1] == name else open_descriptors.discard)(opened[2])
            read = re.search(r'\b(?:read|pread64|readv|preadv2?)\((\d+),.*= (\d+)$', line)
            if read and read[1] in open_descriptors:
                total += int(read[2])
            self.assertNotRegex(line, rf'mmap\(.*, ({"|".join(open_descriptors) or "none"}), ')
        return total

    def test_only_head_and_tail_of_a_large_project(self):
        subprocess.run([sys.executable, SAMPLES / 'make_large_project.py', self.folder / 'large.tarvex'], check=True)
        result = self.run_tool('tip', 'large.tarvex', before=[
            'strace', '-f', '-o', 'trace', '-e', 'trace=openat,read,pread64,readv,preadv,preadv2,mmap'],
            env={**os.environ, 'ASAN_OPTIONS': 'detect_leaks=0'})  # leaks cannot be looked for under a tracer
        if not (self.folder / 'trace').exists() or b'ptrace' in result.stderr:
            self.skipTest('tracing is not allowed here')
        self.assertEqual(result.stdout.decode(), 'Type: Tarvex ZEPH 2013.0 File\nProject contains 1 design(s):\n'
                         'Design Name: Airframe, Notes: overnight run\nSize: 256 MB\n')
        total = self.bytes_read('large.tarvex', (self.folder / 'trace').read_text())
        self.assertGreater(total, 1000)
        self.assertLessEqual(total, self.BOUND)


if __name__ == '__main__':
    unittest.main()
