"""The example that changes a design's notes, on copies of samples, read back with tarvex-preview."""

import json
import os
import stat
import subprocess
import unittest

from toolbox import RUN, SAMPLES, WINDOWS, ToolTest, program


class ChangeNotes(ToolTest):
    tool = 'change_notes'

    def preview(self, name):
        result = subprocess.run([*RUN, program('tarvex-preview'), 'info', '--json', name], cwd=self.folder,
                                stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, check=True, timeout=300)
        return json.loads(result.stdout)

    def test_samples(self):
        rows = [  # project, design, its place, notes
            ('horn_feed.tarvex', 'Horn with lens', 1, "the lens's rear face is \"curved\"\nsince May"),
            ('radome_utf8.tarvex', 'レドーム', 1, 'Größe 内側 \\ 😀'),
            ('coil.tarvex', 'Charger_Coil', 0, ''),
        ]
        for project, design, place, notes in rows:
            self.sample(project)
            expected = self.preview(project)
            expected['designs'][place]['notes'] = notes
            self.check([project, design, notes], 0)
            changed = self.preview(project)
            expected['size'] = changed['size']
            self.assertEqual(changed, expected)
        self.assertEqual(sorted(os.listdir(self.folder)), sorted(row[0] for row in rows))

    def test_keeps_what_the_file_is(self):
        """Its form, its rights, and an index that is true."""
        def blocks(*arguments):
            return subprocess.run([*RUN, program('tarvex-blocks'), *arguments], cwd=self.folder, stdin=subprocess.DEVNULL,
                                  stdout=subprocess.PIPE, check=True, timeout=300).stdout
        self.sample('coil.tarvex')
        with open(self.folder / 'coil.tarvex', 'ab') as project:
            project.write(b"$begin '$index$'\nProjectPreview(5)\n$end '$index$'\n")
        for form in 'text', 'binary':
            blocks('convert', '--to', form, '-o', form, 'coil.tarvex')
            before = json.loads(blocks('tree', form))
            os.chmod(self.folder / form, 0o640)
            self.check([form, 'Charger_Coil', 'a longer note than there was' * 9], 0)
            self.assertEqual((self.folder / form).read_bytes()[:1] == b'\0', form == 'binary')
            if not WINDOWS:
                self.assertEqual(stat.S_IMODE(os.stat(self.folder / form).st_mode), 0o640)
            *items, index = json.loads(blocks('tree', form))['items']
            self.assertEqual(len(items), len(before['items']) - 1)
            self.assertEqual([(item['name'].split('\t'), item['arguments'][0]['value']['value']) for item in index['items'][1:]],
                             [(entry['path'], entry['offset']) for entry in json.loads(blocks('index', '--all-levels', form))
                              if entry['path'][0] != '$index$'])

    def test_what_cannot_be_changed(self):
        self.sample('coil.tarvex', 'not_a_project.tarvex')
        for project, reason in (('coil.tarvex', 'there is no such design in the project'),
                                ('missing', 'the project cannot be opened'),
                                ('not_a_project.tarvex', 'the project is damaged, .*')):
            self.check([project, 'Other', 'x'], 1, '', f'change_notes: {reason}\\n')
        self.check(['coil.tarvex'], 1, '', 'change_notes: usage: .*\\n')
        for name in os.listdir(self.folder):
            self.assertEqual((self.folder / name).read_bytes(), (SAMPLES / name).read_bytes())


if __name__ == '__main__':
    unittest.main()
