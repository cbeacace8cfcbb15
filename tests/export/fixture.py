"""Results to export, made by the real scan, and what they say, read without anything of orvctl."""
import collections
import csv
import os
import re
import shutil
import subprocess
import sys
import tempfile
import time
from pathlib import Path

AGENT = Path(os.environ['ORV_AGENT'])
SOURCE = Path(os.environ['ORV_SOURCE'])
DAY = 86400
RANKINGS = ['sdLargestDirectories', 'sdLargestFiles', 'sdLeastAccessed', 'sdOldestNotBackedUp',
            'sdLargestOrphans', 'sdOldestOrphans', 'sdLargestFileTypes']
SWITCHES = ['sdSummary', 'sdSizeDistribution', 'sdGroupByOwner', 'sdGroupByGroup',
            'sdGroupByAccess', 'sdGroupByMod', 'sdGroupByCreation', 'sdGroupByBackup']
OVER = [10 << 20, 100 << 20, 1 << 30, 10 << 30]
AGES = [90 * DAY, 31557600, 63115200]
HOSTILE = [b'plain.txt', b'com,ma.txt', b'quo"te.txt', b'back\\slash', b'like\\x41escape', b'bad\xff\xfe.bin',
           b'cut\xe2\x82', b'surrogate\xed\xa0\x80', b'long\xc0\xafform', 'grüße 🎉.txt'.encode(),
           'turn\u202egnp.exe'.encode(), 'line\u2028end'.encode(), b'tab\there', b'bell\x07', b'c1\xc2\x9b31m',
           b'line\nbreak', b'<script>document.title="owned"<', b'<!--<script>', b'{label="x"} 1 # HELP', b"it's", b'=1+1', b' ']


def skip(reason):
    print(f'SKIPPED: {reason}')
    sys.exit(77)


def need(program):
    found = shutil.which(program, path=os.environ.get('PATH', '') + ':/usr/sbin:/sbin')
    return found or skip(f'{program} is not installed')


class Work:
    """A temporary directory with an agent directory in it, removed at the end."""

    def __init__(self):
        self._directory = tempfile.TemporaryDirectory(prefix='orv-export-')
        self.path = Path(os.path.realpath(self._directory.name))
        self.runs = 0
        for folder in ['bin', 'nls', 'config', 'input/s', 'output/s', 'log/s']:
            (self.path / 'agent' / folder).mkdir(parents=True)
        for file in ['bin/Agent', 'nls/xrmna.cat']:
            shutil.copy(AGENT / file, self.path / 'agent' / file)

    def hostile_tree(self):
        tree = self.path / 'tree'
        tree.mkdir()
        base = os.fsencode(tree)
        for i, name in enumerate(HOSTILE):
            os.mkdir(base + b'/d%d ' % i + name)
            for place in [base, base + b'/d%d ' % i + name]:
                with open(place + b'/' + name, 'wb') as file:
                    file.write(b'x' * 1000 * (i + 1))
                then = time.time() - 30 * DAY * i
                os.utime(place + b'/' + name, (then, then))
        for gib in [1, 3, 5, 9]:
            with open(tree / f'sparse{gib}', 'wb') as file:
                file.truncate((gib << 30) + gib)
        os.link(tree / 'plain.txt', tree / 'second name')
        os.mkfifo(tree / 'fifo')
        if os.geteuid() == 0:
            os.chown(tree / 'sparse3', 54321, 54321)
            os.chown(tree / 'second name', 1, 1)
        return tree

    def scan(self, definition, roots):
        """Runs the job over directories that each count as a filesystem; the path of its result."""
        self.runs += 1
        name = f'job.{self.runs:08}_scan.0001.dat'
        table = self.path / 'mnttab'
        table.write_text(''.join('x ' + str(root).replace(' ', '\\040') + ' x rw 0 0\n' for root in roots))
        (self.path / 'agent/input/s' / name).write_text(definition)
        run = subprocess.run(
            [AGENT / 'bin/scan', '-scan', '-installLoc', self.path / 'agent', '-serverName', 's', '-jobName', 'job',
             '-jobRunNumber', str(self.runs), '-sidRunNumber', '1'],
            env={**os.environ, 'ORV_MNTTAB': str(table)}, check=False)
        assert run.returncode == 0, run.returncode
        return self.path / 'agent/output/s' / name


