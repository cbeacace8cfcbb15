#!/usr/bin/env python3
# Scans that are divided into shares, against one walk over the same tree: every figure. Shares are
# walked by processes of this machine and by a Slurm cluster; whatever becomes of walks, nodes, states
# and coordinators, the result is the same or says what it lacks.
import os
import random
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import threading
import time
from pathlib import Path

sys.path.insert(0, os.environ['ORV_SOURCE'] + '/tests/export')
import fixture  # noqa: E402
import slurm  # noqa: E402

# Of the scan's own start; records and ages shift with it.
TIMES = {'fsScanTime', 'sumScanTime', 'tdScanTime', 'smScanTime', 'sugTimestamp'}
# Others use the disk meanwhile.
CHANGING = {'fsFreeSpace', 'fsUsedSpace', 'fsUsedInodes', 'fsFreeInodes', 'sumFreeSpace', 'sumUsedSpace'}


def make_tree(work):
    # Odd names, links within and across directories, deep and wide places, owners without names.
    tree = work.hostile_tree()
    # Away from the bounds of the ages, also where two names of a file shift it twice: the scans
    # that are compared do not start at once.
    for directory, _, names in os.walk(os.fsencode(tree)):
        for name in names:
            age = os.lstat(directory + b'/' + name).st_mtime - 20000
            os.utime(directory + b'/' + name, (age, age), follow_symlinks=False)
    random.seed(11)
    directories, files = [str(tree)], []
    for i in range(150):
        directories.append(random.choice(directories[-40:]) + f'/d{i}')
        os.mkdir(directories[-1])
    for i in range(3000):
        name = random.choice(directories) + f'/f{i}.{random.choice(["txt", "C", "c", f"x{i % 37}"])}'
        if files and random.random() < 0.3:
            os.link(random.choice(files), name)
            continue
        with open(name, 'wb') as file:
            file.truncate(random.choice([0, 5, 20, 5000, 5000, 1 << 20, 3 << 30]))
        then = time.time() - 86400 * (random.randrange(1200) + 0.5)
        os.utime(name, (then, then))
        if os.geteuid() == 0 and random.random() < 0.3:
            os.chown(name, random.choice([54321, 54322, 1, 4294967294]), random.choice([0, 54323]))
        files.append(name)
    deep = str(tree) + '/deep'
    for i in range(210):
        os.mkdir(deep)
        deep += f'/{i}'
    return tree


def make_large_tree(work):
    # 400,000 entries. Half of the names are later ones of files of any directory so far.
    # In memory, where there is such a place: a disk that others use takes minutes.
    work.memory = tempfile.TemporaryDirectory(dir='/dev/shm' if os.access('/dev/shm', os.W_OK) else work.path)
    tree, random_number = Path(work.memory.name) / 'tree', random.Random(3).random
    names = []
    for i in range(400):
        directory = f'{tree}/d{i % 20}/d{i}.{i % 7}'
        os.makedirs(directory)
        for j in range(1000):
            name = f'{directory}/{j}.x{j % 90}'
            if j % 2:
                os.link(names[int(random_number() * len(names))], name)
                continue
            os.mknod(name)
            names.append(name)
        os.truncate(names[-1], i * 1000)
    return tree


