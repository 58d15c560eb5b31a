"""tarvex-preview doctor: each link between a project and its picture is broken on purpose, one at a time."""

import json
import os
import pathlib
import re
import shutil
import struct
import subprocess
import tempfile
import unittest
import zlib

from toolbox import RUN, SAMPLES, WINDOWS, ToolTest, program

PACKAGING = SAMPLES.parent / 'packaging' / 'linux'
TYPE = 'application/x-tarvex-project'


class DoctorTest(ToolTest):
    tool = 'tarvex-preview'
    environment = None

    def doctor(self, *arguments):
        result = self.run_tool('doctor', *arguments, env=self.environment)
        self.assertEqual(result.stderr.decode(), '')
        return result.returncode, result.stdout.decode().replace('\r\n', '\n')

    def check_whole(self, *arguments, shows=''):
        status, text = self.doctor(*arguments)
        self.assertNotIn('BROKEN', text)
        self.assertTrue(text.endswith('\nNo link is broken.\n'), text)
        self.assertRegex(text, shows)
        self.assertEqual(status, 0)

    def check_broken(self, arguments, link, found, remedy, besides=0):
        """The link is the first broken one, and no more than those that hang on it are."""
        status, text = self.doctor(*arguments)
        links = re.findall(r'^  BROKEN +(.*?)  ', text, re.M)
        self.assertEqual((links[:1], len(links) - 1), ([link], besides), text)
        verdict = re.search(r'\nThe first broken link: (.*) \(.*\)\n  Found:  (.*)\n  Remedy: (.*)\n', text)
        self.assertEqual(verdict[1], link)
        self.assertRegex(verdict[2], found)
        self.assertRegex(verdict[3], remedy)
        self.assertEqual(status, 1)


# ---------------------------------------------------------------------------------------------
# Linux: files below the folders of shared data

HEADER = 'MIME-Magic\0\n'


def failed_picture(uri, modified):
    def chunk(kind, data):
        return struct.pack('>I', len(data)) + kind + data + struct.pack('>I', zlib.crc32(kind + data))
    texts = {b'Thumb::URI': uri, b'Thumb::MTime': str(modified)}
    return b'\x89PNG\r\n\x1a\n' + b''.join(chunk(b'tEXt', key + b'\0' + text.encode()) for key, text in texts.items())


def linux_tree(root):
    """What the package installs, below a folder of its own."""
    for folder in 'share/mime/packages', 'share/thumbnailers', 'bin', 'home/.local/share/mime':
        (root / folder).mkdir(parents=True)
    shutil.copy(PACKAGING / 'tarvex-preview.xml', root / 'share/mime/packages')
    shutil.copy(PACKAGING / 'tarvex-preview.thumbnailer', root / 'share/thumbnailers')
    (root / 'bin/tarvex-preview').write_text('#!/bin/sh\n')
    (root / 'bin/tarvex-preview').chmod(0o755)
    if shutil.which('update-mime-database'):
        subprocess.run(['update-mime-database', str(root / 'share/mime')], check=True,
                       stderr=subprocess.DEVNULL)  # it wonders at the folder
    else:
        (root / 'share/mime/globs2').write_text(f'50:{TYPE}:*.tarvex\n')
        (root / 'share/mime/magic').write_text(f"{HEADER}[60:{TYPE}]\n>0=\0\x17$begin 'TarvexProject'\n")


def edit(path, old, new):
    return lambda root: (root / path).write_text((root / path).read_text().replace(old, new))


def write(path, text):
    def act(root):
        (root / path).parent.mkdir(parents=True, exist_ok=True)
        (root / path).write_text(text)
    return act


def remove(path):
    return lambda root: (root / path).unlink()


GLOBS, MAGIC = 'share/mime/globs2', 'share/mime/magic'
USER_GLOBS, ENTRY = 'home/.local/share/mime/globs2', 'share/thumbnailers/tarvex-preview.thumbnailer'
NO_ENTRY = r'^no \*\.thumbnailer in .*home/\.local/share/thumbnailers, .*share/thumbnailers is for ' + TYPE

