"""tarvex-blocks as users and scripts call it: whole outputs, exit statuses, files written, memory taken."""

import json
import os
import random
import re
import stat
import subprocess
import unittest

from toolbox import SAMPLES, WINDOWS, ToolTest, portable, program

PROJECTS = sorted(path.name for path in SAMPLES.glob('*.tarvex') if path.name != 'not_a_project.tarvex')

# Every construct, once; written as the tool writes it.
TIDY = r"""$begin 'A b'
	word=Plain_1
	text='it\'s \\ \	' ! a comment
	quoted="say \"so\""
	cdata=$begin_cdata$ 'a' ! b
$end_cdata$
	number=-1250
	half=0.5
	hex=0x1f
	yes=true
	1=false
	none[0:]
	vec[4: 1, 2.5, 'x', No]
	f()
	g(1, x=2, v[1: 3], h(y), , , true)
	$begin 'Inner'
	$end 'Inner'
	''=''
$end 'A b'
$begin 'Second'
$end 'Second'
""".replace(' ! a comment', '')

UNTIDY = r"""! remarks, blank lines and bare words where quotes are usual
$begin "A b"
word = Plain_1    text='it\'s \\ \	' ! a comment
"quoted"="say \"so\"" cdata=$begin_cdata$ 'a' ! b
$end_cdata$ number=-1.25e3
	half = .5 hex=0x1f yes=TRUE

1=False none[] vec[1,2.5,'x',No] f( ) g(1,x=2,v[3],h(y),,,true)
	$begin Inner
	$end
''=''
$end 'A b' $begin Second $end Second
"""

BROKEN = """\
stray 1
$begin 'A'
	a b
	$begin 'B'
		x=)
		y=1
		v[-1]
	$end 'C'
	f(1 2)
	z==3
	$begin =
	w=2
$end 'A'
q=1
=
"""

# line and text
BROKEN_ERRORS = [
    (5, "value is not valid"),
    (7, "invalid vector size"),
    (8, "begin/end block syntax invalid"),
    (11, "begin/end block syntax invalid"),
    (3, "expected a '(' or a '='"),
    (9, "expected a ')', ']' or a ','"),
    (10, "value is not valid"),
    (1, "expected a '(' or a '='"),
    (15, "identifier expected"),
]


def flatten(block):
    """Errors in the order of `check`: those of the blocks in a block, then its own."""
    for item in block['items']:
        if item['kind'] == 'block':
            yield from flatten(item)
    yield from block['errors']


def without_kinds(items):
    """Numbers keep their values, but "2.0" is written as "2", and the binary form has kinds of its own."""
    return re.sub(r'"type": "[^"]*", "value"', '"value"', json.dumps(items))


class BlocksTest(ToolTest):
    tool = 'tarvex-blocks'

    def output(self, *arguments, status=0, **options):
        """Standard output of a call that says nothing on standard error."""
        result = self.run_tool(*arguments, **options)
        self.assertEqual((result.returncode, result.stderr.decode()), (status, ''), arguments)
        return result.stdout

    def tree(self, name, status=0):
        return json.loads(self.output('tree', name, status=status))

    def lines(self, name, errors=BROKEN_ERRORS):
        return ''.join(f'{name}: Error: {text} at line# {line}\n' for line, text in errors)

    def write_binary(self, name, source):
        self.check(['convert', '--to', 'binary', '-o', name, source], 0)
        return (self.folder / name).read_bytes()


