#!/usr/bin/env python3
"""Runs the real orvctl on the made history of a fleet, in SQLite and PostgreSQL alike, and compares
with what the figures must be, computed from their definition and read by SQL."""
import csv
import io
import json
import os
import resource
import shutil
import signal
import sqlite3
import statistics
import subprocess
import sys
import tempfile
import time

import made_history as made
import postgres

HOSTS, DAYS, SINCE = 2, 16, 12
ORVCTL = os.path.join(os.environ["ORV_AGENT"], "bin", "orvctl")
TABLES = "series scans names directories accounts types classes files rankings".split()


# Whatever hangs ends the test with the command that did.
LIMIT = 120


def run(*arguments, **options):
    return subprocess.run([ORVCTL, *arguments], capture_output=True, text=True,
                          errors="surrogateescape", timeout=LIMIT, **options)


def good(*arguments):
    done = run(*arguments)
    assert done.returncode == 0, (arguments, done.stderr)
    return done.stdout


def one_line(done, what, code=1):
    lines = done.stderr.splitlines()
    assert done.returncode == code and len(lines) == 1, (what, done.returncode, done.stderr)
    assert lines[0].startswith("orvctl: ") and postgres.PASSWORD not in lines[0], (what, lines)
    assert what in lines[0], (what, lines[0])


class SQLite:
    def __init__(self, directory):
        self.name = os.path.join(directory, "h i.db")

    def sql(self, statement):
        with sqlite3.connect(self.name) as database:
            return [[str(value) for value in row] for row in database.execute(statement)]

    def slow_down(self):
        self.sql("CREATE TRIGGER slow BEFORE INSERT ON files BEGIN SELECT count(*) FROM"
                 " names a, names b, names c, names d; END")

    def is_loading(self):
        return os.path.exists(self.name + "-journal")

    def restore(self):
        self.sql("DROP TRIGGER slow")


class PostgreSQL:
    def __init__(self, server, database):
        self.server, self.database, self.name = server, database, server.url(database)
        server.sql("postgres", f"CREATE DATABASE {database}")

    def sql(self, statement):
        return self.server.sql(self.database, statement)

    def trigger(self, call):
        self.sql("CREATE FUNCTION slow() RETURNS trigger AS 'BEGIN PERFORM " + call +
                 "; RETURN NEW; END' LANGUAGE plpgsql; CREATE TRIGGER slow BEFORE INSERT ON files"
                 " FOR EACH ROW EXECUTE FUNCTION slow()")

    def slow_down(self):
        self.trigger("pg_sleep(100)")

    def is_loading(self):
        return self.sql("SELECT 1 FROM pg_stat_activity WHERE wait_event = 'PgSleep'") != []

    def restore(self):
        self.sql("DROP FUNCTION slow CASCADE")


def counts(store):
    return [store.sql(f"SELECT count(*) FROM {table}")[0] for table in TABLES]


def text(path):
    """As the project writes names: what is no printable UTF-8 as \\xNN."""
    return "".join(c if c.isprintable() else f"\\x{ord(c) & 0xff:02X}"
                   for c in path.decode("utf-8", "surrogateescape"))