LINUX_BREAKS = [
    # what is done                              the link that breaks  what is found, and what helps
    (remove('share/mime/packages/tarvex-preview.xml'), 'Type', r'^no \*\.xml in .*share/mime/packages', 'Install'),
    (edit('share/mime/packages/tarvex-preview.xml', TYPE, 'text/x-other'), 'Type', 'describes ' + TYPE, 'Install'),
    (remove(GLOBS), 'Name pattern', r'\*\.tarvex in .*share/mime/globs2', r'update-mime-database .*/share/mime$'),
    (write(USER_GLOBS, f'0:{TYPE}:__NOGLOBS__\n'), 'Name pattern', 'no type', 'update-mime-database'),
    (write(USER_GLOBS, '60:text/x-other:*.tarvex\n'), 'Name pattern', r'text/x-other in .*home', 'remove its description'),
    (write(GLOBS, '50:text/x-other:*.tarvex\n'), 'Name pattern', 'text/x-other in', 'claims the extension'),
    (edit(MAGIC, TYPE, 'text/x-other'), 'Content pattern', 'TarvexProject.*share/mime/magic', 'update-mime-database'),
    (remove(MAGIC), 'Content pattern', 'nothing on files', 'update-mime-database'),
    (remove(ENTRY), 'Thumbnailer', NO_ENTRY, 'Install the package'),
    (edit(ENTRY, TYPE, TYPE + '-other'), 'Thumbnailer', NO_ENTRY, 'Install the package'),
    (edit(ENTRY, '[Thumbnailer Entry]', '[Other]'), 'Thumbnailer', NO_ENTRY, 'Install the package'),
    (edit(ENTRY, '\nExec=', '\nTask='), 'Thumbnailer', 'has no line Exec=', 'Install the package'),
    (remove('bin/tarvex-preview'), 'Program', r'^tarvex-preview, which .*thumbnailer names, is no program in PATH=', '/usr/bin'),
    (lambda root: (root / 'bin/tarvex-preview').chmod(0o644), 'Program', 'is no program in PATH', '/usr/bin'),
    (edit(ENTRY, 'TryExec=tarvex-preview', 'TryExec=/opt/gone'), 'Program', '^/opt/gone, which', 'Install'),
    (edit(ENTRY, '\nExec=tarvex-preview', '\nExec=other-preview'), 'Program', '^other-preview, which', 'Install'),
]


@unittest.skipIf(WINDOWS, 'Linux')
class LinuxLinks(DoctorTest):
    @classmethod
    def setUpClass(cls):
        cls.whole = pathlib.Path(tempfile.mkdtemp(prefix='tarvex-'))
        cls.addClassCleanup(shutil.rmtree, cls.whole)
        linux_tree(cls.whole)

    def setUp(self):
        super().setUp()
        self.root = self.folder / 'system'
        self.mend()
        self.environment = {'HOME': str(self.root / 'home'), 'XDG_DATA_DIRS': f'/nowhere:{self.root}/share',
                            'XDG_CACHE_HOME': str(self.root / 'cache'), 'PATH': f'/nowhere:{self.root}/bin'}
        self.sample('coil.tarvex')

    def mend(self):
        shutil.rmtree(self.root, ignore_errors=True)
        shutil.copytree(self.whole, self.root)

    def test_whole_chain(self):
        self.check_whole(shows=f'ok +Type +{TYPE} in .*tarvex-preview.xml\n')
        self.check_whole('coil.tarvex', shows=r'ok +Picture +64 x 48 pixels \(PNG, 591 bytes')
        shutil.copy(SAMPLES / 'bandpass.tarvex', self.folder / 'A b.TARVEX')
        self.check_whole('A b.TARVEX', shows=r'ok +Name pattern +\*\.tarvex is ' + TYPE)
        (self.folder / 'horn.abc').write_bytes(b'\xef\xbb\xbf' + (SAMPLES / 'horn_feed.tarvex').read_bytes())
        self.check_whole('horn.abc', shows=r'note +Name pattern +no type has names like this one')

    def test_for_one_user(self):
        (self.root / 'share').rename(self.root / 'own')
        self.environment['XDG_DATA_HOME'] = str(self.root / 'own')
        self.check_whole(shows='ok +Thumbnailer +.*own/thumbnailers')

    def test_breaks(self):
        for number, (do, *expected) in enumerate(LINUX_BREAKS):
            with self.subTest(number=number, link=expected[0]):
                self.mend()
                do(self.root)
                self.check_broken(['coil.tarvex'], *expected)

    def test_name_and_content_tell_nothing(self):
        self.write('text.abc', b'\n' + (SAMPLES / 'coil.tarvex').read_bytes())
        self.check_broken(['text.abc'], 'Content pattern', 'does not begin with', r'extension \.tarvex')
        write(USER_GLOBS, '50:text/x-abc:*.abc\n')(self.root)
        self.check_broken(['text.abc'], 'Name pattern', r'\*\.abc is text/x-abc', r'extension \.tarvex')

    def test_failures_are_remembered(self):
        name = 'Gr\u00fc\u00df +%.tarvex'
        shutil.copy(SAMPLES / 'coil.tarvex', self.folder / name)
        modified = int((self.folder / name).stat().st_mtime)
        failed = self.root / 'cache/thumbnails/fail/some-factory/0.png'
        failed.parent.mkdir(parents=True)
        for uri, time, remembered in [(f'file://{self.folder}/Gr%C3%BC%C3%9F%20+%25.tarvex', modified, True),
                                      (f'file://{self.folder}/Gr%C3%BC%C3%9F%20+%25.tarvex', modified - 1, False),
                                      (f'file://{self.folder}/Gr%C3%BC%C3%9F%20+%25.tarvex2', modified, False)]:
            failed.write_bytes(failed_picture(uri, time))
            self.check_whole(name, shows=('note' if remembered else 'ok') + ' +Remembered failures')


