#!/usr/bin/python3
"""JSON and CSV say what the result says, whatever the names are; bad input costs one line."""
import csv
import datetime
import io
import json
import os
import subprocess
import unittest

import fixture
from fixture import bytes_of, orvctl

try:
    import jsonschema
except ImportError:
    fixture.skip('python3-jsonschema is not installed')

EPOCH = datetime.datetime(1970, 1, 1, tzinfo=datetime.timezone.utc)


def milliseconds(time):
    moment = datetime.datetime.fromisoformat(time.replace('Z', '+00:00'))
    return (moment - EPOCH) // datetime.timedelta(milliseconds=1)


def file_of(row):
    return (bytes_of(row['path']), bytes_of(row['owner']), int(row['disk_bytes']), int(row['bytes']),
            milliseconds(row['modified']), milliseconds(row['accessed']), int(row['links']), int(row['inode']))


def json_figures(profile):
    ranked = {ranking['kind']: [file_of(file) for file in ranking['files']] for ranking in profile['rankings']}
    ages = {age['by']: [(c['entries'], c['bytes']) for c in age['classes']] for age in profile['ages']}
    totals = profile['totals']
    accounts = lambda kind: {o['id']: (bytes_of(o['name']), o['files'], o['directories'], o['others'], o['bytes'],
                                       o['largest_file_bytes']) for o in profile[kind]}
    return fixture.Figures(
        totals=(totals['files'], totals['directories'], totals['bytes']) if totals else None,
        sizes=[(c['entries'], c['bytes']) for c in profile['sizes']], accessed=ages.get('accessed', []),
        modified=ages.get('modified', []), created=ages.get('created', []), backed_up=ages.get('backed_up', []),
        owners=accounts('owners'), groups=accounts('groups'), not_backed_up=ranked.get('oldest_not_backed_up', []),
        large_orphans=ranked.get('largest_orphans', []), old_orphans=ranked.get('oldest_orphans', []),
        files=ranked.get('largest_files', []), unused=ranked.get('least_accessed', []),
        types={bytes_of(t['extension']): (t['files'], t['bytes']) for t in profile['file_types']},
        direct=[(bytes_of(d['path']), d['direct']['files'], d['direct']['directories'], d['direct']['bytes'])
                for d in profile['largest_directories']])


def table(text):
    assert text.endswith(b'\r\n')
    return list(csv.DictReader(io.StringIO(text.decode('utf-8'), newline=''), strict=True))