class Tokens(BlocksTest):
    def dump(self, data, *options, status=0):
        """One word a token: "Int:5", "Symbol:=", "Eol"; with "@line" where the line changed."""
        self.write('t', data)
        words, line = [], 1
        for text in self.output('tokens', *options, 't', status=status).decode().splitlines():
            token = json.loads(text)
            word = token['type']
            for key in ('text', 'value'):
                if key in token:
                    word += f':{token[key]}'
            words.append(word + (f"@{token['line']}" if token['line'] != line else ''))
            line = token['line']
        self.assertEqual(words.pop(), 'Eof')
        return ' '.join(words)

    def test_whole_output(self):
        self.write('t', b'Gr\xc3\xb6\xc3\x9fe[1: -0.25, "\xed\xa0\xb4\xed\xb4\x9e\\\\\\t"]\n\t\'\xed\xa0\xb4\' true\n'
                   b'\'\xed\xa0\xb4\xee\x80\x80\xed\xb4\x9e\'')
        self.check(['tokens', 't'], 0, """\
{"line": 1, "type": "Keyword", "text": "Größe"}
{"line": 1, "type": "Symbol", "text": "["}
{"line": 1, "type": "Int", "value": 1}
{"line": 1, "type": "Symbol", "text": ":"}
{"line": 1, "type": "Double", "value": -0.25}
{"line": 1, "type": "Symbol", "text": ","}
{"line": 1, "type": "DoubleQuotedText", "text": "\U0001d11e\\\\\\t"}
{"line": 1, "type": "Symbol", "text": "]"}
{"line": 2, "type": "Eol"}
{"line": 2, "type": "SingleQuotedText", "text": "\\ud834"}
{"line": 2, "type": "True"}
{"line": 3, "type": "Eol"}
{"line": 3, "type": "SingleQuotedText", "text": "\\ud834\ue000\\udd1e"}
{"line": 3, "type": "Eof"}
""")

    def test_options(self):
        rows = [  # text, options, tokens
            (b'', [], ''),
            (b'a b ! c', [], 'Keyword:a Keyword:b'),
            (b'a b ! c', ['--comments', '--white-space'],
             'Keyword:a WhiteSpace:  Keyword:b WhiteSpace:  Comment:! c'),
            (b'A\r\nb\rC', ['--case', 'upper'], 'Keyword:A Eol@2 Keyword:B Eol@3 Keyword:C'),
            (b'Ab TRUE "Ab"', ['--case', 'lower'], 'Keyword:ab True DoubleQuotedText:Ab'),
            (b'Ab', ['--case', 'keep'], 'Keyword:Ab'),
            (b'Ab', ['--case', 'ignore'], 'Keyword:Ab'),
            (b'1abc f(-x)', ['--grammar', 'token'],
             'Int:1 Keyword:abc Keyword:f Symbol:( Symbol:- Keyword:x Symbol:)'),
            (b'1abc f(-x)', ['--grammar', 'delimiter'], 'Keyword:1abc Keyword:f Symbol:( Keyword:-x Symbol:)'),
            (b'#inf #NAN', [], 'Symbol:# Keyword:inf Symbol:# Keyword:NAN'),
            (b'#inf #NAN', ['--special-numbers'], 'Double:inf Double:nan'),
            (b'#inf', ['--special-numbers', '--keep-text'], 'Double:#inf:inf'),
            (b'1e999 -1e999 -0 1e20 9007199254740993', [],
             'Double:inf Double:-inf Int:-0.0 Double:1e+20 Int:9007199254740992'),
            (b'007 0x1f .50 true', ['--keep-text'], 'Int:007:7 Hex:0x1f:31 Double:.50:0.5 True'),
            ('é'.encode(), [], 'Keyword:é'),
            ('é'.encode(), ['--encoding', 'bytes'], 'Keyword:Ã Symbol:©'),
            (b"''", [], 'SingleQuotedText:'),
            (b"\0\x0c\x01a\x13\x3d\x05\x4f\x01\x11\x02x \x10\x01 ", ['--comments'],
             'Keyword:a Eol@2 UnsignedShort:5 Float:5e-324 Comment:x '),
        ]
        for text, options, tokens in portable(rows, there=4):
            with self.subTest(text=text, options=options):
                self.assertEqual(self.dump(text, *options), tokens)

    def test_errors(self):
        self.assertEqual(self.dump('a 😀 b'.encode(), status=1), 'Keyword:a Error Keyword:b')
        self.assertEqual(self.dump(b'\0\x0c\x05ab', status=1), 'Error')


class Tree(BlocksTest):
    def test_whole_output(self):
        self.write('f', r"""
$begin 'A'
	x = "b\n"
	1=2
	v[2: -1e-3]
	$begin 'Inner' $end 'Inner'
	f(1, z=no, , g(w[true]))
	x y
$end 'B'
)
""".encode())
        self.check(['tree', 'f'], 1, (
            '{"items": ['
            '{"kind": "block", "name": "A", "items": ['
            '{"kind": "named_value", "name": "x", "value": {"type": "DoubleQuotedText", "text": "b\\n"}}, '
            '{"kind": "named_value", "name": "", "value": {"type": "Int", "value": 2}}, '
            '{"kind": "vector", "name": "v", "elements": [{"type": "Double", "value": -0.001}]}, '
            '{"kind": "block", "name": "Inner", "items": [], "errors": []}, '
            '{"kind": "function", "name": "f", "arguments": ['
            '{"kind": "value", "value": {"type": "Int", "value": 1}}, '
            '{"kind": "named_value", "name": "z", "value": {"type": "Keyword", "text": "no"}}, '
            '{"kind": "value", "value": {"type": "Null"}}, '
            '{"kind": "function", "name": "g", "arguments": ['
            '{"kind": "vector", "name": "w", "elements": [{"type": "True"}]}]}]}], '
            '"errors": [{"code": 7, "line": 8, "text": "expected a \'(\' or a \'=\'"}, '
            '{"code": 3, "line": 9, "text": "begin/end block syntax invalid"}]}], '
            '"errors": [{"code": 11, "line": 10, "text": "identifier expected"}]}\n'))

    def test_nothing(self):
        for content in (b'', b'\n', b'! remark', b'\0'):
            self.write('f', content)
            self.check(['tree', 'f'], 0, '{"items": [], "errors": []}\n')