def profile(number, name, kind, rankings=0, switches=(), clause=''):
    values = [str(number), f'"{name}"', str(kind)] + [str(rankings)] * len(RANKINGS)
    values += ['Y' if switch in switches else 'N' for switch in SWITCHES]
    letters = ' '.join(clause.replace(' ', ''))
    values.append(f'"{letters}"' if clause else 'null')
    return '[CuStatDef]\n' + ','.join(values) + '\n[/CuStatDef]\n'


def definition(job, roots, watch, profiles):
    text = ('[Header]\n[AgentScan]\nasJobName,asScanningCompID\n[Filesystem]\nfsID,fsMountPoint,fsType\n'
            '[MonDirSpec]\nmdsID,mdsComputerID,mdsPath\n[CuStatDef]\nsdID,sdName,sdType,' + ','.join(RANKINGS + SWITCHES) +
            f',sdWhereClause\n[/Header]\n[AgentScan]\n"{job}",1\n')
    quoted = [str(path).replace('"', '""') for path in roots]
    text += ''.join(f'[Filesystem]\n{i + 11},"{root}",-1\n[/Filesystem]\n' for i, root in enumerate(quoted))
    text += ''.join(f'[MonDirSpec]\n{i + 21},0,"{path}"\n[/MonDirSpec]\n'
                    for i, path in enumerate(path.replace('"', '""') for path in watch))
    return text + ''.join(profiles) + '[/AgentScan]\n'


def own_definition(root):
    """What orvctl asks for: one profile for everything and those that help it."""
    sums = ['sdSummary', 'sdGroupByOwner', 'sdGroupByGroup']
    profiles = [profile(1, 'everything', 1, 100, SWITCHES), profile(2, 'orvctl:subtrees', 0, 0, ['sdSummary']),
                profile(3, f'orvctl:files-from {2 << 30}', 1, 1000, [], 'type=f & size>=2G'),
                profile(4, 'orvctl:links', 1, 0, ['sdSummary'], 'links>1 & type!=d')]
    profiles += [profile(10 + i, f'orvctl:size-over {over}', 1, 0, ['sdSizeDistribution'], f'size>{over}')
                 for i, over in enumerate(OVER)]
    profiles += [profile(20 + i, f'orvctl:accessed-over {age}', 1, 0, sums, f'accessed>{age}s')
                 for i, age in enumerate(AGES)]
    return definition('orvctl@test-host', [root], [f'{root}/*', f'{root}/*/*'], profiles)


# ---- The independent reader

class Entity:
    def __init__(self, tag):
        self.name, _, self.slot = tag.partition(',')
        self.rows, self.kids = [], []

    def find(self, name, slot=''):
        return [kid for kid in self.kids if kid.name == name and slot in ('', kid.slot)]

    def records(self, name, slot=''):
        return [row for kid in self.find(name, slot) for row in kid.rows]


def read_result(path):
    """The AgentScan entity of a result; rows by field name, values as latin-1 so that bytes stay."""
    lines = iter(Path(path).read_bytes().decode('latin-1').split('\n'))
    headers, tag = {}, ''
    for line in lines:
        if line == '[/Header]':
            break
        if line.startswith('['):
            tag = line[1:-1]
        else:
            headers[tag] = line.split(',')
    stack = [Entity('')]
    for line in lines:
        if line.startswith('[/'):
            stack.pop()
        elif line.startswith('[') and line.endswith(']'):
            stack[-1].kids.append(Entity(line[1:-1]))
            stack.append(stack[-1].kids[-1])
        elif line:
            stack[-1].rows.append(dict(zip(headers[stack[-1].name], next(csv.reader([line])))))
    return stack[0].kids[0]


def raw(value):
    return value.encode('latin-1')


def bytes_of(text):
    """The bytes that a name in an export stands for; such a name disturbs no reader."""
    assert not re.search('[\x00-\x1f\x7f-\x9f\u2028-\u202e\u2066-\u2069]', text), repr(text)
    return re.sub(rb'\\x([0-9A-F]{2})', lambda match: bytes([int(match[1], 16)]), text.encode())


def numbers(row, *fields):
    return tuple(int(row[field]) for field in fields)


FILE_FIELDS = ('faLength', 'faModified', 'faAccessed', 'faLinkCount', 'faInodeNumber')


def file_of(row):
    return (raw(row['faName']), raw(row['faOwner']), int(row['faBlocks']) * 512) + numbers(row, *FILE_FIELDS)


