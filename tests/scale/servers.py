"""Two servers of one store with HAProxy in front: what happens to locks and presence when a part fails.

Both servers have the same host name and process id, as computers of one image may have, and so have their clients: only the
markers in the store can say who is alive.
"""

import argparse
import contextlib
import json
import pathlib
import re
import signal
import subprocess
import sys
import tempfile
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "scripts" / "lib"))
from cluster import ADDRESSES, PAUSE, SERVERS, Cluster, Failure, await_that, run, why_not  # noqa: E402

HELD, LOST = 4, 5  # exit codes of tvl lock
LIMIT = 30  # seconds until the locks of a client are free after a failure
LINES = 40  # of each log, after a failure
CLIENTS = ("client1", "client2")


def check(condition, what):
    if not condition:
        raise Failure(what)


class Holder:
    """A client that holds a lock, until its standard input ends."""

    def __init__(self, lab, client, name):
        self.name = name
        self.client = client
        line = re.compile(rf' {re.escape(ADDRESSES[client])}:\d+ .* lock "{name}".* state=1')
        old = {server: len(line.findall(lab.cluster.server_log(server))) for server in SERVERS}
        self.process = lab.ends.enter_context(subprocess.Popen(
            lab.cluster.client(client, "lock", name, "--", "cat"), stdin=subprocess.PIPE, stdout=subprocess.DEVNULL,
            stderr=subprocess.PIPE, env=lab.cluster.environment))
        lab.ends.callback(self.process.kill)
        self.server = await_that(f"{client} holds {name}", lambda: next(
            (server for server in SERVERS if len(line.findall(lab.cluster.server_log(server))) > old[server]), None))

    def holds(self):
        return self.process.poll() is None

    def end(self):
        self.process.kill()
        self.process.wait()