class Check(BlocksTest):
    def test_several_files(self):
        self.sample(*PROJECTS)
        self.write('broken', BROKEN.encode())
        self.check(['check', *PROJECTS], 0)
        self.check(['check', 'broken', PROJECTS[0], 'missing', 'broken'], 1, 2 * self.lines('broken'),
                   r'tarvex-blocks: missing: \S.*\n')

    def test_the_same_errors_as_in_the_tree(self):
        """Generated documents of pieces that do and do not fit together, in both forms."""
        draw = random.Random(11)
        pieces = ["$begin 'A'", "$begin 'A' x=1", '$begin B', "$end 'A'", "$end 'B'", '$end', '$begin', 'x=1', 'x=', 'x',
                  'f(1, 2)', 'f(g(1 2), 3)', 'f(a=', 'f(,,', 'v[1, 2]', 'v[-1]', 'v[1 2]', 'v[2: "a"', ')', '=', "'", '"q"=1',
                  '😀', 'y=$begin_cdata$ z', '$end_cdata$', '! c', 'f(' * 300, '$begin C\n' * 300, '1=2', 'true(', '']
        for number in portable(range(12)):
            with self.subTest(number):
                data = ''.join(draw.choice(pieces) + draw.choice('\n\n\n ')
                               for _ in range(draw.choice((5, 50, 500)))).encode()
                self.write('text', data)
                self.write('binary', self.binary_of(data))
                for name in 'text', 'binary':
                    tree = json.loads(self.run_tool('tree', name).stdout)
                    errors = [(error['line'], error['text']) for error in flatten(tree)]
                    self.check(['check', name], int(bool(errors)), self.lines(name, errors))

    def binary_of(self, text):
        """The tokens of a text in the binary form, whether or not they make sense."""
        self.write('tokens', text)
        data = b'\0'
        for line in self.run_tool('tokens', 'tokens').stdout.decode('utf-8').splitlines():
            token = json.loads(line)
            kinds = {'True': 10, 'False': 11, 'Keyword': 12, 'SingleQuotedText': 13, 'DoubleQuotedText': 14, 'CData': 15,
                     'Symbol': 18, 'Eol': 19, 'Error': 21}
            if token['type'] == 'Int' or token['type'] == 'Double':
                data += bytes((62, int(token['value']) & 255, 0))
            elif token['type'] == 'Symbol':
                data += bytes((18, ord(token['text']) & 127))
            elif 'text' in token:
                body = token['text'].encode()
                data += bytes((kinds[token['type']] | 128,)) + len(body).to_bytes(4, 'little') + body
            elif token['type'] in kinds:
                data += bytes((kinds[token['type']],))
        return data

    def test_damaged_files(self):
        draw = random.Random(5)
        names = []
        for i in range(60):
            data = bytearray((SAMPLES / draw.choice(PROJECTS)).read_bytes())
            for _ in range(draw.choice((1, 5, 50))):
                data[draw.randrange(len(data))] = draw.choice((*b"\0\n\r'\"$()[],=\\\xff", draw.randrange(256)))
            names.append(f'{i}')
            self.write(names[-1], bytes(data[:draw.randrange(len(data))] if i % 3 else data))
        self.write('binary', b'\0' + draw.randbytes(5000))
        result = self.run_tool('check', *names, 'binary')
        self.assertEqual((result.returncode, result.stderr), (1, b''))


