"""Runs a store with two servers, each part in a network namespace of its own. See scripts/cluster."""

import argparse
import contextlib
import json
import os
import pathlib
import pwd
import re
import shlex
import shutil
import signal
import socket
import subprocess
import sys
import time

PROJECT = pathlib.Path(__file__).resolve().parents[2]
EXAMPLES = PROJECT / "docs" / "cluster"
NETWORK = "10.77.0."
ADDRESSES = {  # the examples have the same
    "proxy": "10.77.0.10", "db1": "10.77.0.11", "db2": "10.77.0.12", "server1": "10.77.0.21",
    "server2": "10.77.0.22", "client1": "10.77.0.31", "client2": "10.77.0.32"}
DATABASES = ("db1", "db2")
SERVERS = ("server1", "server2")
LAN = "lan"  # the namespace of the bridge that connects the others
PATIENCE = 60  # seconds
PAUSE = 0.02
IS_ROOT = os.geteuid() == 0
DATABASE_USER = "postgres"


class Failure(Exception):
    """What went wrong, for people."""


def await_that(what, condition, limit=PATIENCE):
    """Waits until the condition holds, and returns its value."""
    until = time.monotonic() + limit
    while not (value := condition()):
        if time.monotonic() > until:
            raise Failure(f"waited {limit} s in vain: {what}")
        time.sleep(PAUSE)
    return value


def run(command, check=True, **options):
    result = subprocess.run(command, stdin=subprocess.DEVNULL, capture_output=True, text=True, **options)
    if check and result.returncode != 0:
        raise Failure(f"{shlex.join(command)}: exit {result.returncode}\n{result.stdout}{result.stderr}")
    return result


def stat_of(pid):
    """State, parent and start time of a process, or None."""
    try:
        fields = pathlib.Path(f"/proc/{pid}/stat").read_text().rpartition(")")[2].split()
    except OSError:
        return None
    return None if fields[0] in "ZX" else (fields[0], int(fields[1]), int(fields[19]))


def children_of(pid):
    found = [(int(entry.name), stat_of(entry.name)) for entry in pathlib.Path("/proc").iterdir() if entry.name.isdigit()]
    return [child for child, stat in found if stat is not None and stat[1] == pid]


def postgres_programs():
    folders = sorted(pathlib.Path("/usr/lib/postgresql").glob("*/bin/initdb"), key=lambda path: float(path.parts[4]))
    return folders[-1].parent if folders else None


def unshare_command():
    return ["unshare", *([] if IS_ROOT else ["--user", "--map-root-user"]), "--net"]


def why_not():
    """Why a cluster is not possible here, or an empty text."""
    missing = [name for name in ("haproxy", "ip", "unshare", "nsenter", "setpriv") if shutil.which(name) is None]
    if postgres_programs() is None:
        missing.append("postgresql")
    if missing:
        return "not installed: " + ", ".join(missing)
    if IS_ROOT and not any(user.pw_name == DATABASE_USER for user in pwd.getpwall()):
        return f"there is no user '{DATABASE_USER}'"
    attempt = "ip link add lan0 type bridge && ip link add v0 type veth peer name v1 && unshare --net --pid --fork --uts true"
    result = run([*unshare_command(), "sh", "-c", attempt], check=False)
    return "" if result.returncode == 0 else "no network namespaces: " + result.stderr.strip()