class Exports(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.work = fixture.Work()
        cls.tree = cls.work.hostile_tree()
        cls.result = cls.work.scan(fixture.own_definition(cls.tree), [cls.tree])
        cls.figures, cls.old, cls.subtrees, cls.links = fixture.own_figures(cls.result)
        cls.schema = json.loads((fixture.SOURCE / 'docs/scan.schema.json').read_text())

    def json(self, result):
        text = orvctl('report', result, '--format', 'json')
        self.assertEqual(text.count(b'\n'), 1)
        scan = json.loads(text)
        jsonschema.Draft202012Validator.check_schema(self.schema)
        jsonschema.validate(scan, self.schema, cls=jsonschema.Draft202012Validator)
        return scan

    def csv(self, section):
        return table(orvctl('report', self.result, '--format', 'csv', '--section', section))

    def test_json_says_what_the_result_says(self):
        scan = self.json(self.result)
        root = scan['roots'][0]
        main = json_figures(root['profiles'][0])
        self.maxDiff = None
        for field in main._fields:
            self.assertEqual(getattr(main, field), getattr(self.figures, field), field)
        self.assertEqual([len(root['profiles']), scan['host'], root['path']], [1, 'test-host', str(self.tree)])
        self.assertEqual(root['profiles'][0]['totals']['others'], 1)
        self.assertEqual({bytes_of(s['path']): (s['totals']['files'], s['totals']['directories'], s['totals']['bytes'])
                          for s in root['subtrees']}, self.subtrees)
        self.assertEqual([limit['min_age_seconds'] for limit in root['age_limits']], fixture.AGES)
        for i, old in enumerate(self.old):
            self.assertEqual({o['id']: (o['unused'][i]['entries'], o['unused'][i]['bytes']) for o in
                              root['profiles'][0]['owners'] if o['unused'][i]['entries'] > 0}, old)
        links = root['names_with_links']
        self.assertEqual((links['files'], links['directories'], links['bytes']), self.links)
        self.assertEqual([file[3] >> 30 for file in main.files[:5]], [9, 5, 3, 1, 0])

    def test_csv_says_what_the_result_says(self):
        summary = self.csv('summary')[0]
        self.assertEqual((int(summary['files']), int(summary['directories']), int(summary['bytes'])), self.figures.totals)
        self.assertEqual([file_of(row) for row in self.csv('files')], self.figures.files)
        self.assertEqual([file_of(row) for row in self.csv('unused')], self.figures.unused)
        self.assertEqual([(int(row['entries']), int(row['bytes'])) for row in self.csv('sizes')], self.figures.sizes)
        for by in ['accessed', 'modified']:
            self.assertEqual([(int(row['entries']), int(row['bytes'])) for row in self.csv('ages') if row['by'] == by],
                             getattr(self.figures, by))
        for section in ['owners', 'groups']:
            self.assertEqual({int(row['id']): (bytes_of(row['name']), int(row['files']), int(row['directories']),
                                               int(row['others']), int(row['bytes']), int(row['largest_file_bytes']))
                              for row in self.csv(section)}, getattr(self.figures, section))
        self.assertEqual({bytes_of(row['path']): (int(row['files']), int(row['directories']), int(row['bytes']))
                          for row in self.csv('directories')}, self.subtrees)
        self.assertEqual({bytes_of(row['extension']): (int(row['files']), int(row['bytes']))
                          for row in self.csv('types')}, self.figures.types)
        self.assertEqual([(bytes_of(row['path']), int(row['files']), int(row['directories']), int(row['bytes']))
                          for row in self.csv('direct')], self.figures.direct)
        self.assertEqual([{int(row['id']): (int(row['entries']), int(row['bytes'])) for row in self.csv('old') if
                           row['of'] == 'owner' and row['min_age_seconds'] == str(age) and row['entries'] != '0'}
                          for age in fixture.AGES], self.old)

    def test_listed_paths_are_the_names_in_the_filesystem(self):
        paths = orvctl('report', self.result, '--section', 'files', '--null').split(b'\0')
        self.assertEqual(paths.pop(), b'')
        self.assertEqual(paths, [file[0] for file in self.figures.files])
        missing = [path for path in paths if not os.path.lexists(path)]
        self.assertTrue(all(b'line break' in path for path in missing), missing)

    def test_foreign_results_keep_every_profile(self):
        roots = [self.tree / os.fsdecode(b'd0 plain.txt'), self.tree / os.fsdecode(b'd19 it\'s')]
        text = fixture.definition('nightly', roots, [f'{roots[0]}/'], [
            fixture.profile(1, 'sums, only', 1, 0, ['sdSummary']), fixture.profile(2, 'all', 3, 5, fixture.SWITCHES)])
        result = self.work.scan(text, roots)
        scan = self.json(result)
        self.assertEqual([[p['name'] for p in root['profiles']] for root in scan['roots']], [['sums, only', 'all']] * 2)
        expected = [(name, fixture.figures(results)) for name, results, met in
                    fixture.profiles_of(fixture.read_result(result)) if met is None]
        self.assertEqual([(p['name'], json_figures(p)) for root in scan['roots'] for p in root['profiles']], expected)
        watched = scan['roots'][0]['subtrees'][0]
        self.assertEqual((watched['watched'], watched['depth'], watched['totals']), (True, 0, watched['profiles'][0]['totals']))
        self.assertIsNone(scan['host'])

    def test_files_appear_whole_and_with_their_rights(self):
        place = self.work.path / 'out'
        os.umask(0o077)
        orvctl('report', self.result, '--format', 'csv', '--output', f'{place}/')
        tables = sorted(file.name for file in place.iterdir())
        self.assertEqual(len(tables), 14)
        for form, mode in [('json', 0o640), ('html', 0o640), ('text', 0o640), ('prometheus', 0o644)]:
            file = place / form
            file.write_text('older and longer' * 1000000)
            file.chmod(0o600)
            orvctl('report', self.result, '--format', form, '--output', file)
            self.assertEqual((file.stat().st_mode & 0o777, file.read_bytes()[:5] == b'older'), (mode, False), form)
        self.assertEqual(len(list(place.iterdir())), len(tables) + 4)

    def test_bad_input_costs_one_line(self):
        cut = self.work.path / 'cut.dat'
        cut.write_bytes(self.result.read_bytes()[:-400])
        ends = [
            ([cut, '--format', 'json'], 1, 'it is cut off inside'),
            ([self.result, '--format', 'json', '--output', self.work.path / 'none/x'], 1, 'No such file or directory'),
            ([self.result, '--format', 'html', '--output', self.work.path], 1, 'Is a directory'),
            ([self.result, '--format', 'csv', '--output', '/dev/full', '--section', 'files'], 1, 'No space left on device'),
            ([self.result, '--format', 'csv'], 2, 'give --output DIR'),
            ([self.result, '--format', 'html', '--section', 'files'], 2, '--section goes with'),
            ([self.result, '--null', '--section', 'owners'], 2, 'no paths'),
            ([self.result, '--format', 'xml'], 2, '--format'),
        ]
        for arguments, code, words in ends:
            error = orvctl('report', *arguments, code=code)
            self.assertTrue(error.startswith('orvctl: ') and words in error and error.count('\n') == 1, error)

    def test_full_disk_leaves_the_old_file(self):
        if os.geteuid() != 0:
            self.skipTest('SKIPPED: mounting a small disk needs root')
        disk = self.work.path / 'disk'
        disk.mkdir()
        script = ('mount -t tmpfs -o size=64k none "$1" && echo old > "$1/x" && head -c 40000 /dev/zero > "$1/fill" && '
                  '! "$2" report "$3" --format html --output "$1/x" && cat "$1/x" && ls -A "$1"')
        run = subprocess.run(['unshare', '-m', 'sh', '-c', script, 'sh', disk, fixture.AGENT / 'bin/orvctl', self.result],
                             stdout=subprocess.PIPE, stderr=subprocess.PIPE, check=False)
        self.assertEqual(run.stdout, b'old\nfill\nx\n', run.stderr)
        self.assertRegex(run.stderr.decode(), '^orvctl: cannot write .*/x: No space left on device\n$')


if __name__ == '__main__':
    unittest.main()