class Format(BlocksTest):
    def test_tidy(self):
        for text in (TIDY, UNTIDY):
            self.write('f', text.encode())
            self.check(['format', 'f'], 0, TIDY)
        self.check(['format', '-o', 'out', 'f'], 0)
        self.assertEqual((self.folder / 'out').read_text(), TIDY)

    def test_errors_cost_their_items_only(self):
        self.write('f', BROKEN.encode())
        tidy = "$begin 'A'\n\t$begin 'B'\n\t\ty=1\n\t$end 'B'\n\t$begin ''\n\t$end ''\n\tw=2\n$end 'A'\nq=1\n"
        errors = re.escape(self.lines('f'))
        self.check(['format', 'f'], 1, tidy, errors)
        for command in (['format', '-o', 'out', 'f'], ['convert', '--to', 'text', '-o', 'out', 'f']):
            self.check(command, 1, '', errors)
            self.assertEqual((self.folder / 'out').read_text(), tidy)

    def test_a_file_with_errors_keeps_its_parts(self):
        self.write('f', BROKEN.encode())
        names = ['f', os.path.join('.', 'f')]
        if not WINDOWS:
            os.symlink('f', self.folder / 'link')
            os.link(self.folder / 'f', self.folder / 'other')
            names += ['link', 'other']
        for command in (['format'], ['convert', '--to', 'text'], ['convert', '--to', 'binary']):
            for out in names:
                self.check([*command, '-o', out, 'f'], 1, '', re.escape(
                    f"{self.lines('f')}tarvex-blocks: {out}: left as it is: the parts with errors would be lost from it\n"))
        if not WINDOWS:
            with open(self.folder / 'f', 'rb') as f:
                result = self.run_tool('format', '-o', 'f', '-', stdin=f)
                self.assertEqual((result.returncode, result.stderr.decode().splitlines()[-1]),
                                 (1, 'tarvex-blocks: f: left as it is: the parts with errors would be lost from it'))
        self.assertEqual((self.folder / 'f').read_text(), BROKEN)
        self.write('-', b'x')  # is not what "-" means
        self.check(['format', '-o', '-', './-'], 1, '', re.escape(self.lines('./-', [(1, "expected a '(' or a '='")])))

    def test_a_new_index_for_an_old_one(self):
        blocks = "$begin 'A'\n$begin 'é'\n$end\n$end\n$begin 'a'\n$begin '$index$'\n$end\n$end\n"
        for index in portable(('$index$', '$base_index$')):
            for text in (f"$begin '{index}'\nA(77)\nB(5)\n$end\n{blocks}", f"{blocks}$begin '{index}'\nA(77)\nB(5)\n$end\n"):
                self.write('f', text.encode())
                for command in (['format'], ['convert', '--to', 'text'], ['convert', '--to', 'binary']):
                    with self.subTest(text, command=command):
                        self.write('standard output', self.output(*command, '-o', '-', 'f'))
                        self.check([*command, '-o', 'out', 'f'], 0)
                        self.assertEqual((self.folder / 'out').read_bytes(), (self.folder / 'standard output').read_bytes())
                        there = json.loads(self.output('index', '--all-levels', 'out'))
                        items = self.tree('out')['items']
                        self.assertEqual([item['name'] for item in items], ['A', 'a', '$index$'])
                        self.assertEqual([({'path': item['name'].split('\t'), 'offset': item['arguments'][0]['value']['value']})
                                          for item in items[2]['items'][1:]],
                                         [entry for entry in there if entry['path'][0] != '$index$'])

    def test_samples_once_and_again(self):
        self.sample(*PROJECTS)
        for name in portable(PROJECTS, there=2):
            before = self.tree(name)
            self.check(['format', '-o', name, name], 0)  # onto itself
            once = (self.folder / name).read_bytes()
            self.assertEqual(self.output('format', name), once)
            self.assertTrue(without_kinds(self.tree(name)) == without_kinds(before), name)
        self.assertEqual(sorted(os.listdir(self.folder)), PROJECTS)

    def test_output_that_cannot_be(self):
        self.write('f', TIDY.encode())
        os.mkdir(self.folder / 'folder')
        for out in ('none/out', 'folder'):
            self.check(['format', '-o', out, 'f'], 1, '', rf'tarvex-blocks: {out}: \S.*\n')
        for command in (['format', '-o', 'f', 'missing'], ['convert', '--to', 'text', '-o', 'f', 'missing'],
                        ['format', '-o', 'f', 'folder']):
            self.check(command, 1, '', r'tarvex-blocks: (missing|folder): \S.*\n')
        self.assertEqual((self.folder / 'f').read_text(), TIDY)
        self.assertEqual(sorted(os.listdir(self.folder)), ['f', 'folder'])
        self.assertEqual(os.listdir(self.folder / 'folder'), [])

    @unittest.skipIf(WINDOWS, 'no such limits there')
    def test_what_cannot_be_written_leaves_nothing(self):
        import resource
        import signal

        def limit():
            signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
            resource.setrlimit(resource.RLIMIT_FSIZE, (10000, 10000))

        large = TIDY * 100
        self.write('f', large.encode())
        for out in 'f', 'new':
            result = self.run_tool('format', '-o', out, 'f', preexec_fn=limit)
            self.assertEqual((result.returncode, result.stdout), (1, b''))
            self.assertRegex(result.stderr.decode(), rf'^tarvex-blocks: {out}: \S.*\n$')
        self.assertEqual(os.listdir(self.folder), ['f'])
        self.assertEqual((self.folder / 'f').read_text(), large)

    @unittest.skipIf(WINDOWS, 'other rights, and no such devices there')
    def test_what_stands_at_the_output(self):
        self.write('f', UNTIDY.encode())
        self.write('target', b'old')
        os.chmod(self.folder / 'target', 0o640)
        os.symlink('target', self.folder / 'link')
        self.check(['format', '-o', 'link', 'f'], 0)
        self.assertTrue((self.folder / 'link').is_symlink())
        self.assertEqual((self.folder / 'target').read_text(), TIDY)
        self.assertEqual(stat.S_IMODE(os.stat(self.folder / 'target').st_mode), 0o640)
        self.check(['format', '-o', '/dev/null', 'f'], 0)
        self.check(['format', '-o', '/dev/full', 'f'], 1, '', r'tarvex-blocks: /dev/full: \S.*\n')
        self.check(['format', '-o', '-', 'f'], 0, TIDY)
        self.assertEqual(sorted(os.listdir(self.folder)), ['f', 'link', 'target'])