# ---------------------------------------------------------------------------------------------
# Windows: the registry

CLASS = '{05DE8458-5BB6-444E-B969-38830122D2D5}'
TIP, PICTURE = '{00021500-0000-0000-C000-000000000046}', '{BB2E617C-0920-11d1-9A0B-00C04FC2D6C1}'
OTHER = '{11111111-2222-3333-4444-555555555555}'
USER, MACHINE = 'HKEY_CURRENT_USER\\Software\\', 'HKEY_LOCAL_MACHINE\\Software\\'
CURRENT = 'Microsoft\\Windows\\CurrentVersion\\'
POLICIES, ADVANCED = CURRENT + 'Policies\\Explorer', CURRENT + 'Explorer\\Advanced'
USER_CHOICE = USER + CURRENT + 'Explorer\\FileExts\\.tarvex\\UserChoice'
# The other view: of it, Wine keeps all apart.
CLASSES, CLASSES32 = MACHINE + 'Classes\\', MACHINE + 'Classes\\Wow6432Node\\'
SERVER, SERVER32 = (view + f'CLSID\\{CLASS}\\InprocServer32' for view in (CLASSES, CLASSES32))


def lists(name, *, software=MACHINE):
    return software + CURRENT + 'Shell Extensions\\' + name


def key(path, **values):
    """A key in the form that the registry editor reads. Its value "default" is its own."""
    def text(value):
        return f'dword:{value:08x}' if isinstance(value, int) else \
            '-' if value is None else '"' + value.replace('\\', '\\\\') + '"'
    return f'[{path}]\n' + ''.join(
        ('@' if name == 'default' else f'"{name}"') + f'={text(value)}\n' for name, value in values.items())


def gone(path):
    return f'[-{path}]\n'


def handler(interface, class_id, *, classes=CLASSES, at='.tarvex'):
    path = f'{classes}{at}\\ShellEx\\{interface}'
    return key(path, default=class_id) if class_id else gone(path)


def dll(name):
    return 'Z:' + str(name).replace('/', '\\')


# By its place, for a name alone Wine asks its shell, which fails at times.
REGEDIT = 'C:\\windows\\regedit.exe'
OURS = dll(pathlib.Path(os.environ['TARVEX_BIN']) / 'TarvexShellExt.dll')

CLEAN = ''.join([
    *(gone(f'{classes}{name}') for classes in (CLASSES, CLASSES32, USER + 'Classes\\')
      for name in ('.tarvex', 'Tarvex.Test', f'CLSID\\{CLASS}', f'CLSID\\{OTHER}')),
    *(key(lists(name, software=software), **{CLASS: None})
      for name in ('Approved', 'Blocked') for software in (USER, MACHINE, MACHINE + 'Wow6432Node\\')),
    key(MACHINE + POLICIES, EnforceShellExtensionSecurity=None, DisableThumbnails=None),
    key(USER + POLICIES, DisableThumbnails=None), key(USER + ADVANCED, ShowInfoTip=None, IconsOnly=None),
    gone(USER_CHOICE)])