class Cluster:
    """The processes of a cluster, which outlive this object. A file names them by id and start time."""

    def __init__(self, build, folder, host_names=None):
        self.build = pathlib.Path(build).resolve()
        self.folder = pathlib.Path(folder).resolve()
        self.host_names = host_names or {name: name for name in ADDRESSES}
        self.file = self.folder / "processes.json"
        self.processes = json.loads(self.file.read_text()) if self.file.exists() else {}
        self.tvl = self.build / "src" / "cli" / "tvl"
        self.store = self.folder / "store"
        self.environment = {**os.environ, "PGSERVICEFILE": str(EXAMPLES / "pg_service.conf"),
                            "PATH": f"{self.tvl.parent}:{os.environ['PATH']}", "TVL_CONFIG": str(self.store / "tvl.ini")}

    # --- Processes ---

    def note(self, name, pid):
        self.processes[name] = [pid, stat_of(pid)[2]]
        self.file.write_text(json.dumps(self.processes))

    def pid(self, name):
        """The process of this name, or None if it has ended."""
        pid, started = self.processes.get(name, (0, 0))
        stat = stat_of(pid)
        return pid if stat is not None and stat[2] == started else None

    def enter(self, name):
        """The beginning of a command that runs in a namespace."""
        user = [] if IS_ROOT else ["--user", "--preserve-credentials"]
        return ["nsenter", "--target", str(self.pid(name + " namespace")), *user, "--net", "--"]

    def inside(self, name, *command, check=True):
        return run([*self.enter(name), *map(str, command)], check, env=self.environment)

    def start(self, name, command):
        """Starts a process that outlives this one. It writes to the log of its name."""
        with open(self.folder / f"{name}.log", "ab") as log:
            process = subprocess.Popen(list(map(str, command)), stdin=subprocess.DEVNULL, stdout=log, stderr=log,
                                       start_new_session=True, cwd="/", env=self.environment)
        self.note(name, process.pid)
        return process

    def log(self, name):
        return (self.folder / f"{name}.log").read_text(errors="replace")

    def end(self, name, how=signal.SIGKILL, limit=PATIENCE):
        pid = self.pid(name)
        if pid is None:
            return
        os.kill(pid, how)

        def has_ended():
            with contextlib.suppress(ChildProcessError):
                os.waitpid(pid, os.WNOHANG)
            return stat_of(pid) is None

        await_that(f"the end of {name}", has_ended, limit)

    # --- Network ---

    def make_namespace(self, name, prefix):
        process = self.start(name + " namespace", [*prefix, "sleep", "infinity"])
        own = os.readlink("/proc/self/ns/net") if not prefix[:1] == ["nsenter"] else self.network_of(LAN)

        def is_made():
            if process.poll() is not None:
                raise Failure("no namespace: " + self.log(name + " namespace"))
            with contextlib.suppress(OSError):
                command = pathlib.Path(f"/proc/{process.pid}/comm").read_text().strip()
                return command == "sleep" and self.network_of(name) != own
            return False

        await_that(f"the namespace {name}", is_made)

    def network_of(self, name):
        return os.readlink(f"/proc/{self.pid(name + ' namespace')}/ns/net")

    def make_network(self):
        self.make_namespace(LAN, unshare_command())
        self.inside(LAN, "ip", "link", "add", "lan0", "type", "bridge")
        self.inside(LAN, "ip", "link", "set", "lan0", "up")
        for name, address in ADDRESSES.items():
            self.make_namespace(name, [*self.enter(LAN), "unshare", "--net"])
            self.inside(LAN, "ip", "link", "add", name, "type", "veth", "peer", "name", "eth0", "netns",
                        self.pid(name + " namespace"))
            self.inside(LAN, "ip", "link", "set", name, "master", "lan0", "up")
            self.inside(name, "ip", "link", "set", "lo", "up")
            self.inside(name, "ip", "address", "add", address + "/24", "dev", "eth0")
            self.inside(name, "ip", "link", "set", "eth0", "up")

    def set_link(self, name, state):
        """Cuts the cable of a computer, or mends it."""
        self.inside(LAN, "ip", "link", "set", name, state)

    # --- PostgreSQL ---

    def data(self, name):
        return self.folder / name / "data"

    def postgres(self, name, program, *arguments):
        # PostgreSQL refuses to run as root, which an ordinary user is in the namespaces.
        user = (["setpriv", f"--reuid={DATABASE_USER}", f"--regid={DATABASE_USER}", "--clear-groups"] if IS_ROOT else
                ["unshare", "--user", "--map-user=1", "--map-group=1"])
        # Without pipes, which the server would inherit and keep open.
        with open(self.folder / f"{name}.log", "ab") as log:
            command = [*self.enter(name), *user, str(postgres_programs() / program), *map(str, arguments)]
            result = subprocess.run(command, stdin=subprocess.DEVNULL, stdout=log, stderr=log, cwd="/", check=False)
        if result.returncode != 0:
            raise Failure(f"{shlex.join(command)}: exit {result.returncode}\n{self.log(name)}")

    def start_database(self, name):
        self.postgres(name, "pg_ctl", "-D", self.data(name), "-w", "-s", "-l", self.folder / name / "server.log", "start")
        self.note(name, int((self.data(name) / "postmaster.pid").read_text().split()[0]))

    def sql(self, name, sql, user=DATABASE_USER, database="postgres"):
        return self.inside(name, "psql", "-h", ADDRESSES[name], "-U", user, "-d", database, "-Atqc", sql).stdout.strip()

    def make_primary(self, name):
        data = self.data(name)
        self.postgres(name, "initdb", "-D", data, "-U", DATABASE_USER, "-A", "trust", "-E", "UTF8", "--locale=C", "-N")
        with open(data / "pg_hba.conf", "a", encoding="ascii") as file:
            for database in ("all", "replication"):
                file.write(f"host {database} all {NETWORK}0/24 trust\n")
        with open(data / "postgresql.conf", "a", encoding="ascii") as file:
            file.write((EXAMPLES / "postgresql.conf").read_text())
        # Until there is a standby, the primary would wait for it.
        self.configure(name, {"synchronous_standby_names": ""})
        self.start_database(name)
        for sql in ("CREATE ROLE replicator LOGIN REPLICATION", "CREATE ROLE store LOGIN", "CREATE DATABASE store OWNER store"):
            self.sql(name, sql)

    def make_standby(self, name, primary):
        shutil.rmtree(self.data(name), ignore_errors=True)
        self.postgres(name, "pg_basebackup", "-h", ADDRESSES[primary], "-U", "replicator", "-D", self.data(name), "-c", "fast",
                      "-N")
        (self.data(name) / "standby.signal").touch()
        self.configure(name, {})
        self.start_database(name)
        self.sql(primary, "ALTER SYSTEM RESET synchronous_standby_names")
        self.sql(primary, "SELECT pg_reload_conf()")
        await_that("a synchronous standby", lambda: self.sql(
            primary, "SELECT count(*) FROM pg_stat_replication WHERE sync_state = 'quorum' AND state = 'streaming'") == "1")

    def configure(self, name, settings):
        """Writes what this node has beyond the example. All nodes are on one file system, so none has a local socket."""
        text = "".join(f"{key} = '{value}'\n" for key, value in {"unix_socket_directories": "", **settings}.items())
        (self.data(name) / "postgresql.auto.conf").write_text(text)

    def primary(self):
        for name in DATABASES:
            if self.pid(name) is not None and self.sql(name, "SELECT pg_is_in_recovery()") == "f":
                return name
        return None

    # --- Store, servers, proxy ---

    def make_store(self):
        self.store.mkdir()
        shutil.copy(EXAMPLES / "tables.ini", self.store)
        self.inside("server1", self.tvl, "init", self.store)

    def start_server(self, name):
        """Starts a server in process and host name spaces of its own, as on a computer of its own."""
        options = shlex.split(re.search('^TVLSERVER_OPTIONS="(.*)"$', (EXAMPLES / "tvlserver.default").read_text(), re.M)[1])
        (self.folder / f"{name}.port").unlink(missing_ok=True)
        server = ["sh", "-c", 'hostname "$0"; exec "$@"', self.host_names[name], self.build / "src" / "tvlserver",
                  "--config", self.store / "tvl.ini", "--proxy-port-file", self.folder / f"{name}.port", *options]
        self.start(name + " parent", [*self.enter(name), "unshare", "--uts", "--pid", "--fork", "--kill-child", *server])
        await_that(f"the start of {name}: {self.folder}/{name} parent.log", (self.folder / f"{name}.port").exists)
        self.note(name, children_of(self.pid(name + " parent"))[0])

    def server_log(self, name):
        return self.log(name + " parent")

    def start_proxy(self):
        text = (EXAMPLES / "haproxy.cfg").read_text().replace("/run/haproxy/", f"{self.folder}/")
        if not IS_ROOT:  # it cannot become another user
            text = re.sub("^ *(user|group) haproxy\n", "", text, flags=re.M)
        file = self.folder / "haproxy.cfg"
        file.write_text(text)
        self.inside("proxy", "haproxy", "-c", "-f", file)
        self.start("proxy", [*self.enter("proxy"), "haproxy", "-db", "-f", file])

    def command_proxy(self, command):
        with socket.socket(socket.AF_UNIX) as connection:
            connection.connect(str(self.folder / "admin.sock"))
            connection.sendall(command.encode() + b"\n")
            answer = connection.makefile().read().strip()
        if answer:
            raise Failure(f"HAProxy: {command}: {answer}")

    def client(self, name, *words):
        """A command of tvl that goes through the proxy."""
        host = ["unshare", "--uts", "sh", "-c", 'hostname "$0"; exec "$@"', self.host_names[name]]
        return [*self.enter(name), *host, str(self.tvl), "--tcp", ADDRESSES["proxy"] + ":7440", "--work", str(self.folder),
                *words]

    def answers(self):
        return run(self.client("client1", "--timeout", "5", "ping"), check=False, env=self.environment).returncode == 0

    # --- All of it ---

    def is_up(self):
        return all(self.pid(name) is not None for name in (*DATABASES, *SERVERS, "proxy"))

    def up(self):
        self.folder.mkdir(parents=True)
        self.folder.chmod(0o755)
        self.make_network()
        for name in DATABASES:
            (self.folder / name).mkdir(mode=0o700)
            if IS_ROOT:
                shutil.chown(self.folder / name, DATABASE_USER, DATABASE_USER)
        self.make_primary("db1")
        self.make_standby("db2", "db1")
        self.make_store()
        for name in SERVERS:
            self.start_server(name)
        self.start_proxy()
        await_that("an answer through the proxy", self.answers)

    def down(self):
        """Ends everything. What is running is found by its file, whatever has failed before."""
        for name in ("proxy", *SERVERS):
            self.end(name, signal.SIGTERM)
        for name in DATABASES:
            self.end(name, signal.SIGQUIT)  # ends its children, too
        for name in reversed(list(self.processes)):
            self.end(name)
        self.processes = {}
        shutil.rmtree(self.folder, ignore_errors=True)

    def status(self):
        primary = self.primary()
        for name in (*DATABASES, *SERVERS, "proxy"):
            pid = self.pid(name)
            role = "" if name not in DATABASES else " (primary)" if name == primary else " (standby)"
            print(f"{name:8} {ADDRESSES[name]:11} {'process ' + str(pid) if pid else 'has ended'}{role}")

    def describe(self):
        print(f"""
The store is {self.store}, its servers' logs are {self.folder}/*.log. These addresses exist only next to the cluster:

  scripts/cluster run tvl --tcp {ADDRESSES['proxy']}:7440 ping           # through HAProxy
  scripts/cluster run tvl who                                 # in the folder
  scripts/cluster run psql -h {ADDRESSES['db1']} -U store store
  scripts/cluster run bash                                    # a shell there
  scripts/cluster down                                        # ends everything and deletes the store""")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--build", required=True)
    parser.add_argument("--folder", required=True)
    parser.add_argument("what", choices=("up", "down", "status", "run"))
    parser.add_argument("command", nargs=argparse.REMAINDER)
    arguments = parser.parse_args()
    cluster = Cluster(arguments.build, arguments.folder)
    if arguments.what == "down":
        cluster.down()
        print("the cluster is down")
        return
    if arguments.what == "up" and not cluster.is_up():
        if why := why_not():
            print(f"cluster: skipped: {why}")
            return
        cluster.down()  # the remains of one that has failed
        try:
            cluster.up()
        except BaseException:
            cluster.down()
            raise
    if not cluster.processes:
        raise Failure("the cluster is down; scripts/cluster up")
    if arguments.what == "run":
        command = [*cluster.enter("client1"), *arguments.command]
        os.execvpe(command[0], command, cluster.environment)
    cluster.status()
    if arguments.what == "up":
        cluster.describe()


if __name__ == "__main__":
    try:
        main()
    except Failure as failure:
        sys.exit(f"cluster: {failure}")
