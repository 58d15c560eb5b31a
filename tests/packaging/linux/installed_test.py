"""The installed package, as programs see it that were not written here: who says what type a file has, and
two makers of thumbnails, one of which locks the program up.

usage: private_system.sh dbus-run-session -- python3 installed_test.py PACKAGE.deb
"""

import hashlib
import os
import pathlib
import shutil
import subprocess
import tempfile
import unittest

import gi
gi.require_version('GnomeDesktop', '4.0')
from gi.repository import Gio, GLib, GnomeDesktop  # noqa: E402

from desktop import (BROKEN, BYTE_ORDER_MARK, HOME, MIME_TYPE, PACKAGE, PICTURES, SAMPLES, TEMPORARY, dpkg, fitted, png,
                     project, run, size_of)

CACHE = HOME / '.cache' / 'thumbnails'
SIDES = {'normal': 128, 'large': 256}  # as the caches of thumbnails are called


def setUpModule():
    dpkg('-i', PACKAGE)


class DesktopTest(unittest.TestCase):
    """A test with an empty folder, whose name has a blank, and an empty cache of thumbnails."""

    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix='my projects ', dir=HOME))
        self.addCleanup(shutil.rmtree, self.folder)
        shutil.rmtree(CACHE, ignore_errors=True)

    def write(self, name, content):
        path = self.folder / name
        path.write_bytes(content)
        return path

    def check_nothing_is_left(self):
        """No picture in the cache of pictures, and no file where temporary ones are put."""
        left = [path for path in CACHE.rglob('*.png') if 'fail' not in path.parts]
        self.assertEqual(left + list(TEMPORARY.iterdir()), [])


class FileType(DesktopTest):
    HORN = (SAMPLES / 'horn_feed.tarvex').read_bytes()
    FILES = {
        # by the extension, whatever the file holds
        'foo.tarvex': (HORN, True),
        'FOO.TARVEX': (b'a text', True),
        'größe 大きさ.tarvex': (HORN, True),
        'random.tarvex': (BROKEN['random.tarvex'], True),
        'with a mark.tarvex': (BYTE_ORDER_MARK + HORN, True),
        # by what the file holds
        'no extension': (HORN, True),
        'no extension, with a mark': (BYTE_ORDER_MARK + HORN, True),
        'foo.unknown': (HORN, True),
        'foo.tarvex~1': (HORN, True),
        # neither
        'foo.txt': (b'a text', False),
        'tarvex': (b'a text', False),
        'not at the beginning': (b'\n' + HORN, False),
        'another block': (b"$begin 'Another'\n$end 'Another'\n", False),
    }

    def ask(self, *command, **variables):
        return {name: run(*command, str(self.write(name, content)), env={**os.environ, **variables})
                for name, (content, _) in self.FILES.items()}

    def check_types(self, answers):
        for name, (_, ours) in self.FILES.items():
            with self.subTest(name):
                (self.assertIn if ours else self.assertNotIn)(MIME_TYPE, answers[name])

    def test_gio(self):
        self.check_types(self.ask('gio', 'info', '-a', 'standard::content-type'))

    def test_xdg_mime_asks_the_desktop(self):
        self.check_types(self.ask('xdg-mime', 'query', 'filetype', XDG_CURRENT_DESKTOP='GNOME'))

    def test_xdg_mime_without_a_desktop(self):
        # Then it is the Perl reader of the MIME database that says it.
        self.check_types(self.ask('xdg-mime', 'query', 'filetype', XDG_CURRENT_DESKTOP='none'))

    def test_what_the_type_is(self):
        self.assertFalse(Gio.content_type_is_a(MIME_TYPE, 'text/plain'), 'a previewer of text would be taken')
        self.assertTrue(Gio.content_type_is_a(MIME_TYPE, 'application/octet-stream'))
        self.assertEqual(Gio.content_type_get_description(MIME_TYPE), 'Tarvex project')
        names = Gio.content_type_get_icon(MIME_TYPE).get_names()
        icons = pathlib.Path('/usr/share/icons/hicolor/scalable/mimetypes')
        self.assertTrue((icons / (names[0] + '.svg')).exists(), names)