def whole(dll32):
    return ''.join([
        key(SERVER, default=OURS, ThreadingModel='Apartment'), key(SERVER32, default=dll32, ThreadingModel='Apartment'),
        *(handler(interface, CLASS) for interface in (TIP, PICTURE))])


POLICY = key(MACHINE + POLICIES, EnforceShellExtensionSecurity=1)
PROGID = key(CLASSES + '.tarvex', default='Tarvex.Test') + key(CLASSES + 'Tarvex.Test', default='A test')
FOREIGN = key(f'{CLASSES}CLSID\\{OTHER}', default='Another viewer')
NO_CLASS = gone(CLASSES + 'CLSID\\' + CLASS)
REGISTER = r'^Run the installer again, or as administrator: .*System32\\regsvr32\.exe'

WINDOWS_WHOLE = [
    # what is done                                   what is shown
    ('', r'(?s)ok +Object +is made.*Programs of 32 bits.*- +DLL loads +only the tarvex-preview.exe for x86 can try'),
    (gone(CLASSES32 + 'CLSID\\' + CLASS), r'Programs of 32 bits\n  - +Class +is not registered for them'),
    (POLICY + key(lists('Approved'), **{CLASS: 'x'}) + key(lists('Approved', software=MACHINE + 'Wow6432Node\\'), **{CLASS: 'x'}),
     r'ok +Approved +HKLM\\'),
    (PROGID + handler(TIP, CLASS, at='Tarvex.Test') + handler(TIP, None), r'note +Tip at \.tarvex .*\n  ok +Tip at Tarvex\.Test'),
    (key(CLASSES + '.tarvex', default='Not.There'), r'- +Tip at ProgID +the extension has none'),
    (PROGID, r'- +Thumbnail at Tarvex\.Test +nothing stands there'),
]
WINDOWS_BREAKS = [
    # what is done                                   the link that breaks  what is found, and what helps
    (NO_CLASS, 'Class', r'no key CLSID.*32-bit programs have one', REGISTER),
    (gone(SERVER), 'DLL named', 'no key InprocServer32', REGISTER),
    (key(SERVER, default='Z:\\gone\\x.dll'), 'DLL present', r'^Z:\\gone\\x\.dll is not there', 'Run the installer'),
    (key(SERVER, default='{folder}\\x86.dll'), "DLL's machine", 'is for x86; these programs need one for x64', 'installer'),
    (key(SERVER, default='{folder}\\text.dll'), "DLL's machine", 'is no DLL', 'Run the installer'),
    (key(SERVER, ThreadingModel=None), 'Threading model', 'none is set', REGISTER),
    (key(SERVER, ThreadingModel='Free'), 'Threading model', '"Free" is set, not "Apartment"', REGISTER),
    (key(SERVER, default='{folder}\\cut.dll'), 'DLL loads', 'cannot be loaded: ', 'virus scanner'),
    (key(SERVER, default='C:\\windows\\system32\\shell32.dll'), 'DLL loads', 'does not know the class: .*0x80040111',
     'Another DLL'),
    (key(SERVER32, default=OURS), "DLL's machine", 'is for x64; these programs need one for x86', 'each kind'),
    (handler(TIP, None), 'Tip at .tarvex', 'nothing is set at .*ShellEx',
     re.escape(f'reg add "HKLM\\Software\\Classes\\.tarvex\\ShellEx\\{TIP}" /ve /d "{CLASS}" /f') + '$'),
    (handler(PICTURE, None), 'Thumbnail at .tarvex', 'nothing is set at', r'^Run the installer again, or .*reg add'),
    (handler(TIP, OTHER) + FOREIGN, 'Tip at .tarvex', f'HKLM.* leads to another program, {OTHER} "Another viewer"', 'reg add'),
    (handler(TIP, OTHER, classes=USER + 'Classes\\'), 'Tip at .tarvex', 'HKCU.* another program', 'reg add'),
    (PROGID + handler(PICTURE, OTHER, at='Tarvex.Test'), 'Thumbnail at Tarvex.Test', 'another program', 'Tarvex.Test'),
    (key(USER_CHOICE, ProgId='Tarvex.Test') + PROGID.replace('.tarvex]', '.other]') + handler(TIP, OTHER, at='Tarvex.Test'),
     'Tip at Tarvex.Test', 'another program', 'Run the installer'),
    (POLICY, 'Approved', 'a policy lets no other run', 'as administrator', 1),
    (key(lists('Blocked'), **{CLASS: ''}), 'Not blocked', r'HKLM.*Blocked has the class', 'delete the value'),
    (key(lists('Blocked', software=USER), **{CLASS: ''}), 'Not blocked', r'HKCU.*Blocked', 'delete the value', 1),
    (key(USER + ADVANCED, ShowInfoTip=0), 'Tips are shown', 'ShowInfoTip is 0', 'Show pop-up description'),
    (key(USER + ADVANCED, IconsOnly=1), 'Thumbnails are shown', 'IconsOnly is 1', 'Always show icons'),
    (key(MACHINE + POLICIES, DisableThumbnails=1), 'Thumbnails are allowed', 'DisableThumbnails', 'administrator'),
]


