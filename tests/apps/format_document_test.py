"""Runs the examples of docs/format.md: the document shows what the tool does.

A fence "block" is a file. The fences behind it say what becomes of it: "tree" the items in it, "written" the same file formatted, "hex" its
binary form (up to a wide gap, behind which is a remark), "errors" what is wrong with it (nothing, without such a fence), "index" where the
blocks begin. Rows of tables with a column "read as" are the tokens of a text, or of bytes; those with a column "cut off" say what remains
of data that end there, and the error's code; other rows with a column "code" give an example of that error. Fences without a name are commands.
"""

import json
import re
import unittest

from toolbox import SAMPLES, ToolTest

DOCUMENT = (SAMPLES.parent / 'docs' / 'format.md').read_text(encoding='utf-8')
FENCE = re.compile(r'^```(\w+)\n(.*?)^```$', re.MULTILINE | re.DOTALL)


def tables():
    """Each table: its rows, as dictionaries from column to cell."""
    for table in re.findall(r'(?:^\|.*\n)+', FENCE.sub('', DOCUMENT), re.MULTILINE):
        head, _, *rows = ([cell.strip() for cell in line.strip('|\n').split('|')] for line in table.splitlines())
        yield [dict(zip(head, row, strict=True)) for row in rows]


def code(cell):
    """The texts between back quotes."""
    return re.findall(r'`([^`]*)`', cell)


class FormatDocument(ToolTest):
    tool = 'tarvex-blocks'

    def output(self, *arguments):
        return self.run_tool(*arguments).stdout.decode()

    def lines_of_check(self):
        return self.output('check', 'f').replace('f: ', '')

    def tokens(self):
        tokens = [json.loads(line) for line in self.output('tokens', 'f').splitlines()]
        words = []
        for token in tokens[:-1]:
            value = token.get('text', token.get('value'))
            words.append(token['type'] if value is None else f"{token['type']} {value}")
        return words

    def check_fence(self, kind, content):
        if kind == 'tree':
            self.assertEqual(json.loads(self.output('tree', 'f'))['items'], json.loads(content))
        elif kind == 'written':
            self.assertEqual(self.output('format', 'f'), content)
        elif kind == 'errors':
            self.assertEqual(self.lines_of_check(), content)
        elif kind == 'hex':
            self.run_tool('convert', '--to', 'binary', '-o', 'b', 'f')
            expected = bytes.fromhex(''.join(line.split('    ')[0] for line in content.splitlines()))
            self.assertEqual((self.folder / 'b').read_bytes().hex(' '), expected.hex(' '))
        elif kind == 'index':
            entries = [(entry['path'], entry['offset']) for entry in json.loads(self.output('index', '--all-levels', 'f'))]
            expected = [line.rsplit(' ', 1) for line in content.splitlines()]
            self.assertEqual([entry for entry in entries if not entry[0][0].startswith('$')],
                             [(path.split('/'), int(offset)) for path, offset in expected])
        else:
            self.fail(f'what is "{kind}"?')

    def test_fences(self):
        fences = FENCE.findall(DOCUMENT)
        self.assertGreater(len(fences), 15)
        for (kind, content), (next_kind, _) in zip(fences, [*fences[1:], ('block', '')]):
            with self.subTest(kind=kind, content=content):
                if kind == 'block':
                    self.write('f', content.encode())
                    self.assertNotEqual(next_kind, 'block')
                    if next_kind != 'errors':
                        self.assertEqual(self.lines_of_check(), '')
                else:
                    self.check_fence(kind, content)

    def test_tables(self):
        rows = [row for table in tables() for row in table]
        self.assertGreater(len(rows), 40)
        for row in rows:
            with self.subTest(row):
                if 'written' in row:
                    self.write('f', code(row['written'])[0].encode())
                    self.assertEqual(self.tokens(), code(row['read as']))
                elif 'cut off' in row:
                    self.write('f', code(row['cut off'])[0].encode())
                    self.assertEqual(self.output('format', 'f').split(), ''.join(code(row['what is left'])).split())
                    codes = re.findall(r'"code": (\d+),', self.output('tree', 'f'))
                    self.assertEqual(codes, code(row['code']))
                elif 'read as' in row:
                    self.write('f', b'\0' + bytes.fromhex(code(row['for example'])[0]))
                    self.assertEqual(self.tokens(), code(row['read as']))
                else:
                    deep = '$begin A\n' * 257
                    self.write('f', (code(row['for example']) or [deep])[0].encode())
                    errors = re.findall(r'^Error: (.*) at line# \d+$', self.lines_of_check(), re.MULTILINE)
                    self.assertEqual(errors, [row['text']])
                    self.assertIn(f'"code": {row["code"]},', self.output('tree', 'f'))

    def test_characters_beyond_16_bits(self):
        character, data = re.search(r'U\+([0-9A-F]{5}) is `([0-9a-f ]+)`', DOCUMENT).groups()
        self.write('f', b"x='" + bytes.fromhex(data) + b"'")
        self.assertIn(chr(int(character, 16)), self.output('tree', 'f'))


if __name__ == '__main__':
    unittest.main()