class Tumbler(DesktopTest):
    """The thumbnailer of several desktops: it makes the output file itself and does not look at exit statuses."""

    def setUp(self):
        super().setUp()
        self.bus = Gio.bus_get_sync(Gio.BusType.SESSION)
        self.where = ('org.freedesktop.thumbnails.Thumbnailer1', '/org/freedesktop/thumbnails/Thumbnailer1',
                      'org.freedesktop.thumbnails.Thumbnailer1')

    def queue(self, paths, flavour):
        """Has thumbnails made; gives the URIs that were ready, and those that had errors."""
        answers, loop = {'Ready': [], 'Error': []}, GLib.MainLoop()

        def hear(_bus, _sender, _path, _interface, signal, values):
            if signal in answers:
                answers[signal] += values[1]
            elif signal == 'Finished':
                loop.quit()

        name, path, interface = self.where
        subscription = self.bus.signal_subscribe(name, interface, None, path, None, Gio.DBusSignalFlags.NONE, hear)
        uris = [p.as_uri() for p in paths]
        request = GLib.Variant('(asasssu)', (uris, [MIME_TYPE] * len(uris), flavour, 'default', 0))
        self.bus.call_sync(name, path, interface, 'Queue', request, None, Gio.DBusCallFlags.NONE, 30000)
        timeout = GLib.timeout_add_seconds(60, loop.quit)
        loop.run()
        self.assertTrue(GLib.Source.remove(timeout), 'it never finished')
        self.bus.signal_unsubscribe(subscription)
        return sorted(answers['Ready']), sorted(answers['Error'])

    def test_it_knows_the_type(self):
        name, path, interface = self.where
        types = self.bus.call_sync(name, path, interface, 'GetSupported', None, None, Gio.DBusCallFlags.NONE, 30000)
        self.assertIn(MIME_TYPE, types.unpack()[1])

    def test_pictures(self):
        for flavour, side in SIDES.items():
            paths = [self.write(name, content) for name, (content, _) in PICTURES.items()]
            self.assertEqual(self.queue(paths, flavour), (sorted(p.as_uri() for p in paths), []))
            for path in paths:
                with self.subTest(path.name, flavour=flavour):
                    made = CACHE / flavour / (hashlib.md5(path.as_uri().encode()).hexdigest() + '.png')
                    self.assertEqual(size_of(made), fitted(PICTURES[path.name][1], side))
        self.assertEqual(list(TEMPORARY.iterdir()), [])

    def test_files_without_a_picture(self):
        paths = [self.write(name, content) for name, content in BROKEN.items()]
        self.assertEqual(self.queue(paths, 'normal'), ([], sorted(p.as_uri() for p in paths)))
        self.check_nothing_is_left()


class Gnome(DesktopTest):
    """GNOME's thumbnailer: it locks the program up with /usr and the file, which it renames; it looks at the status."""

    SIZES = {'normal': GnomeDesktop.DesktopThumbnailSize.NORMAL, 'large': GnomeDesktop.DesktopThumbnailSize.LARGE}

    def make(self, path, size='normal'):
        """The picture; throws when there is none."""
        factory = GnomeDesktop.DesktopThumbnailFactory.new(self.SIZES[size])
        self.assertTrue(factory.can_thumbnail(path.as_uri(), MIME_TYPE, int(path.stat().st_mtime)))
        return factory.generate_thumbnail(path.as_uri(), MIME_TYPE, None)

    def test_pictures(self):
        for name, (content, size) in PICTURES.items():
            for flavour, side in SIDES.items():
                with self.subTest(name, flavour=flavour):
                    picture = self.make(self.write(name, content), flavour)
                    self.assertEqual((picture.get_width(), picture.get_height()), fitted(size, side))
        self.assertEqual(list(TEMPORARY.iterdir()), [])

    def test_files_without_a_picture(self):
        for name, content in BROKEN.items():
            with self.subTest(name), self.assertRaises(GLib.Error):
                self.make(self.write(name, content))
        self.check_nothing_is_left()