@unittest.skipUnless(WINDOWS, 'Windows')
class WindowsLinks(DoctorTest):
    def setUp(self):
        super().setUp()
        self.addCleanup(self.set_registry, CLEAN)
        for name, content in [('x86.dll', self.image(0x14C)), ('cut.dll', self.image(0x8664)), ('text.dll', b'text')]:
            self.write(name, content)

    @staticmethod
    def image(machine):
        """The beginning of a DLL."""
        return b'MZ'.ljust(60, b'\0') + struct.pack('<I', 64) + b'PE\0\0' + struct.pack('<H', machine) + bytes(18)

    def set_registry(self, text):
        (self.folder / 'do.reg').write_text('REGEDIT4\n\n' + text)
        subprocess.run([*RUN, REGEDIT, '/S', 'do.reg'], cwd=self.folder, check=True)

    def set_whole(self, and_then):
        folder = dll(self.folder)
        self.set_registry(CLEAN + whole(folder + '\\x86.dll') + and_then.replace('{folder}', folder.replace('\\', '\\\\')))

    def test_registered_by_the_dll(self):
        self.set_registry(CLEAN + handler(TIP, CLASS) + handler(PICTURE, CLASS))
        for undo in [], ['/u']:
            subprocess.run([*RUN, 'regsvr32', '/s', *undo, OURS], check=True)
            if not undo:
                self.check_whole(shows='ok +Threading model +Apartment')
        self.check_broken([], 'Class', 'no key CLSID', REGISTER)

    def test_whole_chain(self):
        for number, (do, shows) in enumerate(WINDOWS_WHOLE):
            with self.subTest(number=number):
                self.set_whole(do)
                self.check_whole(shows=shows)

    def test_for_one_user(self):
        # Wine shows such a class to programs of both kinds, and to none of them in use.
        self.set_whole(NO_CLASS + key(SERVER.replace(MACHINE, USER), default=OURS, ThreadingModel='Apartment'))
        self.assertRegex(self.doctor()[1], r'(?s)ok +Class +HKCU.*for this user.*note +Object.*Programs of 32 bits')

    def test_breaks(self):
        for number, (do, *expected) in enumerate(WINDOWS_BREAKS):
            with self.subTest(number=number, link=expected[0]):
                self.set_whole(do)
                self.check_broken([], *expected)

    def test_extensions(self):
        self.set_whole('')
        self.check_broken(['x.abc'], 'Tip at .abc', 'nothing is set', r'^Run the installer again with /EXT=\.abc, or', 2)
        self.check_broken(['a.b/x'], 'Extension', 'the name has none', r'extension \.tarvex', 1)


# ---------------------------------------------------------------------------------------------
# The file, and the command

