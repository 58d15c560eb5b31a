"""Folders of projects: which files are found, what the gallery's page holds, and how the page behaves in a browser."""

import base64
import hashlib
import html.parser
import json
import os
import pathlib
import random
import re
import shutil
import struct
import subprocess
import tempfile
import unittest
import zlib

from browser import Browser
from toolbox import RUN, SAMPLES, WINDOWS, ToolTest, program, read_png

if not WINDOWS:
    import pty
    import resource

SLASH = '\\' if WINDOWS else '/'


def project(product='ZEPH', designs=(), thumbnail=b'', version=(2015, 1)):
    """A project file; each design is name, notes and whether it is solved."""
    def quoted(text):
        data = text if isinstance(text, bytes) else text.encode('utf-8', 'surrogatepass')
        return b"'" + data.replace(b'\\', b'\\\\').replace(b"'", b"\\'") + b"'"
    blocks = b''.join(b"$begin 'DesignInfo'\nDesignName=%s\nNotes=%s\nIsSolved=%s\n$end 'DesignInfo'\n" % (
        quoted(name), quoted(notes), b'true' if solved else b'false') for name, notes, solved in designs)
    return (b"$begin 'TarvexProject'\nProduct=%s\n$begin 'Desktop'\nVersion(%d, %d)\n$end 'Desktop'\n$end 'TarvexProject'\n"
            b"$begin 'ProjectPreview'\nThumbnail64=%s\n%s$end 'ProjectPreview'\n" % (
                quoted(product), *version, quoted(base64.b64encode(thumbnail)), blocks))


def stored_picture(name):
    text = re.search(rb"Thumbnail64='([^']*)'", (SAMPLES / name).read_bytes())[1]
    return base64.b64decode(re.sub(rb'\\\r?\n', b'', text))