Figures = collections.namedtuple('Figures', 'totals sizes accessed owners files unused types direct groups modified created'
                                 ' backed_up not_backed_up large_orphans old_orphans')


def figures(results):
    """What one CuStatResults says, in the shape that the tests bring the exports into."""
    def listed(slot_entity, slot, *fields):
        return [list(map(int, row[field].split(','))) for row in results.records(slot_entity, slot) for field in fields]
    names = {slot: {row[key]: raw(row['ugName']) for row in results.records('UserOrGroup', slot)}
             for slot, key in [('srOwners', 'ugID'), ('srGroups', 'ugGroupID')]}
    types = {row['fptID']: raw(row['ftpFileExtension']) for row in results.records('FileType')}
    totals = [numbers(row, 'sumFileCount', 'sumDirectoryCount', 'sumTotalSize') for row in results.records('SSummary')]
    def accounts(slot):
        return {int(row['sugIdentity']): (names[slot].get(row['sugIdentity'], raw(row['sugIdentity'])),) + numbers(
            row, 'sugFileCount', 'sugDirectoryCount', 'sugOtherCount', 'sugTotalSize', 'sugLargestSize')
            for row in results.records('SUserOrGroup', slot)}
    def ages(slot):
        # One that counted nothing, because nobody told of backups, is left out.
        classes = list(zip(*listed('STimeDist', slot, 'tdCounts', 'tdSizes')))
        return classes if any(count for count, _ in classes) else []
    def ranked(slot):
        return [file_of(row) for row in results.records('SFile', slot)]
    return Figures(
        totals=totals[0] if totals else None,
        sizes=list(zip(*listed('SSizeDist', '', 'szdCounts', 'szdSizes'))),
        accessed=ages('srAccessed'), modified=ages('srModified'), created=ages('srCreated'), backed_up=ages('srBackup'),
        owners=accounts('srOwners'), groups=accounts('srGroups'),
        files=ranked('srLargestFiles'), unused=ranked('srLeastAccessed'), not_backed_up=ranked('srOldestNotBackedUp'),
        large_orphans=ranked('srLargestOrphans'), old_orphans=ranked('srOldestOrphans'),
        types={types[row['fileType']]: numbers(row, 'fileCount', 'spaceUsed') for row in results.records('FileTypeSummary')},
        direct=[(raw(row['faName']),) + numbers(row, 'dirFileCount', 'dirDirectoryCount', 'dirTotalSize')
                for row in results.records('SDirectory')])


def profiles_of(scan):
    """(profile name, results entity, path of the watched directory or None) in the order of the file."""
    for definition_entity in scan.find('CuStatDef'):
        name = definition_entity.rows[0]['sdName']
        for part in definition_entity.find('ResultsByFS'):
            met = part.records('SMonDir')
            for results in part.find('CuStatResults'):
                yield name, results, raw(met[0]['faName']).rstrip(b'/') if met else None


def own_figures(path):
    """What orvctl is to make of a result of `own_definition`: helping profiles merged in."""
    scan = read_result(path)
    by_name = collections.OrderedDict((name, results) for name, results, met in profiles_of(scan) if met is None)
    main = figures(by_name['everything'])
    large = figures(by_name[f'orvctl:files-from {2 << 30}'])
    above = [[sum(column) for column in zip(*figures(by_name[f'orvctl:size-over {over}']).sizes)] for over in OVER]
    over = [list(main.sizes[-1])] + above + [[0, 0]]
    sizes = main.sizes[:-1] + [tuple(a - b for a, b in zip(over[i], over[i + 1])) for i in range(len(over) - 1)]
    old = [{number: (sum(owner[1:4]), owner[4]) for number, owner in figures(by_name[f'orvctl:accessed-over {age}']).owners.items()}
           for age in AGES]
    subtrees = {met: figures(results).totals for name, results, met in profiles_of(scan) if met}
    files = sorted(main.files + [file for file in large.files if file not in main.files], key=lambda file: -file[3])
    return main._replace(sizes=sizes, files=files), old, subtrees, figures(by_name['orvctl:links']).totals


def orvctl(*arguments, code=0):
    run = subprocess.run([AGENT / 'bin/orvctl', *map(str, arguments)], stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                         check=False)
    assert run.returncode == code, (arguments, run.returncode, run.stderr.decode('utf-8', 'replace'))
    return run.stdout if code == 0 else run.stderr.decode()
