#!/usr/bin/python3
"""The metrics pass promtool and a real node_exporter, and say what the result says."""
import re
import socket
import subprocess
import time
import unittest
import urllib.request

import fixture
from fixture import bytes_of, orvctl

PROMTOOL = fixture.need('promtool')
NODE_EXPORTER = fixture.need('prometheus-node-exporter')
PROMISED = {'orvscan_' + name for name in (
    'size_bytes entries unreadable_entries age_size_bytes age_entries class_size_bytes class_entries unused_size_bytes '
    'owner_size_bytes owner_unused_size_bytes group_size_bytes group_unused_size_bytes directory_size_bytes '
    'filesystem_size_bytes filesystem_used_bytes filesystem_free_bytes last_run_timestamp_seconds '
    'last_run_duration_seconds last_run_return_code last_success_timestamp_seconds build_info').split()}
SAMPLE = re.compile(r'^(orvscan_\w+|node_textfile_scrape_error)(?:\{(.*)\})? (\S+)$')
LABEL = re.compile(r'(\w+)="((?:[^"\\]|\\.)*)",?')


def samples(text):
    """{(metric, frozenset of labels): value} of a text in the exposition format."""
    found = {}
    for name, labels, value in filter(None, (re.findall(SAMPLE, line)[0] if SAMPLE.match(line) else None
                                             for line in text.split('\n'))):
        pairs = {key: re.sub(r'\\(.)', r'\1', word) for key, word in LABEL.findall(labels)}
        key = (name, frozenset(pairs.items()))
        assert key not in found, key
        found[key] = float(value)
    return found


class Metrics(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.work = fixture.Work()
        cls.tree = cls.work.hostile_tree()
        cls.place = cls.work.path / 'textfiles'
        cls.place.mkdir()
        cls.result = cls.work.scan(fixture.own_definition(cls.tree), [cls.tree])
        inner = next(cls.tree.glob('d2 *'))
        # Two accounts of one name would be one time series but for their numbers.
        text = cls.result.read_bytes().replace(b'"daemon"', b'"root"')
        twins = cls.work.path / 'twins.dat'
        twins.write_bytes(text)
        other = cls.work.scan(fixture.own_definition(inner), [inner])
        for name, result in [('one', twins), ('two', other)]:
            orvctl('report', result, '--format', 'prometheus', '--output', cls.place / f'{name}.prom')

    def check(self, text):
        run = subprocess.run([PROMTOOL, 'check', 'metrics'], input=text, stdout=subprocess.PIPE,
                             stderr=subprocess.STDOUT, check=False)
        self.assertEqual((run.returncode, run.stdout), (0, b''))

    def test_promtool_finds_no_fault(self):
        for file in self.place.glob('*.prom'):
            self.check(file.read_bytes())

    def test_figures_are_those_of_the_result(self):
        figures, old, subtrees, _ = fixture.own_figures(self.result)
        found = samples(orvctl('report', self.result, '--format', 'prometheus', '--top', 10).decode())
        root = ('root', str(self.tree))
        self.assertEqual(found['orvscan_size_bytes', frozenset([root])], figures.totals[2])
        self.assertEqual([found['orvscan_entries', frozenset([root, ('type', kind)])] for kind in ['file', 'directory']],
                         list(figures.totals[:2]))
        by = lambda name: {labels: value for (metric, labels), value in found.items() if metric == name}
        owners = {int(dict(labels)['id']): value for labels, value in by('orvscan_owner_size_bytes').items()}
        self.assertEqual(owners, {number: owner[4] for number, owner in figures.owners.items()})
        self.assertEqual(sum(by('orvscan_owner_unused_size_bytes').values()), sum(o[1] for each in old for o in each.values()))
        self.assertEqual(sorted(by('orvscan_class_size_bytes').values()), sorted(size for _, size in figures.sizes))
        directories = {bytes_of(dict(labels)['directory']): value for labels, value in
                       by('orvscan_directory_size_bytes').items()}
        self.assertEqual(len(directories), 10)
        self.assertEqual({path: subtrees[path][2] for path in directories}, directories)

    def test_scans_that_share_a_file_keep_to_their_roots(self):
        agent = ['--agent', self.work.path / 'own', '--format', 'prometheus', '--output', self.work.path / 'shared.prom']
        roots = [self.work.path / 'first', self.work.path / 'second']
        of = {}
        for root in roots:
            (root / 'below').mkdir(parents=True)
            (root / 'below/file').write_bytes(b'x' * 1000)
            orvctl('scan', root, *agent)
            found = samples((self.work.path / 'shared.prom').read_text())
            of[root] = {key: value for key, value in found.items() if ('root', str(root)) in key[1]}
            self.assertEqual(PROMISED - {name for name, _ in of[root]}, set())
        self.assertEqual(found, of[roots[0]] | of[roots[1]])
        # At once, and as often as it takes to disturb one another.
        path = self.work.path / 'crowd.prom'
        writers = [subprocess.Popen([fixture.AGENT / 'bin/orvctl', 'report', 'latest', root, *agent[:5], path])
                   for root in roots * 4]
        self.assertEqual([writer.wait(120) for writer in writers], [0] * len(writers))
        self.assertEqual(samples(path.read_text()), found)
        self.check(path.read_bytes())

    def test_node_exporter_serves_every_sample(self):
        with socket.socket() as probe:
            probe.bind(('127.0.0.1', 0))
            port = probe.getsockname()[1]
        server = subprocess.Popen(
            [NODE_EXPORTER, '--collector.disable-defaults', '--collector.textfile', '--collector.textfile.directory',
             self.place, '--web.listen-address', f'127.0.0.1:{port}', '--web.disable-exporter-metrics'],
            stderr=subprocess.PIPE)
        try:
            for _ in range(600):
                try:
                    served = urllib.request.urlopen(f'http://127.0.0.1:{port}/metrics').read().decode()
                    break
                except OSError:
                    self.assertIsNone(server.poll())
                    time.sleep(0.1)
            served = samples(served)
        finally:
            server.kill()
            server.communicate()
        self.assertEqual(served.pop(('node_textfile_scrape_error', frozenset())), 0)
        written = {}
        for file in self.place.glob('*.prom'):
            written.update(samples(file.read_text()))
        self.assertGreater(len(written), 100)
        self.assertEqual(served, written)

    def test_example_rules(self):
        rules = fixture.SOURCE / 'docs/prometheus/orvscan.rules.yml'
        subprocess.run([PROMTOOL, 'check', 'rules', '--lint-fatal', rules], check=True, stdout=subprocess.DEVNULL)
        test = self.work.path / 'rules_test.yml'
        test.write_text((fixture.SOURCE / 'tests/export/rules_test.yml').read_text().replace('RULES', str(rules)))
        run = subprocess.run([PROMTOOL, 'test', 'rules', test], stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                             check=False)
        self.assertEqual(run.returncode, 0, run.stdout.decode())
        # The rules ask for metrics that there are.
        names = set(re.findall(r'(?<![:\w])orvscan_\w+', rules.read_text()))
        known = {name for name, _ in samples((self.place / 'one.prom').read_text())}
        self.assertEqual(names - known, {'orvscan_last_run_return_code', 'orvscan_unreadable_entries'})


if __name__ == '__main__':
    unittest.main()