class Folders(ToolTest):
    tool = 'tarvex-preview'

    def write(self, name, content=project()):
        path = self.folder / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(content)

    def found(self, *arguments, status=0, stderr=''):
        result = self.run_tool('info', '--json', *arguments)
        self.assertRegex(result.stderr.decode().replace('\r\n', '\n'), '^' + stderr + '$')
        self.assertEqual(result.returncode, status)
        return [json.loads(line)['path'].replace(SLASH, '/') for line in result.stdout.decode().splitlines()]

    def test_what_is_taken_and_in_which_order(self):
        for name in ('d/b.tarvex', 'd/A.TARVEX', 'd/a10.TarVex', 'd/sub/x.tarvex', 'd/sub-1/y.tarvex', 'd/sub.tarvex/z.tarvex',
                     'd/other.abc', 'd/b.tarvex.bak', 'd/tarvex', 'd/ä.tarvex', 'd/sub/deep/er/w.DEF', 'named.txt'):
            self.write(name)
        here = ['d/A.TARVEX', 'd/a10.TarVex', 'd/b.tarvex', 'd/ä.tarvex']
        below = ['d/A.TARVEX', 'd/a10.TarVex', 'd/b.tarvex', 'd/sub-1/y.tarvex', 'd/sub.tarvex/z.tarvex', 'd/sub/x.tarvex',
                 'd/ä.tarvex']
        rows = [
            (['d'], here),
            (['d/'], here),
            (['--recursive', 'd'], below),
            (['named.txt', 'd', 'd/sub/x.tarvex'], ['named.txt', *here, 'd/sub/x.tarvex']),  # outright: always
            (['--ext', '.ABC,.def', '--recursive', 'd'], ['d/other.abc', 'd/sub/deep/er/w.DEF']),
            (['d/sub/deep'], []),
        ]
        for arguments, expected in rows:
            self.assertEqual(self.found(*arguments), expected, arguments)
        self.assertEqual(self.found('d/sub', 'missing', status=1, stderr=r'tarvex-preview: missing: \S.*\n'),
                         ['d/sub/x.tarvex', 'missing'])

    def test_a_folder_prints_as_its_files_would(self):
        self.sample('horn_feed.tarvex', 'coil.tarvex', 'not_a_project.tarvex')
        names = [f'.{SLASH}{name}.tarvex' for name in ('coil', 'horn_feed', 'not_a_project')]
        self.assertEqual(self.run_tool('info', '.').stdout, self.run_tool('info', *names).stdout)

    def test_the_order_is_the_same_however_many_read(self):
        large = (SAMPLES / 'horn_feed.tarvex').read_bytes()
        for i in range(400):
            self.write(f'{i % 7}/{i}.tarvex', large if i % 50 == 0 else project())
        expected = sorted(f'./{i % 7}/{i}.tarvex' for i in range(400))
        self.assertEqual(self.found('--recursive', '.'), expected)

    def test_extensions_that_are_none(self):
        for extensions in ('', 'abc', '.', '.abc,', '.abc,,.def'):
            self.check(['info', '--ext', extensions, '.'], 2, '', r"tarvex-preview: .*\nTry 'tarvex-preview --help'\.\n")
            if WINDOWS:
                break  # each start costs seconds there

    @unittest.skipIf(WINDOWS, 'made by privileged users alone there')
    def test_links(self):
        self.write('d/real/a.tarvex')
        self.write('elsewhere/b.tarvex')
        for link, goal in (('d/circle', '..'), ('d/real/up', '../..'), ('d/self', 'self'), ('d/folder', '../elsewhere'),
                           ('d/file.tarvex', '../elsewhere/b.tarvex'), ('d/nothing.tarvex', 'missing'), ('named', 'd')):
            (self.folder / link).symlink_to(goal)
        os.mkfifo(self.folder / 'd/pipe.tarvex')
        files = ['file.tarvex', 'nothing.tarvex', 'pipe.tarvex', 'real/a.tarvex']
        complaints = r'.*nothing\.tarvex: \S.*\n.*pipe\.tarvex: \S.*\n'
        for folder in ('d', 'named'):
            self.assertEqual(self.found('--recursive', folder, status=1, stderr=complaints), [f'{folder}/{f}' for f in files])

    @unittest.skipIf(WINDOWS, 'paths have no such end there')
    def test_a_folder_that_cannot_be_listed_costs_itself_alone(self):
        # Whose path is too long, which stops root as well.
        self.write('a/x.tarvex')
        self.write('z.tarvex')
        here = os.getcwd()
        os.chdir(self.folder / 'a')
        try:
            for _ in range(20):
                os.mkdir('b' * 250)
                os.chdir('b' * 250)
        finally:
            os.chdir(here)
        self.assertEqual(self.found('--recursive', '.', status=1, stderr=r'tarvex-preview: \./a/b.*: \S.*\n'),
                         ['./a/x.tarvex', './z.tarvex'])


class PageReader(html.parser.HTMLParser):
    """The elements of a page, and what its scripts hold."""

    def __init__(self, page):
        super().__init__()
        self.tags, self.scripts, self.style = [], [], ''
        self.feed(page)

    def handle_starttag(self, tag, attrs):
        self.tags.append((tag, dict(attrs)))
        if tag == 'script':
            self.scripts.append((dict(attrs), ''))

    def handle_data(self, data):
        if self.tags and self.tags[-1][0] == 'script' and data.strip():
            self.scripts[-1] = (self.scripts[-1][0], self.scripts[-1][1] + data)
        elif self.tags and self.tags[-1][0] == 'style' and data.strip():
            self.style += data

    def projects(self):
        """Each project's object; its picture is put in as bytes."""
        result = []
        for attributes, text in self.scripts:
            if attributes.get('class') == 'project':
                assert text.isascii() and '<' not in text, text
                result.append(json.loads(text))
            elif attributes.get('type') == 'text/plain':
                result[-1]['picture'] = (text.split(';')[0], base64.b64decode(text.split(',')[1]))
        return result