class Convert(BlocksTest):
    def test_bytes(self):
        self.write('f', b"$begin 'A'\nx=-2\nh=0x1f\nv[\xc3\xa9, 0.5]\nf(,true)\n$end 'A'\n")
        text = lambda kind, body: bytes((kind, len(body))) + body
        keyword, quoted = (lambda body, k=k: text(k, body) for k in (12, 13))
        symbol = lambda character: b'\x12' + character
        self.assertEqual(self.write_binary('b', 'f'), b''.join([
            b'\0', keyword(b'$begin'), quoted(b'A'), b'\x13',
            keyword(b'x'), symbol(b'='), b'\x49\xfe\xff\xff\xff', b'\x13',
            keyword(b'h'), symbol(b'='), b'\x3d\x1f', b'\x13',
            keyword(b'v'), symbol(b'['), b'\x3d\x02', symbol(b':'), keyword('é'.encode()),
            b'\x56' + bytes(6) + b'\xe0\x3f', symbol(b']'), b'\x13',
            keyword(b'f'), symbol(b'('), symbol(b','), b'\x0a', symbol(b')'), b'\x13',
            keyword(b'$end'), quoted(b'A'), b'\x13']))

    def test_there_and_back(self):
        self.sample(*PROJECTS)
        self.write('every construct', TIDY.encode())
        for name in portable(['every construct', *PROJECTS], there=2):
            with self.subTest(name):
                # Hexadecimal notation is the one thing that the binary form does not keep.
                text = re.sub(rb'=0x([0-9a-f]+)', lambda m: b'=%d' % int(m[1], 16), self.output('format', name))
                data = self.write_binary('b', name)
                self.assertTrue(self.output('format', 'b') == text)
                self.check(['convert', '--to', 'text', '-o', 't', 'b'], 0)
                self.assertEqual((self.folder / 't').read_bytes(), text)
                self.check(['convert', '--to', 'binary', '-o', 'b', 'b'], 0)  # onto itself
                self.assertEqual((self.folder / 'b').read_bytes(), data)
        self.assertNotEqual(self.output('convert', '--to', 'binary', '-o', '-', 'b')[:1], b'$')


