"""Manual pages and completion know every command and option that the tools' own help tells of, and no other.

usage: python3 documents_test.py BIN PACKAGING PACKAGE.deb
"""

import os
import pathlib
import re
import shlex
import subprocess
import sys
import unittest

BIN, PACKAGING = (pathlib.Path(p) for p in sys.argv[1:3])
PACKAGE = sys.argv[3]
TOOLS = ('tarvex-preview', 'tarvex-blocks')


def output(*command, **options):
    return subprocess.run(command, check=True, text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, **options).stdout


def help_of(tool, *command):
    """Subcommands, options with their words to choose from, as --help prints them."""
    text = output(str(BIN / tool), *command, '--help')
    subcommands = re.findall(r'^  ([a-z]+)  ', text.split('Subcommands:')[1], re.M) if 'Subcommands:' in text else []
    options = {}
    for names, choices in re.findall(r'^  (-[^ ]+)(?: ([a-z0-9]+(?:\|[a-z0-9]+)+))?', text, re.M):
        options.update({name: choices.split('|') if choices else [] for name in names.split(',')})
    return subcommands, options


def manual(tool):
    """The manual page as plain text, with few lines to a paragraph."""
    text = output('man', '-l', '-Tutf8', str(PACKAGING / (tool + '.1')),
                  env={**os.environ, 'LC_ALL': 'C.UTF-8', 'MANWIDTH': '200', 'MAN_KEEP_FORMATTING': ''})
    return re.sub('.\b', '', text)


def documented_options(tool):
    """Option: the commands that it is said to be for; "*" for all."""
    text = re.split(r'^[A-Z]', manual(tool).split('\nOPTIONS\n')[1], maxsplit=1, flags=re.M)[0]
    found, section = {}, '*'
    for paragraph in re.split(r'\n *\n', text):
        words = ' '.join(paragraph.split())
        heading = re.match(r'Options of ([a-z]+) ', words)
        if heading:
            section, words = heading[1], words[heading.end():]
        entry = re.match(r'(--?[a-z-]+)(?:, (--?[a-z-]+))?[^(]*(?:\(([a-z, ]+)\))?', words)
        if entry:
            commands = set(entry[3].split(', ')) if entry[3] else {section}
            found.update({name: commands for name in entry.groups()[:2] if name})
    return found


def completions(tool, *words):
    """What the shell offers after these words, the last of which may be the beginning of one."""
    script = f'''
        source /usr/share/bash-completion/bash_completion
        source {shlex.quote(str(PACKAGING / (tool + '.bash')))}
        COMP_WORDS=({' '.join(map(shlex.quote, (tool, *words)))}) COMP_CWORD={len(words)}
        COMP_LINE="${{COMP_WORDS[*]}}" COMP_POINT=${{#COMP_LINE}}
        $(complete -p {tool} | sed 's/.*-F \\([^ ]*\\).*/\\1/') {tool} {shlex.quote(words[-1])} {tool}
        printf '%s\\n' "${{COMPREPLY[@]}}"'''
    return set(output('bash', '-c', script).split())


class Documents(unittest.TestCase):
    maxDiff = None

    def test_commands(self):
        for tool in TOOLS:
            commands = set(help_of(tool)[0])
            self.assertGreater(len(commands), 1)
            text = manual(tool)
            described = set(re.findall(r'^       ([a-z]+)\b', text.split('\nCOMMANDS\n')[1].split('\nOPTIONS\n')[0], re.M))
            called = set(re.findall(r'^ +' + tool + r' ([a-z]+)', text.split('\nDESCRIPTION\n')[0], re.M))
            self.assertEqual(commands - described, set(), 'not described')
            self.assertEqual(commands - called, set(), 'not in the synopsis')
            self.assertEqual(commands - completions(tool, ''), set(), 'not completed')

    def test_options(self):
        for tool in TOOLS:
            documented = documented_options(tool)
            for command in help_of(tool)[0]:
                with self.subTest(f'{tool} {command}'):
                    options = set(help_of(tool, command)[1])
                    described = {name for name, commands in documented.items() if commands & {command, '*'}}
                    self.assertEqual(described, options, 'in the manual page, and there')
                    self.assertEqual(completions(tool, command, '-'), options, 'completed, and there')

    def test_choices(self):
        count = 0
        for tool in TOOLS:
            text = manual(tool)
            for command in help_of(tool)[0]:
                for option, choices in help_of(tool, command)[1].items():
                    if choices:
                        count += 1
                        self.assertEqual(completions(tool, command, option, ''), set(choices))
                        self.assertIn(f"{option} {'|'.join(choices)}", text)
        self.assertGreater(count, 3)

    def test_manual_pages_are_sound(self):
        for tool in TOOLS:
            page = str(PACKAGING / (tool + '.1'))
            self.assertEqual(output('groff', '-man', '-Tutf8', '-ww', '-z', page), '')
            read = subprocess.run(['man', '--warnings', '-l', page], text=True, capture_output=True,
                                  env={**os.environ, 'LC_ALL': 'C.UTF-8', 'MANWIDTH': '80'})
            self.assertEqual((read.returncode, read.stderr), (0, ''))
            self.assertIn('EXIT STATUS', read.stdout)

    def test_the_package_is_sound(self):
        complaints = subprocess.run(['lintian', '--allow-root', '--tag-display-limit', '0', PACKAGE],
                                    text=True, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
        self.assertEqual((complaints.returncode, complaints.stdout), (0, ''))

    def test_the_package_is_of_this_version(self):
        version = output(str(BIN / 'tarvex-preview'), '--version').split()[1]
        architecture = output('dpkg', '--print-architecture').strip()
        self.assertEqual(pathlib.Path(PACKAGE).name, f'tarvex-preview_{version}_{architecture}.deb')
        self.assertEqual(output('dpkg-deb', '-f', PACKAGE, 'Version').strip(), version)
        self.assertEqual(output('dpkg-parsechangelog', '-l', str(PACKAGING / 'changelog'), '-S', 'Version').strip(), version)


if __name__ == '__main__':
    del sys.argv[1:4]
    unittest.main()