def check_figures(store):
    last = DAYS - 1
    for host in range(HOSTS):
        name = made.host_name(host)
        when = made.FIRST_DAY + last * made.DAY
        sizes = made.directories(host, last, DAYS)
        where = f"host = '{name}' AND started = {when}"
        rows = store.sql(f"SELECT path, bytes FROM growth WHERE {where} AND root = '/data'")
        expected = {text(path): size for path, size in sizes.items()} | {"/data": made.total(sizes)}
        assert {path: int(size) for path, size in rows} == expected
        assert store.sql(f"SELECT bytes, used, capacity FROM latest WHERE {where}") == [
            [str(made.total(sizes)), str(made.used(host, last, DAYS) // 512 * 512),
             str(made.CAPACITY)]]
        ages = {(f"user{o:02}", age // 86400): made.owner_bytes(host, o, last) // share
                for o in range(made.OWNERS) for share, age in enumerate((0, *made.AGES), 1)}
        rows = store.sql(f"SELECT owner, min_age_days, bytes FROM owner_age WHERE {where}")
        assert {(owner, int(age)): int(size) for owner, age, size in rows} == ages
    change = store.sql("SELECT change, days FROM growth WHERE host = 'host00' AND path = '/data/d00'"
                       f" AND started = {made.FIRST_DAY + 3 * made.DAY}")[0]
    day = [made.directories(0, d, DAYS)[b"/data/d00"] for d in (2, 3)]
    assert [float(value) for value in change] == [day[1] - day[0], 1.0]


def check_growth(store):
    first, last = DAYS - 1 - SINCE, DAYS - 1

    def growth(*arguments):
        question = ("growth", "--db", store.name, "--since", f"{SINCE}d", *arguments)
        answer = json.loads(good(*question, "--format", "json"))
        rows = list(csv.DictReader(io.StringIO(good(*question, "--format", "csv"), newline="")))
        return answer, rows

    answer, rows = growth()
    expected = {}
    for host in range(HOSTS):
        before, after = (made.directories(host, day, DAYS) for day in (first, last))
        for path in before.keys() | after.keys():
            pair = (before.get(path), after.get(path))
            if pair[0] != pair[1]:
                expected[made.host_name(host), text(path)] = pair
    assert {(c["host"], c["name"]): (c["bytes_before"], c["bytes"])
            for c in answer["changes"]} == expected
    assert [(r["change"], r["host"], r["name"], r["change_bytes"]) for r in rows] == [
        (c["change"], c["host"], c["name"], str(c["change_bytes"])) for c in answer["changes"]]
    assert {(f["host"], f["path"]): f["bytes"] for f in answer["new_files"]} == {
        (made.host_name(h), path.decode()): size for h in range(HOSTS)
        for path, size in made.files(h, last).items() if path not in made.files(h, first)}

    owners, _ = growth("--by", "owner")
    sums = {f"user{o:02}": [sum(made.owner_bytes(h, o, day) for h in range(HOSTS))
                            for day in (first, last)] for o in range(made.OWNERS)}
    assert {c["name"]: [c["bytes_before"], c["bytes"]] for c in owners["changes"]} == {
        name: pair for name, pair in sums.items() if pair[0] != pair[1]}

    hosts, rows = growth("--by", "host")
    assert [row["host"] for row in rows] == [made.host_name(h) for h in range(HOSTS)]
    for host, path in enumerate(hosts["paths"]):
        # Without the week in which a directory came and went, the rest is a straight line.
        points = [made.used(host, day, DAYS) // 512 * 512 for day in range(first, last + 1)]
        slope = statistics.linear_regression(range(len(points)), points).slope
        fit = statistics.correlation(range(len(points)), points) ** 2
        trend = path["trend"]
        assert (trend["kind"] == "none") == (fit < 0.5), (fit, trend)
        if trend["kind"] == "growing":
            assert abs(trend["bytes_per_day"] - slope) < 1e-6 * slope
            assert abs(trend["days_until_full"] - (made.CAPACITY - points[-1]) / slope) < 1e-3
    inside, _ = growth("/data/d03")
    assert {c["name"][:9] for c in inside["changes"]} == {"/data/d03"}
    one_line(run("growth", "/nowhere", "--db", store.name), "has no scan of /nowhere")
    share = made.used(0, last, DAYS) / made.CAPACITY * 100
    for option, code in ((f"--fail-over={share + 0.1}%", 0), (f"--fail-over={share - 0.1}", 3)):
        done = run("growth", "--host", "host00", "--db", store.name, option)
        assert done.returncode == code and len(done.stderr.splitlines()) == code // 3, done


def another(scratch):
    """A result that no history has."""
    return made.write(os.path.join(scratch, "more"), HOSTS + 1, 1)[-1]


def check_killed_load(store, scratch):
    before = counts(store)
    store.slow_down()
    loader = subprocess.Popen([ORVCTL, "history", "add", "--db", store.name, another(scratch)])
    try:
        while not store.is_loading():
            assert loader.poll() is None
            time.sleep(0.1)
    finally:
        loader.kill()
    assert loader.wait() == -signal.SIGKILL
    # Waits until the database has noticed.
    store.restore()
    assert counts(store) == before


def check_loaders_at_once(store, results):
    loaders = [subprocess.Popen([ORVCTL, "history", "add", "--db", store.name, *results[n::2]],
                                stdout=subprocess.DEVNULL) for n in (0, 1, 0)]
    assert [loader.wait(LIMIT) for loader in loaders] == [0] * 3
    assert store.sql("SELECT count(*), count(DISTINCT started), max(id) FROM scans") == [
        [str(len(results)), str(DAYS), str(len(results))]]
    assert store.sql("SELECT count(*) - count(DISTINCT path) FROM names WHERE series_id = 1") == [
        ["0"]]


def check_bad_inputs(store, results, scratch):
    before = counts(store)
    cut, other = os.path.join(scratch, "cut.dat"), os.path.join(scratch, "other.dat")
    whole = open(results[0], "rb").read()
    with open(cut, "wb") as out:
        out.write(whole[: len(whole) // 2])
    with open(other, "wb") as out:
        out.write(whole.replace(b"orvctl@host00", b"job of others"))
    chosen = os.path.join(scratch, "chosen.dat")
    with open(chosen, "wb") as out:
        out.write(whole.replace(b'"everything"', b'"entries where size > 1G"'))
    for result, what in ((cut, "cut off"), (chosen, "only what a where clause admits"), (other, "does not tell its host"),
                         (scratch + "/none", "No such file")):
        one_line(run("history", "add", "--db", store.name, result), what)
    assert counts(store) == before
    # A result that cannot be added does not keep the others out.
    done = run("history", "add", "--db", store.name, "--host", "elsewhere", cut, other)
    assert done.returncode == 1 and done.stdout.startswith("1 added"), done
    # Another scan of the same second; then both again, from another place.
    twin, copy = os.path.join(scratch, "twin.dat"), os.path.join(scratch, "copy.dat")
    with open(twin, "wb") as out:
        out.write(made.result(0, 1, DAYS).replace(b'"1000","%d"' % (made.FIRST_DAY + made.DAY),
                                                  b'"1001","%d"' % (made.FIRST_DAY + made.DAY)))
    shutil.copy(results[1], copy)
    for expected in (["1", "1"], ["0", "2"]):
        words = good("history", "add", "--db", store.name, twin, copy).split()
        assert [words[0], words[2]] == expected, words
    # What an older program left is brought forward with all that is in it.
    for view in ("growth", "owner_age", "latest"):
        store.sql(f"DROP VIEW {view}")
    store.sql("ALTER TABLE scans DROP COLUMN digest")
    store.sql("UPDATE orvscan_schema SET version = 1")
    assert json.loads(good("history", "list", "--db", store.name, "--format", "json"))["scans"]
    assert int(store.sql("SELECT count(*) FROM latest")[0][0]) == HOSTS + 1
    good("history", "prune", "--db", store.name, "--host", "host01", "--keep", "3",
         "--keep", "weekly:2", "--dry-run")
    assert len(store.sql("SELECT id FROM scans")) == len(results) + 2
    good("history", "prune", "--db", store.name, "--host", "host01", "--keep", "3")
    assert len(store.sql("SELECT id FROM scans")) == DAYS + 3 + 2
    store.sql("UPDATE orvscan_schema SET version = 99")
    one_line(run("growth", "--db", store.name), "newer program")


def check_sqlite_faults(store, results, scratch):
    add = [ORVCTL, "history", "add", results[0], "--db"]
    noise = os.path.join(scratch, "noise.db")
    with open(noise, "wb") as out:
        out.write(b"no database " * 1000)
    one_line(run(*add[1:], noise), "not a database")
    one_line(run("growth", "--db", scratch + "/none.db"), "there is none yet")
    one_line(run(*add[1:], "mysql://x/y"), "neither a file nor postgresql://")
    limited = os.path.join(scratch, "limited.db")
    one_line(run(*add[1:], limited, preexec_fn=lambda: resource.setrlimit(
        resource.RLIMIT_FSIZE, (1 << 16, 1 << 16))), "cannot")
    with sqlite3.connect(limited) as database:
        assert database.execute("PRAGMA integrity_check").fetchall() == [("ok",)]
    if os.geteuid() != 0:
        return print("SKIPPED: a read-only and a full filesystem need root")
    # Who may only read the file can ask it.
    store.sql("UPDATE orvscan_schema SET version = 3")
    shutil.copy(store.name, limited)
    os.chmod(limited, 0o444)
    os.chmod(scratch, 0o755)
    nobody = {"user": "nobody", "group": "nogroup", "extra_groups": [], "cwd": "/",
              "env": os.environ | {"HOME": "/nonexistent"}}
    asked = run("growth", "--db", limited, **nobody)
    assert asked.returncode == 0 and asked.stderr == "", asked
    one_line(run(*add[1:], limited, **nobody), "Permission denied")
    for options, what in (("size=1m,ro", "Read-only file system"), ("size=80k", "disk is full")):
        script = ('mount -t tmpfs -o size=1m t "$0" && cp "$1" "$0/h.db" && '
                  'mount -o remount,"$2" "$0" && cp=$3 && shift 3 && "$@" "$0/h.db"; code=$?; '
                  'cp "$0"/h.db* "$cp"; exit $code')
        mount, copy = tempfile.mkdtemp(dir=scratch), tempfile.mkdtemp(dir=scratch)
        done = subprocess.run(["unshare", "-m", "sh", "-c", script, mount, made_empty(scratch),
                               options, copy, *add], capture_output=True, text=True, timeout=LIMIT)
        one_line(done, what)
        with sqlite3.connect(os.path.join(copy, "h.db")) as database:
            assert database.execute("PRAGMA integrity_check").fetchall() == [("ok",)]
            assert database.execute("SELECT count(*) FROM scans").fetchall() == [(0,)]


def made_empty(scratch):
    """A history with its tables and nothing in them."""
    name = os.path.join(scratch, "first.db")
    run("history", "add", "--db", name, "/dev/null")
    return name


def check_postgres_faults(store, results, scratch):
    server = store.server
    add = ("history", "add", results[0], "--db")
    one_line(run(*add, server.url(store.database, "wrong")), "password authentication failed")
    one_line(run(*add, server.url("nowhere")), "does not exist")
    store.sql("UPDATE orvscan_schema SET version = 3")
    before = counts(store)
    read_only = store.name + "&options=-cdefault_transaction_read_only%3Don"
    one_line(run("history", "add", another(scratch), "--db", read_only), "read-only transaction")
    store.trigger("pg_terminate_backend(pg_backend_pid())")
    one_line(run("history", "add", another(scratch), "--db", store.name), "cannot add")
    store.restore()
    assert counts(store) == before
    server.stop()
    one_line(run(*add, store.name), "cannot open history postgresql://orv:***@")
    server.start()
    assert counts(store) == before


def check_dashboard(store):
    with open(os.path.join(os.environ["ORV_SOURCE"], "docs", "grafana-dashboard.json")) as file:
        dashboard = json.load(file)
    span = (made.FIRST_DAY // 1000, (made.FIRST_DAY + DAYS * made.DAY) // 1000)
    queries = [target["rawSql"] for panel in dashboard["panels"]
               for target in panel.get("targets", [])]
    queries += [variable["query"] for variable in dashboard["templating"]["list"]
                if variable["type"] == "query"]
    assert len(queries) > len(dashboard["panels"])
    for query in queries:
        for macro, value in (("$__from", str(span[0] * 1000)), ("$__to", str(span[1] * 1000)),
                             ("${host:sqlstring}", "'host00','host01'"),
                             ("${path:sqlstring}", "'/data'")):
            query = query.replace(macro, value)
        assert "$" not in query, query
        rows = store.sql(query)
        assert rows and all(len(row) == len(rows[0]) for row in rows), query


def main():
    scratch = tempfile.mkdtemp(prefix="orvhistory.")
    results = made.write(os.path.join(scratch, "results"), HOSTS, DAYS)
    try:
        check_store(SQLite(scratch), results, scratch)
        check_sqlite_faults(SQLite(scratch), results, scratch)
        if postgres.missing():
            print("SKIPPED in PostgreSQL:", postgres.missing())
            return
        with postgres.Postgres() as server:
            store = PostgreSQL(server, "history")
            check_store(store, results, scratch)
            check_postgres_faults(store, results, scratch)
    finally:
        shutil.rmtree(scratch)


def check_store(store, results, scratch):
    check_loaders_at_once(store, results)
    check_figures(store)
    check_growth(store)
    if isinstance(store, PostgreSQL):
        check_dashboard(store)
    check_killed_load(store, scratch)
    check_bad_inputs(store, results, scratch)


if __name__ == "__main__":
    sys.exit(main())