class IndexAndGet(BlocksTest):
    def blocks(self, items, path=()):
        """Path and subtree of every block, in file order."""
        for item in items:
            if item['kind'] == 'block':
                inner = (*path, item['name'])
                yield list(inner), item
                yield from self.blocks(item['items'], inner)

    def test_whole_output(self):
        self.write('f', b"! x\n  $begin 'A'\n\t$begin \"\xc3\xa9\"\n\t$end\n$end 'A'\n$begin B $end B\n$begin 'a'\n$end 'a'\n")
        self.check(['index', 'f'], 0, '[{"path": ["B"], "offset": 45}, {"path": ["a"], "offset": 61}]\n')
        self.check(['index', '--all-levels', 'f'], 0,
                   '[{"path": ["A", "é"], "offset": 18}, {"path": ["B"], "offset": 45}, {"path": ["a"], "offset": 61}]\n')
        self.write('f', b'')
        self.check(['index', 'f'], 0, '[]\n')

    def test_every_block_of_the_samples(self):
        self.sample(*PROJECTS)
        for name in portable(PROJECTS):
            self.write_binary('b', name)
            for file, keyword in (name, b'$begin'), ('b', b'\x0c\x06$begin'):
                with self.subTest(name, file=file):
                    data = (self.folder / file).read_bytes()
                    index = json.loads(self.output('index', '--all-levels', file))
                    # Of several blocks of one path the last counts.
                    blocks = {'\t'.join(path).lower(): item for path, item in self.blocks(self.tree(file)['items'])}
                    self.assertEqual({'\t'.join(entry['path']).lower() for entry in index}, set(blocks))
                    self.assertEqual(index, sorted(index, key=lambda entry: entry['offset']))
                    top = json.loads(self.output('index', file))
                    self.assertEqual(top, [entry for entry in index if len(entry['path']) == 1])
                    for entry in index:
                        self.assertEqual(data[entry['offset']:][:len(keyword)], keyword)
                    for entry in index[::4]:
                        self.write('got', self.output('get', file, *entry['path']))
                        block = blocks['\t'.join(entry['path']).lower()]
                        self.assertTrue(without_kinds(self.tree('got')['items']) == without_kinds([block]), entry)

    def test_get(self):
        self.write('f', TIDY.encode())
        inner = "$begin 'Inner'\n$end 'Inner'\n"
        self.check(['get', 'f', 'A b', 'Inner'], 0, inner)
        self.check(['get', 'f', 'a B', 'INNER'], 0, inner)
        self.check(['get', 'f', 'A b'], 0, TIDY.split("$begin 'Second'")[0])
        for path in portable((['Inner'], ['A b', 'Inner', 'Inner'], ['A b', 'index'], [''])):
            self.check(['get', 'f', *path], 1, '',
                       r"tarvex-blocks: f: there is no block " + ' '.join(f"'{name}'" for name in path) + '\n')
        self.write('f', "$begin ''\n\t$begin 'größe'\n\t$end 'größe'\n$end ''\n".encode())
        self.check(['get', 'f', '', 'größe'], 0, "$begin 'größe'\n$end 'größe'\n")

    def test_not_wholly_indexed(self):
        damaged = 'a block in it is damaged or not closed'
        rows = [  # file, entries, reason, block that can be had
            ("$begin A\n$end A\nx=1\n$begin B\n$end B\n", ['A'], 'indexed up to line 3, where no block begins', 'A'),
            ("$begin A\n$end A\n$end A\n", ['A'], 'indexed up to line 3, where no block begins', 'A'),
            ("$begin A\nx y\n$end A\n$begin B\n$end B", ['A', 'B'], damaged + ": 'A', line 2", 'B'),
            ("$begin A\n$end A\n$begin B\n", ['A', 'B'], damaged + ": 'B', line 3", 'A'),
            ("$begin A\n$end A\n$begin B\n$begin C\n\n$end D\n=\n$end", ['A', 'B'], damaged + ": 'B' 'C', line 6", 'A'),
        ]
        for text, names, reason, had in portable(rows, there=2):
            self.write('f', text.encode())
            entries = ', '.join('{"path": ["%s"], "offset": %d}' % (name, text.index('$begin ' + name)) for name in names)
            self.check(['index', 'f'], 1, f'[{entries}]\n', f'tarvex-blocks: f: {reason}\n')
            self.check(['get', 'f', had], 1, f"$begin '{had}'\n$end '{had}'\n", f'tarvex-blocks: f: {reason}\n')

    def test_too_large(self):
        self.write('f', b"$begin 'A'\n$end 'A'\n")
        os.truncate(self.folder / 'f', 2**31)
        for command in (['index', 'f'], ['get', 'f', 'A']):
            self.check(command, 1, '', r'tarvex-blocks: f: has 2 GiB or more; .*\n')


