#!/usr/bin/env python3
# Times the scan of a tree that several walks do together against one walk over it, by turns in one
# run, for the speed of a machine changes within minutes:
#
#   bench/shares.py [--engine local|slurm] [--tasks N] [--delay MICROSECONDS] [--rounds N] TREE
#
# Prints seconds, processor seconds and MiB of each scan, the states, their merger alone, and the
# ratios. --delay is added to every stat. "slurm" starts a cluster of three nodes with two processors
# each on this machine (as root; packages slurm-wlm and munge), and one walk is a task of it, too.
import argparse
import os
import shutil
import sys
import time
from pathlib import Path
from subprocess import Popen

SOURCE = Path(__file__).resolve().parent.parent
BUILD = SOURCE / 'build/release'
os.environ |= {'ORV_AGENT': str(BUILD / 'agent'), 'ORV_SOURCE': str(SOURCE)}
sys.path[:0] = [str(SOURCE / 'tests/export'), str(SOURCE / 'tests/cluster')]
import fixture  # noqa: E402
import slurm  # noqa: E402


class Bench:
    def __init__(self, arguments, environment):
        self.work = fixture.Work()
        self.arguments = arguments
        tree = os.path.realpath(arguments.tree)
        self.definition = fixture.definition(
            'job', [tree], [], [fixture.profile(1, 'all', 1, 100, fixture.SWITCHES)])
        self.table = self.work.path / 'mnttab'
        self.table.write_text(f'x {tree} x rw 0 0\n')
        self.environment = os.environ | environment | {'ORV_MNTTAB': str(self.table), 'ORV_WALK_THREADS': '1'}
        if arguments.delay:
            self.environment |= {'LD_PRELOAD': str(BUILD / 'bench/libslowstat.so'),
                                 'ORV_STAT_DELAY_US': str(arguments.delay)}
        self.runs = 0

    def run(self, what, environment):
        self.runs += 1
        name = f'job.{self.runs:08}_scan.0001.dat'
        (self.work.path / 'agent/input/s' / name).write_text(self.definition)
        begin = time.monotonic()
        job = Popen([fixture.AGENT / 'bin/scan', '-scan', '-installLoc', self.work.path / 'agent', '-serverName', 's',
                     '-jobName', 'job', '-jobRunNumber', str(self.runs), '-sidRunNumber', '1'],
                    env=self.environment | environment)
        _, status, used = os.wait4(job.pid, 0)
        seconds = time.monotonic() - begin
        assert status == 0, status
        print(f'{what:12} {seconds:8.2f} s {used.ru_utime + used.ru_stime:8.2f} s of processors '
              f'{used.ru_maxrss // 1024:4} MiB', flush=True)
        return seconds

    def shares(self, tasks):
        # The variables of a scan in shares, and its new work directory.
        directory = self.work.path / f'work.{self.runs}'
        directory.mkdir(mode=0o700)
        (directory / 'definition.dat').write_text(self.definition)
        shutil.copy(self.table, directory / 'mnttab')
        return directory, {'ORV_SHARES': str(directory), 'ORV_SHARES_ENGINE': self.arguments.engine,
                           'ORV_SHARES_TASKS': str(tasks)}

    def measure(self):
        ratios = []
        for _ in range(self.arguments.rounds):
            one = self.run('one walk', self.shares(1)[1] if self.arguments.engine == 'slurm' else {})
            directory, variables = self.shares(self.arguments.tasks)
            ratios.append(self.run(f'{self.arguments.tasks} tasks', variables) / one)
            states = [file.stat().st_size for file in (directory / 'accepted').iterdir()]
            self.run('merger alone', variables | {'LD_PRELOAD': ''})
            print(f'{len(states)} shares, {sum(states)} bytes of states')
        middle = sorted(ratios)[len(ratios) // 2]
        print(f'{middle:.2f} times one walk, {1 / middle:.2f} times as fast; rounds: '
              + ' '.join(f'{ratio:.2f}' for ratio in sorted(ratios)))


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument('--engine', choices=['local', 'slurm'], default='local')
    parser.add_argument('--tasks', type=int, default=2)
    parser.add_argument('--delay', type=int, default=0)
    parser.add_argument('--rounds', type=int, default=5)
    parser.add_argument('tree')
    arguments = parser.parse_args()
    if arguments.engine == 'local':
        Bench(arguments, {}).measure()
        return
    # Lives as long as the cluster does.
    place = fixture.Work()
    with slurm.Slurm(place.path / 'slurm') as cluster:
        Bench(arguments, {'SLURM_CONF': cluster.environment['SLURM_CONF']}).measure()


if __name__ == '__main__':
    main()