class Scans:
    def __init__(self, environment, make=make_tree, ranked=30000):
        self.work = fixture.Work()
        self.environment = dict(environment)
        self.tree = make(self.work)
        everything = fixture.SWITCHES
        watch = [f'{self.tree}/', f'{self.tree}/d0', f'{self.tree}/%/d1*', f'{self.tree}/*']
        self.definition = fixture.definition('job', [self.tree], watch, [
            fixture.profile(1, 'all', 1, ranked, everything), fixture.profile(2, 'few', 1, 5, everything),
            fixture.profile(3, 'linked', 3, ranked, everything, 'links>1'),
            fixture.profile(4, 'watched', 0, ranked, everything)])
        self.table = self.work.path / 'mnttab'
        self.table.write_text(f'x {self.tree} x rw 0 0\n')
        self.runs = 0
        self.one = self.scan({})

    def scan(self, environment, code=0, prefix=()):
        # Runs the job; its result, log and the process's return code.
        process = self.start(environment, prefix)
        assert self.end(process) == code, (process.returncode, self.log())
        return fixture.read_result(self.result) if self.result.exists() else None

    def start(self, environment, prefix=()):
        self.runs += 1
        name = f'job.{self.runs:08}_scan.0001.dat'
        agent = self.work.path / 'agent'
        (agent / 'input/s' / name).write_text(self.definition)
        self.result = agent / 'output/s' / name
        self.log_file = self.work.path / f'log.{self.runs}'
        return subprocess.Popen(
            [*prefix, fixture.AGENT / 'bin/scan', '-scan', '-installLoc', agent, '-serverName', 's', '-jobName', 'job',
             '-jobRunNumber', str(self.runs), '-sidRunNumber', '1', '-logname', self.log_file],
            env=os.environ | {'ORV_MNTTAB': str(self.table)} | self.environment | environment)

    def end(self, process):
        try:
            return process.wait(120)
        finally:
            process.kill()

    def log(self):
        return self.log_file.read_text(errors='replace')

    def shares(self, budget, **more):
        # A new work directory, and the variables that have the job use it.
        directory = self.work.path / f'work.{self.runs}'
        directory.mkdir(mode=0o700)
        (directory / 'definition.dat').write_text(self.definition)
        shutil.copy(self.table, directory / 'mnttab')
        return directory, {'ORV_SHARES': str(directory), 'ORV_SHARES_BUDGET': str(budget), 'ORV_SHARES_TASKS': '4', **more}

    def stop_amid(self, environment, directory, done):
        # Kills the coordinator when that many shares are done.
        process = self.start(environment)
        while len(list((directory / 'accepted').glob('*'))) < done:
            assert process.poll() is None, self.log()
            time.sleep(0.005)
        process.kill()
        process.wait()

    def expect_equal(self, result, what):
        start = [int(one.find('Filesystem')[0].rows[0]['fsScanTime']) // 1000 for one in (self.one, result)]
        expected, found = list(lines(self.one, start[0])), list(lines(result, start[1]))
        differing = [pair for pair in zip(expected, found) if pair[0] != pair[1]]
        assert not differing and len(expected) == len(found), (what, len(differing), differing[:3])
        assert len(found) > 5000, len(found)


def lines(entity, start):
    for row in entity.rows:
        row = {name: 'start' if name in TIMES and abs(int(value) // 1000 - start) < 600 else value
               for name, value in row.items() if name not in CHANGING}
        if set(row.get('tdCounts', '')) - set('0,'):
            row['tdAverageAge'] = int(row['tdAverageAge']) - start
        yield entity.name, entity.slot, row
    for kid in entity.kids:
        yield from lines(kid, start)


def local_shares_equal_one_walk(scans):
    for budget, threads in [(25, 1), (400, 4), (10 ** 6, 1)]:
        directory, variables = scans.shares(budget, ORV_WALK_THREADS=str(threads))
        scans.expect_equal(scans.scan(variables), (budget, threads))
        assert len(list((directory / 'shares').iterdir())) > 1
        # The deepest directory is reported as one walk does it.
        assert len(re.findall('STA0001E', scans.log())) == 1, scans.log()


def a_killed_coordinator_is_followed(scans):
    for spoil in [False, True]:
        directory, variables = scans.shares(25)
        scans.stop_amid(variables, directory, 20)
        kept = sorted((directory / 'accepted').iterdir())
        if spoil:
            # One is cut, one changed, and one comes from another run.
            kept[3].write_bytes(kept[3].read_bytes()[:-9])
            data = bytearray(kept[5].read_bytes())
            data[len(data) // 2] ^= 1
            kept[5].write_bytes(data)
            shutil.copy(scans.other_state, kept[7])
        scans.other_state = scans.work.path / 'other'
        shutil.copy(kept[7], scans.other_state)
        before = {file: file.stat().st_ino for file in kept}
        scans.expect_equal(scans.scan(variables), ('resumed', spoil))
        again = [file for file in kept if file.stat().st_ino != before[file]]
        assert again == ([kept[3], kept[5], kept[7]] if spoil else []), again


def a_lost_share_is_told(scans):
    directory, variables = scans.shares(25)
    (directory / 'states').mkdir()
    # Nobody can leave a state in its place.
    (directory / 'states/00000004').mkdir()
    scans.scan(variables, 4)
    lost = re.search(r'STA0564E Share 4 .*code 4\. .*result: \n?.*?(/\S.*)', scans.log(), re.S)
    assert lost, scans.log()
    assert scans.log().count('STA0565W') == 2, scans.log()


def a_full_work_directory_is_no_result(scans):
    directory, variables = scans.shares(25)
    scans.scan(variables, 4, ['unshare', '-m', 'sh', '-c', f'''cp -r "{directory}" "{directory}.kept" &&
        mount -t tmpfs -o size=80k,mode=700 none "{directory}" && cp "{directory}.kept"/* "{directory}" && exec "$@"''', 'sh'])
    assert re.search('STA056[47]E.*No space left', scans.log()), scans.log()


def a_vanished_directory_does_no_harm(scans):
    directory, variables = scans.shares(25)
    gone = scans.tree / 'gone'
    for i in range(40):
        (gone / f'{i}' / 'below').mkdir(parents=True)
    scans.stop_amid(variables, directory, 10)
    shutil.rmtree(gone)
    scans.scan(variables)
    assert 'STA0564E' not in scans.log()


def another_filesystem_is_no_empty_share(scans):
    directory, variables = scans.shares(25)
    scans.stop_amid(variables, directory, 10)
    share = subprocess.run(
        ['unshare', '-m', 'sh', '-c', f'mount -t tmpfs none "{scans.tree}" && exec "$@"', 'sh', fixture.AGENT / 'bin/scan',
         '-share', directory, '1'], capture_output=True, text=True, check=False)
    assert share.returncode == 8 and 'on this node it is not the filesystem' in share.stderr, share


def many_entries_equal_one_walk(_):
    scans = Scans({}, make_large_tree, 100)
    scans.expect_equal(scans.scan(scans.shares(100000, ORV_WALK_THREADS='4')[1]), '400,000 entries')


def change(directories, away, outside, done):
    # Directories that shares begin with disappear, become links that lead out of the tree, files or
    # empty, and come back, some of them elsewhere.
    number, swapped = random.Random(5), []
    for kept in map(str, range(10 ** 9)):
        if done.wait(0.0005):
            return
        name = number.choice(directories)
        try:
            os.rename(name, away / kept)
            number.choice([name.mkdir, name.touch, lambda at=name: at.symlink_to(outside), lambda: None])()
            swapped.append((name, away / kept))
            if len(swapped) > 30:
                name, kept = swapped.pop(0)
                name.rmdir() if name.is_dir() and not name.is_symlink() else name.unlink(missing_ok=True)
                os.rename(kept, name if number.random() < 0.97 else name.with_name('moved'))
        except OSError:
            pass


def a_changing_tree_is_told_coherently(scans):
    outside, done = scans.work.path / 'outside', threading.Event()
    outside.mkdir()
    (scans.work.path / 'away').mkdir()
    (outside / 'file.outside').touch()
    os.truncate(outside / 'file.outside', 1 << 43)
    # None of them lies in another, so that all come back.
    directories = sorted(Path(path) for path, below, _ in os.walk(scans.tree) if not below)
    changer = threading.Thread(target=change, args=(directories, scans.work.path / 'away', outside, done))
    changer.start()
    try:
        for threads in ['1', '4', '1', '4']:
            assert scans.end(scans.start(scans.shares(25, ORV_WALK_THREADS=threads)[1])) in (0, 4), scans.log()
            assert 'STA056' not in scans.log() and b'outside' not in scans.result.read_bytes(), scans.log()
            expect_coherent(fixture.read_result(scans.result))
    finally:
        done.set()
        changer.join()


def expect_coherent(entity):
    for summary in entity.records('SSummary'):
        totals = fixture.numbers(summary, 'sumFileCount', 'sumDirectoryCount', 'sumTotalSize')
        assert totals[2] < 1 << 43, totals
        for slot in ['srOwners', 'srGroups']:
            rows = [fixture.numbers(row, 'sugFileCount', 'sugDirectoryCount', 'sugTotalSize')
                    for row in entity.records('SUserOrGroup', slot)]
            assert tuple(map(sum, zip(*rows))) in (totals, ()), (slot, rows, totals)
        for kind, prefix in [('SSizeDist', 'szd'), ('STimeDist', 'td')]:
            for row in entity.records(kind):
                counts, sizes = (sum(map(int, row[prefix + what].split(','))) for what in ['Counts', 'Sizes'])
                assert sizes == totals[2] and counts >= totals[0] + totals[1] or counts == 0, (kind, row, totals)
    for kid in entity.kids:
        expect_coherent(kid)


def slurm_shares_equal_one_walk(scans, cluster):
    # Nor does it matter what a user set for commands of his own, or how the directory is called.
    tastes = {'SQUEUE_STATES': 'COMPLETED', 'SCANCEL_INTERACTIVE': '1', 'SBATCH_EXPORT': 'NONE'}
    directory, variables = scans.shares(200, **tastes)
    odd = directory.rename(directory.with_name("it's 5%A &"))
    scans.expect_equal(scans.scan(variables | {'ORV_SHARES': str(odd)}), 'slurm')
    assert 'STA056' not in scans.log(), scans.log()


def running(cluster, name):
    # Those that walk: workers that wait for a share are nobody's loss.
    return [pid for pid in cluster.steps(name) if '-share' in subprocess.getoutput(f'tr "\\0" " " < /proc/{pid}/cmdline').split()]


def amid(cluster, scans, harm, what, **more):
    # Does harm to the cluster while a share is walked there. The work directory.
    directory, variables = scans.shares(400, ORV_STAT_DELAY_US='4000', LD_PRELOAD=os.environ['ORV_SLOWSTAT'], **more)
    process = scans.start(variables)
    busy = []
    while not busy:
        assert process.poll() is None, scans.log()
        busy = [(name, pids) for name in slurm.NODES for pids in [running(cluster, name)] if pids]
    harm(*busy[0])
    print(f'amid shares: {what}', flush=True)
    assert scans.end(process) == 0, scans.log()
    scans.expect_equal(fixture.read_result(scans.result), what)
    return directory


def a_lost_answer_of_sbatch_is_no_worker(scans, cluster):
    # Slurm takes the second array all the same.
    programs = scans.work.path / 'programs'
    programs.mkdir()
    (programs / 'sbatch').write_text(
        f'#!/bin/sh\n{shutil.which("sbatch")} "$@" && echo >>"$0.count" && [ $(wc -l <"$0.count") != 2 ]\n')
    (programs / 'sbatch').chmod(0o755)
    directory = amid(cluster, scans, lambda name, pids: os.kill(pids[0], signal.SIGKILL), 'answer of sbatch lost',
                     ORV_SHARES_TASKS='1', PATH=f'{programs}:{os.environ["PATH"]}')
    assert 'STA0566W' in scans.log(), scans.log()
    walked = re.findall(r'scan: share (\d+) of', ''.join(log.read_text() for log in (directory / 'logs').iterdir()))
    assert len(walked) <= len(set(walked)) + 1, walked


def what_happens_to_nodes_changes_nothing(scans, cluster):
    amid(cluster, scans, lambda name, pids: os.kill(pids[0], signal.SIGKILL), 'task killed')
    assert 'STA0565W' in scans.log(), scans.log()
    amid(cluster, scans, lambda name, pids: cluster.run(
        'scontrol', 'update', f'NodeName={name}', 'State=DRAIN', 'Reason=test'), 'node drained')
    drained = [name for name, state in cluster.states().items() if state.startswith('dr')]
    cluster.run('scontrol', 'update', f'NodeName={drained[0]}', 'State=RESUME')

    def restart(name, pids):
        cluster.stop('slurmctld', signal.SIGTERM)
        time.sleep(3)
        cluster.start_controller()
    amid(cluster, scans, restart, 'controller restarted')
    amid(cluster, scans, lambda name, pids: cluster.stop(name, signal.SIGKILL), 'node lost')


def a_cancelled_scan_leaves_nothing(scans, cluster):
    directory = scans.work.path / 'cancelled'
    environment = os.environ | scans.environment | {'ORV_STAT_DELAY_US': '9000', 'LD_PRELOAD': os.environ['ORV_SLOWSTAT']}
    orvctl = fixture.AGENT / 'bin/orvctl'
    process = subprocess.Popen(
        [orvctl, 'cluster', 'scan', scans.tree, '--engine', 'slurm', '--agent', scans.work.path / 'agent2', '--work', directory],
        env=environment, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    cluster.wait(lambda: cluster.run('squeue', '-h') or process.poll() is not None, 'a job')
    done = subprocess.run([orvctl, 'cluster', 'cancel', directory], env=os.environ | scans.environment, check=False)
    assert done.returncode == 0 and process.wait(60) != 0
    assert not directory.exists()
    cluster.wait(lambda: not cluster.run('squeue', '-h'), 'the end of all jobs')
    # No lock: the directory can be scanned at once.
    fixture.orvctl('scan', scans.tree, '--agent', scans.work.path / 'agent2', '--summary')


def main():
    # So that what was started is stopped also when the test is.
    signal.signal(signal.SIGTERM, lambda *unused: sys.exit(1))
    scans = Scans({})
    for case in [local_shares_equal_one_walk, a_killed_coordinator_is_followed, a_lost_share_is_told,
                 a_full_work_directory_is_no_result, another_filesystem_is_no_empty_share, a_vanished_directory_does_no_harm,
                 many_entries_equal_one_walk, a_changing_tree_is_told_coherently]:
        if case in (a_full_work_directory_is_no_result, another_filesystem_is_no_empty_share) and os.geteuid() != 0:
            print(f'SKIPPED: {case.__name__}: mounting needs root')
            continue
        case(scans)
        print(f'passed: {case.__name__}', flush=True)
    reason = slurm.missing()
    if not reason and not os.path.exists(os.environ['ORV_SLOWSTAT']):
        reason = 'the library that slows stat is not built'
    if reason:
        print(f'SKIPPED: everything with Slurm: {reason}')
        return
    with slurm.Slurm(scans.work.path / 'slurm') as cluster:
        spread = Scans({'SLURM_CONF': cluster.environment['SLURM_CONF'], 'ORV_SHARES_ENGINE': 'slurm'})
        for case in [slurm_shares_equal_one_walk, a_lost_answer_of_sbatch_is_no_worker,
                     what_happens_to_nodes_changes_nothing, a_cancelled_scan_leaves_nothing]:
            case(spread, cluster)
            print(f'passed: {case.__name__}', flush=True)


if __name__ == '__main__':
    main()