class ByteOrderMark(BlocksTest):
    def test_a_hint_for_each_command_that_meets_one(self):
        text = "$begin 'A'\n$end 'A'\n"
        rows = [  # first bytes, what they are
            (b'\xef\xbb\xbf' + text.encode(), 'UTF-8'), (b'\xff\xfe' + text.encode('utf-16-le'), 'UTF-16'),
            (b'\xfe\xff' + text.encode('utf-16-be'), 'UTF-16'), (b'\xef\xbb\xbf', 'UTF-8'), (b'\xff\xfe', 'UTF-16'),
            (text.encode(), ''), (b'', ''), (b'\xef\xbb', ''), (b' \xef\xbb\xbf', ''), (b'\xff', ''),
        ]
        commands = (['check', 'f'], ['tree', 'f'], ['format', 'f'], ['convert', '--to', 'text', '-o', 'o', 'f'], ['index', 'f'],
                    ['get', 'f', 'A'])
        for data, encoding in portable(rows, there=2):
            self.write('f', data)
            hint = f'tarvex-blocks: %s: begins with a byte order mark ({encoding}); the format is UTF-8 without one\n'
            for command in commands if data == rows[0][0] else commands[:1]:
                for name in 'f', '-':
                    with self.subTest(data=data, command=command, name=name):
                        words = [name if word == 'f' else word for word in command]
                        result = self.run_tool(*words, input=data)
                        self.assertEqual(result.stderr.decode().replace('\r\n', '\n').count(hint % name), int(encoding != ''))
                        if encoding:
                            self.assertEqual(result.returncode, 1)


class StandardInput(BlocksTest):
    def test_every_command(self):
        self.write('text', UNTIDY.encode())
        self.write_binary('binary', 'text')
        for name in 'text', 'binary':
            for before, after in ((['tokens', '--case', 'upper'], []), (['tree'], []), (['format'], []),
                                  (['index', '--all-levels'], []), (['get'], ['A b', 'Inner'])):
                with self.subTest(before, name=name):
                    data = (self.folder / name).read_bytes()
                    self.assertEqual(self.output(*before, '-', *after, input=data), self.output(*before, name, *after))

    def test_check(self):
        result = self.run_tool('check', '-', 'missing', input=b'x\n')
        self.assertEqual((result.returncode, result.stdout), (1, b"-: Error: expected a '(' or a '=' at line# 2\n"))

    @unittest.skipIf(WINDOWS, 'other pipes there')
    def test_tokens_come_as_they_are_typed(self):
        with subprocess.Popen([program('tarvex-blocks'), 'tokens', '-'], stdin=subprocess.PIPE, stdout=subprocess.PIPE) as tool:
            tool.stdin.write(b'one\n')
            tool.stdin.flush()
            self.assertEqual(json.loads(tool.stdout.readline())['text'], 'one')
            tool.stdin.close()
            self.assertEqual(len(tool.stdout.readlines()), 2)

    @unittest.skipIf(WINDOWS, 'no such files there')
    def test_what_is_no_file(self):
        os.mkfifo(self.folder / 'pipe')
        reason = 'is a pipe or device; give it as standard input, and "-" for its name'
        for name in 'pipe', '/dev/null':
            self.check(['check', name], 1, '', f'tarvex-blocks: {name}: {reason}\n')
        self.check(['tree', '.'], 1, '', r'tarvex-blocks: \.: Is a directory\n')
        folder = os.open('/', os.O_RDONLY)
        self.addCleanup(os.close, folder)
        for command in (['tokens', '-'], ['tree', '-'], ['check', '-'], ['format', '-o', 'out', '-'], ['index', '-']):
            result = self.run_tool(*command, stdin=folder)
            self.assertEqual((result.returncode, result.stderr), (1, b'tarvex-blocks: -: Is a directory\n'))
        self.assertEqual(os.listdir(self.folder), ['pipe'])