class Lab:
    def __init__(self, cluster, ends):
        self.cluster = cluster
        self.ends = ends

    def tvl(self, client, *words):
        return run(self.cluster.client(client, *words), check=False, env=self.cluster.environment)

    def who(self):
        """The clients that are alive, each as address and number."""
        output = self.cluster.inside("client1", self.cluster.tvl, "--json", "who").stdout
        instances = json.loads(output)["instances"]
        check({instance["pid"] for instance in instances} <= {1}, f"other process ids: {output}")
        return sorted((instance["address"], instance["instance"]) for instance in instances)

    def hold(self, names):
        """Clients that hold these locks, on both servers."""
        # Neighbours of one computer get different servers.
        holders = [Holder(self, CLIENTS[at // len(SERVERS)], name) for at, name in enumerate(names)]
        check(len({(holder.client, holder.server) for holder in holders}) == 4, "not every client is on both servers")
        return holders

    def expect_held(self, holders, clients=CLIENTS):
        for holder in holders:
            check(holder.holds(), f"{holder.name} was lost: {holder.process.poll()}")
            for client in clients:
                result = self.tvl(client, "lock", holder.name, "--", "true")
                check(result.returncode == HELD, f"{holder.name} was granted twice, or: {result.returncode} {result.stderr}")

    def await_free(self, groups, after_loss):
        """Takes the locks of these clients from another one as soon as they are free. Prints the time for each group.

        With `after_loss`, the commands that the locks protected must have ended by then."""
        began = time.monotonic()
        waiters = {holder: subprocess.Popen(
            self.cluster.client("client1", "lock", "--wait", str(LIMIT), holder.name, "--", "true"),
            stdin=subprocess.DEVNULL, stderr=subprocess.PIPE, env=self.cluster.environment)
            for holders in groups.values() for holder in holders}

        def take(holder):
            code = waiters[holder].poll()
            if code is None:
                return None
            check(code == 0, f"{holder.name} is not free: {code} {waiters[holder].stderr.read()}")
            check(not (after_loss and holder.holds()), f"{holder.name} is free, but its owner has not noticed")
            return time.monotonic() - began

        taken = {}
        while len(taken) < len(waiters):
            taken.update({holder: took for holder in waiters if holder not in taken and (took := take(holder)) is not None})
            time.sleep(PAUSE)
        for what, holders in groups.items():
            longest = max(taken[holder] for holder in holders)
            check(longest <= LIMIT, f"{what}: locks free after {longest:.1f} s")
            print(f"{what}: locks free after {longest:.1f} s", flush=True)

    def expect_lost(self, holders):
        for holder in holders:
            code = holder.process.wait(timeout=LIMIT)
            check(code == LOST, f"{holder.name}: its client ended with {code}, not with {LOST}")

    def expect_present(self, holders):
        found = self.who()
        check(len(found) == len(holders), f"{len(holders)} clients are alive, who prints {found}")

    def await_use_of(self, server):
        """Waits until HAProxy lets clients in to this server, which has the fewest."""
        def is_used():
            old = self.cluster.server_log(server).count(" enter ")
            check(self.tvl("client1", "ping").returncode == 0, "no answer through the proxy")
            return self.cluster.server_log(server).count(" enter ") > old
        await_that(f"{server} is used", is_used, LIMIT)


def check_real_addresses(lab):
    """Clients of both servers see each other, under their own addresses."""
    holders = lab.hold(["A1", "A2", "A3", "A4"])
    # Both servers count the clients of one computer together.
    expected = sorted((ADDRESSES[client], number) for client in CLIENTS for number in (1, 2))
    found = lab.who()
    check(found == expected, f"who prints {found}, expected {expected}")
    lab.expect_held(holders)
    print(f"who: {', '.join(f'{address} #{number}' for address, number in found)}", flush=True)
    return holders


def check_killed_server(lab, holders):
    """The locks of a killed server's clients are free, and only theirs."""
    victim = holders[0].server
    dead = [holder for holder in holders if holder.server == victim]
    alive = [holder for holder in holders if holder.server != victim]
    lab.cluster.end(victim)
    lab.await_free({"server killed": dead}, after_loss=False)
    lab.expect_lost(dead)
    lab.expect_held(alive)
    lab.expect_present(alive)
    # They get the numbers of the dead, and the same process id: the rows of the dead must not become theirs.
    heirs = [Holder(lab, holder.client, holder.name) for holder in dead]
    lab.expect_held(alive + heirs)
    lab.cluster.start_server(victim)
    lab.await_use_of(victim)
    lab.expect_held(alive + heirs)
    return alive + heirs


def check_upgrade(lab, holders):
    """A server that is drained keeps its clients and gets no new ones. SIGTERM ends it and disconnects only its own."""
    victim = holders[0].server
    lab.cluster.command_proxy(f"set server tvlservers/{victim} state drain")
    newcomers = [Holder(lab, "client2", name) for name in ("U1", "U2")]
    check(all(holder.server != victim for holder in newcomers), f"{victim} is drained, but gets clients")
    lab.expect_held(holders)
    began = time.monotonic()
    lab.cluster.end(victim, signal.SIGTERM)
    print(f"server ended by SIGTERM after {time.monotonic() - began:.1f} s", flush=True)
    lab.expect_lost([holder for holder in holders if holder.server == victim])
    alive = newcomers + [holder for holder in holders if holder.server != victim]
    lab.cluster.start_server(victim)
    lab.cluster.command_proxy(f"set server tvlservers/{victim} state ready")
    lab.await_use_of(victim)
    lab.expect_held(alive)
    lab.expect_present(alive)
    for holder in alive:
        holder.end()
    await_that("nobody is connected", lambda: lab.who() == [], LIMIT)


def check_cut_links(lab):
    """One server and one client lose their links: the locks beyond them are free, and no others."""
    holders = lab.hold(["B1", "B2", "B3", "B4"])
    victim = holders[0].server
    beyond_server = [holder for holder in holders if holder.server == victim]
    client2 = [holder for holder in holders if holder.server != victim and holder.client == "client2"]
    alive = [holder for holder in holders if holder.server != victim and holder.client != "client2"]
    for name in (victim, "client2"):
        lab.cluster.set_link(name, "down")
    lab.await_free({"link of a server down": beyond_server, "link of a client down": client2}, after_loss=True)
    lab.expect_lost(beyond_server + client2)
    lab.expect_held(alive, ["client1"])
    lab.expect_present(alive)
    for name in (victim, "client2"):
        lab.cluster.set_link(name, "up")
    lab.await_use_of(victim)
    lab.expect_held(alive)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--build", required=True)
    if why := why_not():
        print(f"servers: skipped: {why}")
        return
    names = {**{server: "store" for server in SERVERS}, **{client: "pc" for client in CLIENTS}}
    with tempfile.TemporaryDirectory(ignore_cleanup_errors=True) as parent, contextlib.ExitStack() as ends:
        pathlib.Path(parent).chmod(0o755)
        cluster = Cluster(parser.parse_args().build, pathlib.Path(parent) / "cluster", names)
        ends.callback(cluster.down)
        try:
            cluster.up()
            lab = Lab(cluster, ends)
            check_upgrade(lab, check_killed_server(lab, check_real_addresses(lab)))
            check_cut_links(lab)
        except (Failure, subprocess.TimeoutExpired) as failure:
            for server in SERVERS:
                print(f"--- {server}", *cluster.server_log(server).splitlines()[-LINES:], sep="\n", file=sys.stderr)
            sys.exit(f"servers: {failure}")
    print("servers: all passed")


main()