class Page(ToolTest):
    tool = 'tarvex-preview'

    def page(self, *arguments, status=0, stderr=''):
        self.check(['gallery', '-o', 'out.html', *arguments], status, '', stderr)
        return PageReader((self.folder / 'out.html').read_text('utf-8'))

    def test_what_is_in_it(self):
        names = sorted(path.name for path in SAMPLES.glob('*.tarvex'))
        self.sample(*names)
        self.write('broken.tarvex', project(thumbnail=b'\x89PNG\r\n\x1a\nno'))
        page = self.page('.', 'missing', status=1, stderr=r'tarvex-preview: missing: \S.*\n')
        projects = {pathlib.PurePath(p['path'].replace('\\', '/')).name: p for p in page.projects()}
        self.assertEqual(list(projects), [*sorted([*names, 'broken.tarvex']), 'missing'])
        rows = {  # reason, form of the picture, its sides
            'array_steering.tarvex': ('', 'png|jpeg', (256, 192)),
            'bandpass.tarvex': ('', 'png', (256, 192)),
            'broken.tarvex': ('the thumbnail cannot be decoded', None, None),
            'coil.tarvex': ('', 'png', (64, 48)),
            'horn_feed.tarvex': ('', 'jpeg', None),
            'missing': (r'\S.*', None, None),
            'new_project.tarvex': ('no thumbnail in the preview block', None, None),
            'no_preview.tarvex': ('no preview block', None, None),
            'not_a_project.tarvex': ('no preview block', None, None),
            'radome_utf8.tarvex': ('', 'png|jpeg', (192, 192)),
        }
        for name, (reason, form, sides) in rows.items():
            found = projects[name]
            self.assertRegex(found['reason'], f'^{reason}$', name)
            self.assertEqual(found['hasPicture'], form is not None, name)
            if form:
                self.assertRegex(found['picture'][0], f'^data:image/({form})$', name)
                if sides and found['picture'][0] == 'data:image/png':
                    self.assertEqual(read_png(found['picture'][1])[:2], sides)
            if name != 'missing':
                self.assertLess(abs(found['modified'] - (self.folder / name).stat().st_mtime), 2, name)
        # What is stored is taken as it is where it is small and nothing but a picture.
        for name in ('bandpass.tarvex', 'horn_feed.tarvex'):
            self.assertEqual(projects[name]['picture'][1], stored_picture(name))
        # Besides what is added for the page, it is what `info` tells.
        lines = map(json.loads, self.run_tool('info', '--json', '.', 'missing').stdout.decode().splitlines())
        for line in lines:
            line.pop('thumbnail')
            found = projects[pathlib.PurePath(line['path'].replace('\\', '/')).name]
            self.assertEqual(line, {key: found[key] for key in line})

        with self.subTest('allowed is what the page itself does, and no more'):
            policy, = (attributes['content'] for tag, attributes in page.tags
                       if attributes.get('http-equiv') == 'Content-Security-Policy')
            program_text, = (text for attributes, text in page.scripts if 'type' not in attributes)
            hashes = [base64.b64encode(hashlib.sha256(text.encode()).digest()).decode() for text in (page.style, program_text)]
            self.assertEqual(policy, f"default-src 'none'; style-src 'sha256-{hashes[0]}'; script-src 'sha256-{hashes[1]}'; "
                             "img-src data:; base-uri 'none'; form-action 'none'")
            self.assertFalse([tag for tag in page.tags if {'src', 'href', 'style', 'onclick'} & set(tag[1])])

    def test_large_pictures_are_made_small(self):
        draw = random.Random(3)
        rows = b''.join(b'\0' + bytes(c for x in range(600) for c in (x * 255 // 600, y * 255 // 400, draw.randrange(40)))
                        for y in range(400))
        picture = self.png(600, 400, rows)
        self.assertGreater(len(picture), 100_000)
        self.write('large.tarvex', project(thumbnail=picture))
        found, = self.page('large.tarvex').projects()
        self.assertLess(len(found['picture'][1]), 32_768)
        self.assertEqual(found['picture'][0], 'data:image/jpeg')

    @staticmethod
    def png(width, height, rows):
        def chunk(kind, data):
            return struct.pack('>I', len(data)) + kind + data + struct.pack('>I', zlib.crc32(kind + data))
        return (b'\x89PNG\r\n\x1a\n' + chunk(b'IHDR', struct.pack('>IIBBBBB', width, height, 8, 2, 0, 0, 0)) +
                chunk(b'IDAT', zlib.compress(rows)) + chunk(b'IEND', b''))

    def test_where_it_is_written(self):
        self.sample('coil.tarvex', 'no_preview.tarvex')
        self.page('coil.tarvex')
        first = (self.folder / 'out.html').read_bytes()
        self.page('coil.tarvex')  # again, over the first
        self.assertEqual((self.folder / 'out.html').read_bytes(), first)

        before = (self.folder / 'no_preview.tarvex').read_bytes()
        self.check(['gallery', '-o', 'no_preview.tarvex', 'coil.tarvex'], 2, '', '.*will not be replaced\n')
        self.assertEqual((self.folder / 'no_preview.tarvex').read_bytes(), before)
        rows = [(['-o', 'no/such/out.html', 'coil.tarvex'], r'tarvex-preview: no/such/out\.html: \S.*\n'),
                (['-o', '.', 'coil.tarvex'], r'tarvex-preview: \.: \S.*\n')]
        for arguments, complaint in rows:
            self.check(['gallery', *arguments], 1, '', complaint)
        self.assertEqual(sorted(os.listdir(self.folder)), ['coil.tarvex', 'no_preview.tarvex', 'out.html'])

    @unittest.skipIf(WINDOWS, 'needs a limit on the size of files')
    def test_a_page_that_cannot_be_written_whole_leaves_the_old_one(self):
        self.sample('horn_feed.tarvex')
        self.write('out.html', b'the old one')
        result = self.run_tool('gallery', '-o', 'out.html', '.', restore_signals=False,
                               preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (20_000, 20_000)))
        self.assertRegex(result.stderr.decode(), r'^tarvex-preview: out\.html: \S.*\n$')
        self.assertEqual(result.returncode, 1)
        self.assertEqual(sorted(os.listdir(self.folder)), ['horn_feed.tarvex', 'out.html'])
        self.assertEqual((self.folder / 'out.html').read_bytes(), b'the old one')

    @unittest.skipIf(WINDOWS, 'no such files there')
    def test_outputs_that_are_no_files(self):
        self.sample('coil.tarvex')
        self.check(['gallery', '-o', '/dev/full', 'coil.tarvex'], 1, '', r'tarvex-preview: /dev/full: \S.*\n')
        self.assertTrue(self.run_tool('gallery', '-o', '/dev/stdout', 'coil.tarvex').stdout.endswith(b'</html>\n'))
        with open(self.folder / 'redirected', 'wb') as file:
            self.run_tool('gallery', '-o', '/dev/stdout', 'coil.tarvex', stdout=file)
        self.assertTrue((self.folder / 'redirected').read_bytes().endswith(b'</html>\n'))
        (self.folder / 'goal').mkdir()
        (self.folder / 'link.html').symlink_to('goal/page.html')
        for _ in range(2):  # made by the first, replaced by the second
            self.check(['gallery', '-o', 'link.html', 'coil.tarvex'], 0)
            self.assertTrue((self.folder / 'link.html').is_symlink())
            self.assertEqual(os.listdir(self.folder / 'goal'), ['page.html'])

    @unittest.skipIf(WINDOWS, 'made with a terminal of this system')
    def test_a_bar_shows_on_a_terminal_alone(self):
        self.sample('coil.tarvex', 'horn_feed.tarvex')
        self.check(['gallery', '-o', 'out.html', '.'], 0, '', '')
        ours, theirs = pty.openpty()
        self.run_tool('gallery', '-o', 'out.html', '.', 'missing', stderr=theirs)
        os.close(theirs)
        shown = os.read(ours, 65536).decode()
        os.close(ours)
        self.assertRegex(shown, r'\r\[#+\.+\] 1 of 3')
        self.assertRegex(shown, r'\[#+\] 3 of 3\r +\r$')
        self.assertRegex(shown, r'\r +\rtarvex-preview: missing: \S')


HOSTILE = [
    '<img src=x onerror="window.hacked=1">', '</script><script>window.hacked=1</script>', '<!--<script>', ']]>{{STYLE}}',
    '"><svg onload=window.hacked=1>', "');window.hacked=1;//", '\u2028window.hacked=1\u2029', '\u202Egnp.exe', '&lt;b&gt;&amp;',
    'javascript:window.hacked=1', '__proto__', '${window.hacked=1}',
]


@unittest.skipIf(WINDOWS, 'the page is the same')
class InBrowser(unittest.TestCase):
    """One page of 2,000 projects, and how it behaves."""

    COUNT = 2000

    @classmethod
    def setUpClass(cls):
        cls.folder = pathlib.Path(tempfile.mkdtemp(prefix='tarvex-gallery-'))
        cls.addClassCleanup(shutil.rmtree, cls.folder)
        picture, draw = stored_picture('horn_feed.tarvex'), random.Random(11)
        cls.projects = []
        for i in range(cls.COUNT):
            words = [draw.choice(('horn', 'patch', 'coil', 'Dämpfung', 'filter')) for _ in range(2)]
            kind = draw.choice(('ZEPH', 'ZEPH Planar', 'ZEPH Quasistatic'))
            path = cls.folder / 'projects' / f'group {i % 9}' / f'{words[0]}_{i}.tarvex'
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_bytes(project(kind, [(f'{words[1]}{i}', f'note {i % 100} of {words[0]}', i % 2)], picture + b'\0' * (i % 5)))
            os.utime(path, (1e9 + i * 7919 % 100003,) * 2)
            cls.projects.append((path.stem, kind, f'{words[1]}{i}', path.stat().st_mtime, path.stat().st_size))
        shutil.copy(SAMPLES / 'no_preview.tarvex', cls.folder / 'projects')
        cls.make('projects', 'page.html')
        cls.browser = Browser()
        cls.addClassCleanup(cls.browser.close)

    @classmethod
    def make(cls, folder, page):
        result = subprocess.run([*RUN, program('tarvex-preview'), 'gallery', '--recursive', folder, '-o', page], cwd=cls.folder)
        assert result.returncode == 0

    def setUp(self):
        self.open('page.html')

    def open(self, page):
        self.browser.open(self.folder / page)
        self.browser.settle()

    def search(self, text):
        """Types it, in the place of what was there."""
        self.browser.run("search.focus(), search.select()")
        self.browser.ask('Input.insertText', text=text)
        self.browser.settle()

    def names(self):
        """The names on the cards that show, in their order."""
        return self.browser.run("Array.from(document.querySelectorAll('.card:not([hidden]) .name'), e => e.textContent)")

    def focused(self):
        return self.browser.run("document.activeElement.querySelector?.('.name')?.textContent ?? document.activeElement.id")

    def test_all_are_there_and_pictures_only_where_they_are_looked_at(self):
        self.assertEqual(self.browser.run("byId('count').textContent"), '2,000 projects')
        self.assertCountEqual(self.names(), [name for name, *_ in self.projects])
        self.assertEqual(self.browser.run("Array.from(document.querySelectorAll('#others h2, #others .path, #others .why'), e => e.textContent)"),
                         ['Without a preview (1)', 'projects/no_preview.tarvex', 'no preview block'])
        self.assertLess(self.browser.run('document.images.length'), 100)
        self.browser.run("shown[1500].card.scrollIntoView()")
        self.browser.settle()
        self.browser.settle()
        self.assertEqual(self.browser.run("(async () => { const image = shown[1500].card.querySelector('img');"
                                          " await image.decode(); return [image.naturalWidth, image.naturalHeight]; })()"), [256, 192])
        self.assertEqual(self.browser.complaints(), [])
        self.assertEqual(self.browser.requests(), [(self.folder / 'page.html').as_uri()])

    def test_searching(self):
        def holding(*words):
            return [p[0] for i, p in enumerate(self.projects)
                    if all(word in f'projects/group {i % 9}/{p[0]}.tarvex {p[1]} 2015.1 {p[2]} note {i % 100} of {p[0]}'.lower()
                           for word in words)]
        rows = [
            ('horn', holding('horn')),
            ('HORN  patch', holding('horn', 'patch')),
            ('planar coil', holding('planar', 'coil')),
            ('dampfung', holding('dämpfung')),  # as people type it
            ('DÄMPFUNG', holding('dämpfung')),
            ('"note 7', []),
            ('group 3/coil', holding('group', '3/coil')),
            ('2015.1', holding()),
            ('no_preview', []),
            ('', holding()),
        ]
        for text, expected in rows:
            self.search(text)
            self.assertCountEqual(self.names(), expected, text)
            self.assertEqual(self.browser.run("byId('nothing').hidden"), bool(expected) or text == 'no_preview', text)
        self.search('no_preview')  # only among those without a preview
        self.assertTrue(self.browser.run("!byId('others').hidden && byId('count').textContent === '0 of 2,000 projects'"))
        self.browser.press('Escape')
        self.assertEqual(len(self.names()), self.COUNT)

    def test_sorting(self):
        def number(name):
            return [int(part) if part.isdigit() else part.replace('ä', 'a').lower() for part in re.split(r'(\d+)', name)]
        by_name = sorted(self.projects, key=lambda p: number(p[0]))
        rows = {'name': by_name, 'modified': sorted(by_name, key=lambda p: -p[3]), 'size': sorted(by_name, key=lambda p: -p[4]),
                'product': sorted(by_name, key=lambda p: p[1])}
        for order, expected in rows.items():
            self.browser.run(f"byId('sort').value = '{order}', byId('sort').dispatchEvent(new Event('change'))")
            self.assertEqual(self.names(), [name for name, *_ in expected], order)
        self.browser.run("byId('reverse').click()")
        self.assertEqual(self.names(), [name for name, *_ in reversed(expected)])
        self.search('horn')  # the order stays
        self.assertEqual(self.names(), [p[0] for p in reversed(expected) if 'horn' in p[0] or 'horn' in p[2]])

    def test_by_keyboard(self):
        columns = self.browser.run("getComputedStyle(cards).gridTemplateColumns.split(' ').length")
        self.assertGreater(columns, 2)
        self.browser.press('/')
        self.assertEqual(self.focused(), 'search')
        self.browser.type('coil')
        names = self.names()
        at = 0
        self.browser.press('ArrowDown')
        for key, step in (('ArrowRight', 1), ('ArrowRight', 1), ('ArrowDown', columns), ('ArrowLeft', -1), ('ArrowUp', -columns)):
            self.assertEqual(self.focused(), names[at])
            self.browser.press(key)
            at += step
        self.assertEqual(self.focused(), names[at])
        self.browser.press('End')
        self.browser.settle()
        self.assertEqual(self.focused(), names[-1])
        seen = self.browser.run("(box => box.top >= 0 && box.bottom <= innerHeight)(document.activeElement.getBoundingClientRect())")
        self.assertTrue(seen)
        self.assertNotEqual(self.browser.run("getComputedStyle(document.activeElement).outlineStyle"), 'none')
        self.browser.press('ArrowRight')
        self.assertEqual(self.focused(), names[-1])
        self.browser.press('Home', 'Enter')
        self.assertTrue(self.browser.run('dialog.open'))
        self.assertEqual(self.browser.run("byId('details-name').textContent"), names[0])
        self.browser.press('Escape')
        self.assertEqual((self.browser.run('dialog.open'), self.focused()), (False, names[0]))
        self.browser.press('ArrowUp')
        self.assertEqual(self.focused(), 'search')
        self.browser.press('Tab', 'Tab', 'Tab')
        self.assertEqual(self.focused(), names[0])  # one stop for all cards

    def test_hostile_texts_are_texts(self):
        def product(text):
            return text.replace("'", '`')  # the other quote ends it, whatever stands before
        folder = self.folder / 'hostile'
        folder.mkdir(exist_ok=True)
        for i, text in enumerate(HOSTILE):
            name = text.replace('/', '_') + f' {i}.tarvex'
            (folder / name).write_bytes(project(product(text), [(text, text, True)], stored_picture('horn_feed.tarvex')))
        raw = "\ud800 alone".encode('utf-8', 'surrogatepass') + b' \xff\xfe<b>'
        (folder / 'raw.tarvex').write_bytes(project(raw, [(raw, raw, False)]))
        (pathlib.Path(os.fsdecode(os.fsencode(folder) + b'/\xff<i>.tarvex'))).write_bytes(project())
        self.make('hostile', 'hostile.html')
        self.open('hostile.html')
        texts = self.browser.run("""Array.from(document.querySelectorAll('.card'), card => Array.from(
            card.querySelectorAll('.name, .product, .design .own'), element => element.textContent))""")
        for i, text in enumerate(HOSTILE):
            name = text.replace('/', '_') + f' {i}'
            self.assertIn([name, product(text) + ' 2015.1', text, text], texts)
        for i in range(len(texts)):
            self.browser.run(f"openDetails(shown[{i}]), dialog.close()")
        self.browser.settle()
        state = self.browser.run("""({hacked: window.hacked, elements: document.querySelectorAll('svg, b, i, iframe, a').length,
            scripts: Array.from(document.scripts).filter(script => !script.type).length, title: document.title,
            images: Array.from(document.images).every(image => image.src.startsWith('data:image/')),
            empty: Object.keys({}.__proto__).length})""")
        self.assertEqual(state, {'elements': 0, 'scripts': 1, 'title': 'hostile', 'images': True, 'empty': 0})
        self.assertEqual(self.browser.complaints(), [])
        self.assertEqual(self.browser.requests(), [(self.folder / 'hostile.html').as_uri()])
        # Were a text to get in as HTML after all, the browser would not run it.
        self.browser.run("""document.body.insertAdjacentHTML('beforeend', '<img src="data:," onerror="window.hacked=1">'
            + '<img src="http://localhost:9/"><iframe srcdoc="<script>parent.hacked=1</script>"></iframe>')""")
        self.browser.settle()
        self.assertIsNone(self.browser.run('window.hacked'))
        self.assertGreaterEqual(len(self.browser.complaints()), 2)

    def test_light_and_dark(self):
        self.addCleanup(self.browser.prefer, '')
        for scheme, colours in {'light': ['rgb(245, 245, 243)', 'rgb(27, 28, 30)', 'rgb(255, 255, 255)'],
                                'dark': ['rgb(21, 22, 24)', 'rgb(230, 230, 228)', 'rgb(30, 32, 35)']}.items():
            self.browser.prefer(scheme)
            self.assertEqual(self.browser.run("""[getComputedStyle(document.body).backgroundColor, getComputedStyle(document.body).color,
                getComputedStyle(document.querySelector('.card')).backgroundColor]"""), colours, scheme)

    def test_nothing_to_show(self):
        (self.folder / 'empty').mkdir(exist_ok=True)
        self.make('empty', 'empty.html')
        self.open('empty.html')
        self.assertEqual(self.browser.run("[byId('count').textContent, byId('nothing').innerText]"),
                         ['0 projects', 'No projects with a preview.'])
        self.browser.press('/', 'ArrowDown', 'Escape')
        self.assertEqual(self.browser.complaints(), [])


if __name__ == '__main__':
    unittest.main()
