"""A PostgreSQL server of one's own: Debian's, in a temporary directory, as an unprivileged user,
reached through a socket in that directory only."""
import glob
import os
import shutil
import subprocess
import tempfile

PASSWORD = "secret"


def missing():
    """Why no server can be started; empty when one can."""
    return "" if glob.glob("/usr/lib/postgresql/*/bin/initdb") else "PostgreSQL is not installed"


class Postgres:
    def __init__(self):
        self.bin = os.path.dirname(sorted(glob.glob("/usr/lib/postgresql/*/bin/initdb"))[-1])
        self.directory = tempfile.mkdtemp(prefix="orvpg.")
        self.user = {}
        if os.geteuid() == 0:
            self.user = {"user": "nobody", "group": "nogroup", "extra_groups": []}
            shutil.chown(self.directory, "nobody", "nogroup")
        password = os.path.join(self.directory, "password")
        with open(password, "w") as out:
            out.write(PASSWORD)
        os.chmod(password, 0o644)
        self._run("initdb", "-D", self.data(), "-U", "orv", "--auth=scram-sha-256",
                  "--pwfile=" + password, "--no-sync", "-E", "UTF8", "--locale=C.UTF-8")
        self.start()

    def data(self):
        return os.path.join(self.directory, "data")

    def _run(self, program, *arguments):
        with open(os.path.join(self.directory, "output"), "ab") as output:
            subprocess.run([os.path.join(self.bin, program), *arguments], check=True,
                           cwd=self.directory, stdin=subprocess.DEVNULL, stdout=output,
                           stderr=output, timeout=300, **self.user)

    def start(self):
        self._run("pg_ctl", "-D", self.data(), "-w", "-t", "120", "-l",
                  os.path.join(self.directory, "log"), "-o",
                  f"-k {self.directory} -c listen_addresses= -c fsync=off", "start")

    def stop(self, mode="immediate"):
        self._run("pg_ctl", "-D", self.data(), "-w", "-m", mode, "stop")

    def url(self, database="postgres", password=PASSWORD):
        return f"postgresql://orv:{password}@/{database}?host={self.directory}"

    def sql(self, database, statement):
        """The rows of a statement, values as text."""
        done = subprocess.run(["psql", "-X", "-q", "-A", "-t", "-F", "\t", "-v", "ON_ERROR_STOP=1",
                               "-c", statement, self.url(database)], check=True,
                              capture_output=True, text=True, timeout=120)
        return [line.split("\t") for line in done.stdout.splitlines()]

    def __enter__(self):
        return self

    def __exit__(self, *_):
        try:
            self.stop()
        except subprocess.CalledProcessError:
            pass  # a check had stopped it
        shutil.rmtree(self.directory)