class CommandLine(BlocksTest):
    def test_unusable(self):
        self.write('f', TIDY.encode())
        lines = ('', 'draw f', 'tokens', 'tokens f f', 'tokens --grammar words f', 'tokens --case 2 f', 'tokens --case',
                 'tokens --encoding latin1 f', 'tree', 'tree f f', 'tree --json f', 'check', 'format', 'format f -o',
                 'convert f', 'convert -o g f', 'convert --to text f', 'convert --to xml -o g f', 'index', 'get', 'get f')
        for line in portable(lines):
            self.check(line.split(), 2, '', r"tarvex-blocks: .*\nTry 'tarvex-blocks --help'\.\n")
        rows = [
            (['format', '-o', '', 'f'], '--output: a file needs a name; - is standard output'),
            (['convert', '--to', 'text', '--output=', 'f'], '.*'),
            (['draw', 'f'], "there is no command 'draw'"),
            (['tokens', '--comments=false', 'f'], '.*comments.*'),
            (['index', '--all-levels=no', 'f'], '.*all-levels.*'),
        ]
        for line, reason in portable(rows):
            self.check(line, 2, '', rf"tarvex-blocks: {reason}\nTry 'tarvex-blocks --help'\.\n")
        self.assertEqual(os.listdir(self.folder), ['f'])

    def test_help_and_version_work_everywhere(self):
        commands = ([], ['tokens'], ['tree'], ['check'], ['format'], ['convert'], ['index'], ['get'])
        for command in portable(commands):
            self.check([*command, '--version'], 0, f"tarvex-blocks {os.environ['TARVEX_VERSION']}\n")
            result = self.run_tool(*command, '--help')
            self.assertEqual((result.returncode, result.stderr), (0, b''))
            self.assertIn(b'Usage: ', result.stdout)

    def test_names_that_look_like_something_else(self):
        self.write('get', b"$begin 'get'\n$begin '-o'\n$end\n$end\n")
        self.check(['get', 'get', 'get'], 0, "$begin 'get'\n\t$begin '-o'\n\t$end '-o'\n$end 'get'\n")
        self.check(['get', '--', 'get', 'get', '-o'], 0, "$begin '-o'\n$end '-o'\n")

    def test_names_beyond_ascii(self):
        self.write('größe', b'x')
        self.check(['check', 'größe'], 1, "größe: Error: expected a '(' or a '=' at line# 1\n")
        self.check(['format', '-o', '大きさ', 'größe'], 1, '', "größe: Error: .*\n")
        self.assertIn('大きさ', os.listdir(self.folder))

    @unittest.skipIf(WINDOWS, 'names are UTF-16 there')
    def test_names_that_are_no_utf8(self):
        (self.folder / os.fsdecode(b'\xff')).write_bytes(b'x')
        self.assertEqual(self.run_tool('check', b'\xff').stdout.decode(),
                         "\ufffd: Error: expected a '(' or a '=' at line# 1\n")
        self.run_tool('format', '-o', b'\xfe', b'\xff')
        self.assertIn(b'\xfe', os.listdir(os.fsencode(self.folder)))

    @unittest.skipIf(WINDOWS, 'no such device there')
    def test_full_standard_output(self):
        self.write('f', BROKEN.encode())
        for command in ('tokens', 'tree', 'check', 'format', 'index'):
            with open('/dev/full', 'wb') as full:
                result = self.run_tool(command, 'f', stdout=full)
                self.assertEqual(result.returncode, 1)
                self.assertEqual(result.stderr.count(b'tarvex-blocks: standard output: not everything could be written\n'), 1)


@unittest.skipIf(WINDOWS or os.environ.get('TARVEX_SANITIZE'), 'measured where memory is what the program takes')
class Memory(BlocksTest):
    SIZE = 32 << 20   # bytes of a file; kept in any way, each part takes more than
    BOUND = 4 << 20   # bytes that the program may take in all

    def run_bounded(self, *arguments):
        import resource
        return self.run_tool(*arguments, stdout=subprocess.DEVNULL,
                             preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_DATA, (self.BOUND, self.BOUND)))

    def test_does_not_grow_with_the_file(self):
        part = self.SIZE // 4
        with open(self.folder / 'large', 'wb') as file:
            file.write(b"$begin 'A'\n$begin 'Items'\n" + b"Node(1, 'text', x=2)\n" * (part // 21) + b"$end 'Items'\n")
            file.write(b'vector[1' + b', 0.5' * (part // 5) + b']\nfunction(inner(1' + b', z=2' * (part // 5) + b'))\n')
            file.write(b"$begin 'B'\nx=1\n$end 'B'\n" * (part // 24) + b"$end 'A'\n")
        for command in 'check', 'tokens':
            result = self.run_bounded(command, 'large')
            self.assertEqual((result.returncode, result.stderr), (0, b''))
        result = self.run_bounded('tree', 'large')
        self.assertEqual((result.returncode, result.stderr), (1, b'tarvex-blocks: not enough memory\n'))


if __name__ == '__main__':
    unittest.main()