class Contract(DesktopTest):
    """What every such program relies on: status 0 and a whole picture, or another status and none."""

    def test_the_entry_names_the_program(self):
        entry = GLib.KeyFile.new()
        entry.load_from_file('/usr/share/thumbnailers/tarvex-preview.thumbnailer', GLib.KeyFileFlags.NONE)
        programs = [entry.get_string('Thumbnailer Entry', key).split()[0] for key in ('TryExec', 'Exec')]
        self.assertEqual([shutil.which(program) for program in programs], ['/usr/bin/tarvex-preview'] * 2)

    def test_the_doctor_finds_every_link(self):
        answer = subprocess.run(['tarvex-preview', 'doctor', str(self.write('a.tarvex', project(png(3, 2))))],
                                capture_output=True, text=True, stdin=subprocess.DEVNULL)
        self.assertEqual(answer.returncode, 0, answer.stdout + answer.stderr)

    def thumbnail(self, path, out, *options, before=()):
        command = [*before, 'tarvex-preview', 'thumbnail', *options, '-o', str(out), str(path)]
        return subprocess.run(command, stderr=subprocess.DEVNULL, stdin=subprocess.DEVNULL).returncode

    def test_sizes(self):
        out = self.folder / 'out.png'
        for width, height in ((1, 1000), (1000, 1), (1, 1), (3, 2), (200, 100), (129, 128), (400, 300)):
            path = self.write('a.tarvex', project(png(width, height)))
            for side in (1, 2, 128, 256, 1000):
                with self.subTest(size=(width, height), side=side):
                    self.assertEqual(self.thumbnail(path, out, '--size', str(side)), 0)
                    self.assertEqual(size_of(out), fitted((width, height), side))

    def test_no_picture_is_left_whatever_was_there_before(self):
        out = self.folder / 'out.png'
        for name, content in BROKEN.items():
            path = self.write(name, content)
            for what, before in {'nothing': None, 'an empty file': b'', 'an old picture': png(8, 8)}.items():
                with self.subTest(name, before=what):
                    if before is not None:
                        out.write_bytes(before)
                    self.assertEqual(self.thumbnail(path, out), 1)
                    self.assertFalse(out.exists())
                out.unlink(missing_ok=True)

    def test_nothing_is_left_when_the_disk_is_full(self):
        disk = self.folder / 'disk'
        disk.mkdir()
        run('mount', '-t', 'tmpfs', '-o', 'size=8k', 'private', str(disk))
        self.addCleanup(run, 'umount', str(disk))
        path = self.write('a.tarvex', (SAMPLES / 'array_steering.tarvex').read_bytes())
        self.assertEqual(self.thumbnail(path, disk / 'out.png'), 1)
        self.assertEqual(list(disk.iterdir()), [])

    def test_it_needs_its_file_alone(self):
        # No home, no /etc, no /proc, no other temporary folder, nothing of the environment, not even the file's name.
        sandbox = ['bwrap', '--unshare-all', '--clearenv', '--setenv', 'PATH', '/usr/bin', '--ro-bind', '/usr', '/usr',
                   '--symlink', 'usr/lib', '/lib', '--symlink', 'usr/lib64', '/lib64', '--chdir', '/',
                   '--bind', str(self.folder), '/out']
        for name, (content, size) in PICTURES.items():
            path = self.write('picture', content)
            with self.subTest(name):
                status = self.thumbnail('/in', '/out/out.png', '--size', '128',
                                        before=[*sandbox, '--ro-bind', str(path), '/in'])
                self.assertEqual((status, size_of(self.folder / 'out.png')), (0, fitted(size, 128)))
        self.assertEqual(sorted(p.name for p in self.folder.iterdir()), ['out.png', 'picture'])


if __name__ == '__main__':
    unittest.main()
