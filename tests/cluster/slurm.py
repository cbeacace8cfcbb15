# A Slurm cluster of three nodes on loopback addresses of this machine, all its files in one
# directory. Ends what it started and nothing else.
import ctypes
import os
import shutil
import signal
import socket
import subprocess
import time
from pathlib import Path

NODES = ['n1', 'n2', 'n3']
# A test that is killed, by its time limit say, takes the daemons with it.
LIBC = ctypes.CDLL(None)
PR_SET_PDEATHSIG = 1
# Seconds that the cluster may take to come up, and a node to be known as down.
PATIENCE = 60


def missing():
    # Why there can be no cluster here; empty when there can.
    if os.geteuid() != 0:
        return 'Slurm starts its daemons and tasks as root'
    for program in ['munged', 'slurmctld', 'slurmd', 'sbatch', 'squeue', 'scancel', 'scontrol']:
        if not shutil.which(program, path=os.environ['PATH'] + ':/usr/sbin'):
            return f'{program} is not installed'
    return ''


def free_ports(count):
    held = [socket.socket() for _ in range(count)]
    for one in held:
        one.bind(('127.0.0.1', 0))
    ports = [one.getsockname()[1] for one in held]
    for one in held:
        one.close()
    return ports


class Slurm:
    def __init__(self, directory):
        self.directory = Path(directory)
        self.directory.mkdir(mode=0o755)
        self.daemons = {}
        self.ports = free_ports(1 + len(NODES))
        key = self.directory / 'munge.key'
        key.write_bytes(os.urandom(1024))
        key.chmod(0o400)
        self.environment = os.environ | {'SLURM_CONF': str(self.directory / 'slurm.conf')}
        self.configure()

    def configure(self):
        here, host = self.directory, socket.gethostname().split('.')[0]
        nodes = ''.join(
            f'NodeName={name} NodeHostname={host} NodeAddr=127.0.0.1 Port={port} CPUs=2 State=UNKNOWN\n'
            for name, port in zip(NODES, self.ports[1:]))
        (here / 'ctld').mkdir()
        (here / 'slurm.conf').write_text(f'''ClusterName=test
SlurmctldHost={host}(127.0.0.1)
SlurmctldPort={self.ports[0]}
CommunicationParameters=NoCtldInAddrAny,NoInAddrAny
AuthType=auth/munge
AuthInfo=socket={here}/munge.socket
SlurmUser=root
SlurmdUser=root
StateSaveLocation={here}/ctld
SlurmdSpoolDir={here}/spool.%n
SlurmctldPidFile={here}/slurmctld.pid
SlurmdPidFile={here}/slurmd.%n.pid
SlurmctldLogFile={here}/slurmctld.log
SlurmdLogFile={here}/slurmd.%n.log
ProctrackType=proctrack/linuxproc
TaskPlugin=task/none
SelectType=select/cons_tres
SelectTypeParameters=CR_CPU
MpiDefault=none
ReturnToService=2
SlurmdTimeout=10
KillWait=2
MinJobAge=300
SchedulerParameters=batch_sched_delay=0,sched_min_interval=0
{nodes}PartitionName=all Nodes=ALL Default=YES State=UP OverSubscribe=NO
''')

    def start(self, name, *command):
        with open(self.directory / f'{name}.out', 'ab') as out:
            self.daemons[name] = subprocess.Popen(
                command, env=self.environment, stdout=out, stderr=out, start_new_session=True,
                preexec_fn=lambda: LIBC.prctl(PR_SET_PDEATHSIG, signal.SIGTERM))

    def start_node(self, name):
        self.start(name, '/usr/sbin/slurmd', '-D', '-N', name)

    def start_controller(self):
        self.start('slurmctld', '/usr/sbin/slurmctld', '-D', '-i')

    def __enter__(self):
        here = self.directory
        self.start('munged', '/usr/sbin/munged', '--force', '--foreground', f'--key-file={here}/munge.key',
                   f'--socket={here}/munge.socket', f'--pid-file={here}/munged.pid',
                   f'--log-file={here}/munged.log', f'--seed-file={here}/munged.seed')
        self.wait(lambda: (here / 'munge.socket').exists(), 'munged')
        self.start_controller()
        for name in NODES:
            self.start_node(name)
        self.wait(lambda: self.states() == {name: 'idle' for name in NODES}, 'nodes')
        return self

    def __exit__(self, *unused):
        self.run('scancel', '--user=root')
        for name in [*NODES, 'slurmctld', 'munged']:
            self.stop(name)

    def wait(self, condition, what):
        end = time.monotonic() + PATIENCE
        while not condition():
            if time.monotonic() > end:
                raise TimeoutError(f'{what}: {self.states()}')
            time.sleep(0.1)

    def run(self, *command):
        done = subprocess.run(['timeout', '20', *command], env=self.environment, text=True, capture_output=True)
        return done.stdout

    def states(self):
        return dict(line.split() for line in self.run('sinfo', '-h', '-N', '-o', '%N %t').splitlines())

    def stop(self, name, number=signal.SIGTERM):
        # Ends a daemon; with SIGKILL a node, its steps and their processes, as when it loses power.
        daemon = self.daemons.pop(name, None)
        if not daemon:
            return
        if number == signal.SIGKILL:
            for pid in [*self.steps(name), daemon.pid]:
                os.kill(pid, signal.SIGKILL)
        else:
            daemon.send_signal(number)
        try:
            daemon.wait(15)
        except subprocess.TimeoutExpired:
            daemon.kill()
            daemon.wait()

    def steps(self, name):
        # The processes of a node's steps: their managers, known by the job, and the tasks.
        jobs = [line.split()[0] for line in self.run('squeue', '-h', '-r', '-w', name, '-o', '%A').splitlines()]
        managers = [f'slurmstepd: [{job}.batch]'.encode() for job in jobs]
        found = []
        for process in Path('/proc').glob('[0-9]*'):
            try:
                words = (process / 'cmdline').read_bytes().rstrip(b'\0')
                variables = (process / 'environ').read_bytes().split(b'\0')
            except OSError:
                continue
            if f'SLURM_CONF={self.environment["SLURM_CONF"]}'.encode() in variables and (
                    words in managers or f'SLURMD_NODENAME={name}'.encode() in variables):
                found.append(int(process.name))
        return found
