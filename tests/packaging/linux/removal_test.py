"""Nothing is left of the package when it is gone.

usage: private_system.sh python3 removal_test.py PACKAGE.deb
"""

import os
import pathlib
import unittest

from desktop import HOME, MIME_TYPE, PACKAGE, SAMPLES, dpkg, run

CHANGES = pathlib.Path(os.environ['PRIVATE_CHANGES'])
ORIGINAL = pathlib.Path(os.environ['PRIVATE_ORIGINAL'])
# What dpkg and the keepers of caches write about their own work.
THEIR_OWN = ('var/log/', 'var/lib/dpkg/', 'var/cache/man/')
# Caches that are made anew when a package comes or goes; the first time they were not there.
CACHES = ('usr/share/icons/hicolor/icon-theme.cache',)


def type_of_sample():
    path = HOME / 'horn.tarvex'
    path.write_bytes((SAMPLES / 'horn_feed.tarvex').read_bytes())
    return run('gio', 'info', '-a', 'standard::content-type', str(path))


def changed_files():
    """Names of files that are new, changed or gone, from the root on; without those of dpkg itself."""
    for path in CHANGES.rglob('*'):
        name = path.relative_to(CHANGES).as_posix()
        if not path.is_dir() and not name.startswith(THEIR_OWN):
            yield name


class Removal(unittest.TestCase):
    def check_that_nothing_is_left(self):
        self.assertNotIn(MIME_TYPE, type_of_sample())
        new, gone, named = [], [], []
        for name in changed_files():
            changed, original = CHANGES / name, ORIGINAL / name
            if changed.is_char_device():  # stands for a file that was removed
                gone += [name] if original.exists() else []
                continue
            new += [name] if not original.exists() and name not in CACHES else []
            named += [name] if b'tarvex' in changed.read_bytes().lower() else []
        self.assertEqual((new, gone, named), ([], [], []), 'new, gone, or naming us')
        # Of folders, one of those that only we made would be left.
        folders = [path.relative_to(CHANGES) for path in CHANGES.rglob('*') if path.is_dir()]
        self.assertEqual([f for f in folders if not (ORIGINAL / f).exists() and not f.as_posix().startswith(THEIR_OWN)], [])
        self.assertEqual(list(pathlib.Path('/var/lib/dpkg/info').glob('tarvex*')), [])

    def test_removing_and_purging(self):
        for way in ('--remove', '--purge'):
            with self.subTest(way):
                dpkg('-i', PACKAGE)
                self.assertIn(MIME_TYPE, type_of_sample())
                self.assertIn('usr/bin/tarvex-preview', changed_files())
                dpkg(way, 'tarvex-preview')
                self.check_that_nothing_is_left()

    def test_installing_over_itself(self):
        dpkg('-i', PACKAGE)
        dpkg('-i', PACKAGE)
        self.assertIn(MIME_TYPE, type_of_sample())
        dpkg('--purge', 'tarvex-preview')
        self.check_that_nothing_is_left()


if __name__ == '__main__':
    unittest.main()