COIL = (SAMPLES / 'coil.tarvex').read_bytes()
PREVIEW = COIL.index(b"$begin 'ProjectPreview'")
FILES = {
    'head.tarvex': COIL.replace(b'Product=', b'Produce='),
    'version.tarvex': COIL.replace(b'Version(12, 1)', b'Version(12)'),
    'deep.tarvex': b'\n' * 20 + COIL,
    'end.tarvex': COIL[:PREVIEW],
    'half.tarvex': COIL[:COIL.index(b'\t$end')],
    'late.tarvex': COIL + b"$end 'TarvexProject'\n",
    'damaged.tarvex': COIL.replace(b"Factory='Quasistatic'", b"Factory)'Quasistatic'"),
    'unframed.tarvex': COIL.replace(b"$end 'DesignInfo'", b''),
    'plain.tarvex': COIL.replace(b"Thumbnail='", b"Picture='"),
    'broken.tarvex': COIL.replace(b'89504e47', b'89504e48'),
    'unknown.tarvex': COIL.replace(b"Thumbnail64=''", b"Thumbnail64='R0lGODlh'"),
}
FILE_BREAKS = [
    # file            the link that breaks  what is found, and what helps
    ('gone.tarvex', 'File', '(?i)no such file|not found', 'moved or deleted'),
    ('.', 'File', 'it is a folder', 'folders, pipes and devices'),
    ('head.tarvex', 'Head', r"the first 20 lines lack Product='\.\.\.'$", 'Type: Unknown'),
    ('version.tarvex', 'Head', r'lack Version\(major, minor\)', 'save it'),
    ('deep.tarvex', 'Head', r"lack Product=.*\$begin 'Desktop'.*Version", 'save it'),
    ('large.tarvex', 'Size', '^2147483648 bytes', 'smaller'),
    ('end.tarvex', 'Preview', rf"behind \"\$end 'AllReferencedFilesForProject'\" at byte {PREVIEW - 36}$", 'in the suite and save'),
    ('half.tarvex', 'Preview', 'no part of a project', 'whole copy'),
    ('late.tarvex', 'Preview', rf"behind \"\$end 'TarvexProject'\" at byte {len(COIL)}$", 'in the suite and save'),
    ('damaged.tarvex', 'Designs', r"1 design\(s\); damaged: 1 \(.* in line 9 of the preview block", 'left out'),
    ('unframed.tarvex', 'Designs', 'damaged: ', 'left out'),
    ('plain.tarvex', 'Picture', 'has no picture', 'save it'),
    ('broken.tarvex', 'Picture', 'cannot be decoded: unknown format, 591 bytes as hexadecimal', 'damaged'),
    ('unknown.tarvex', 'Picture', 'cannot be decoded: GIF, 6 bytes as base64', 'format'),
]


class FileLinks((WindowsLinks if WINDOWS else LinuxLinks)):
    """On a system where all other links hold."""

    test_breaks = test_whole_chain = test_for_one_user = test_extensions = None
    test_name_and_content_tell_nothing = test_failures_are_remembered = test_registered_by_the_dll = None

    def setUp(self):
        super().setUp()
        if WINDOWS:
            self.set_whole('')
        for name, content in FILES.items():
            self.write(name, content)
        self.write('large.tarvex', COIL)
        os.truncate(self.folder / 'large.tarvex', 1 << 31)

    def test_file(self):
        for file, *expected in FILE_BREAKS:
            with self.subTest(file):
                self.check_broken([file], *expected)
        if not WINDOWS:  # nothing waits for somebody to write there
            os.mkfifo(self.folder / 'pipe.abc')
            self.check_broken(['pipe.abc'], 'Content pattern', 'does not begin', 'extension', 1)
        else:  # whose narrow names lack something
            (self.folder / 'Вид.tarvex').write_bytes(COIL)
            self.check_broken(['Вид.tarvex'], 'Name', r"code page lacks; what opens is \"\?\?\?\.tarvex\"", 'without unusual')

    def test_command(self):
        self.check(['doctor', 'a', 'b'], 2, stderr='tarvex-preview: (?s:.*)')
        status, text = self.doctor('--json', 'plain.tarvex')
        report = json.loads(text)
        self.assertEqual((status, report['firstBroken']), (1, {'title': 'File plain.tarvex', 'name': 'Picture'}))
        links = {link['name']: link for group in report['groups'] for link in group['links']}
        self.assertEqual({name for name, link in links.items() if 'remedy' in link}, {'Picture'})
        self.assertEqual(links['Head'], {'name': 'Head', 'state': 'ok', 'found': 'ZEPH Quasistatic 12.1 (product in line 2, version in line 4)'})


if __name__ == '__main__':
    unittest.main()
