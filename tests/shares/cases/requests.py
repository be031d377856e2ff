"""Round trips to the file server per file, next to those of cp and rsync, and a tree over a slow network."""

from lab.counters import counted
from lab.machine import Failed

from . import CONFIG, STORE, TVL, Case, new_store

FILES = 300
WORK = "/tmp/desk"
PUT = f"{TVL} --work {WORK} put -r tree"
GET = f"{TVL} --work /tmp/fetched get -r tree"
GET_ONE = f"{TVL} --work /tmp/fetched2 get tree/0/0"
SYNC = f"{TVL} sync push tree {WORK}/tree"
MOST = {  # name: at most, with one decimal, on NFS 4.2, NFS 3 and SMB
    "put, first": (7, 6, 7),
    "put, first, safe": (10, 9, 10),
    "put, again, time": (1.1, 1.1, 2.5),
    "get": (3.1, 3.1, 4.5),
    "sync, nothing changed": (0.4, 0.4, 0.4),
    "lock and unlock": (20, 20, 20),
    "keyed read": (3, 3, 3),
}
KIND_COLUMN = {"nfs4.2": 0, "nfs3": 1, "smb": 2}
SLOW_FILES = 670
SLOW_ROUNDS = 3  # of both in turns, because the load of the computer changes
SLOWER_THAN_CP = 1.2
SLOWER_THAN_CP_ON_SMB = 1.5  # there the machines' own processors are the limit


def make_tree(machine, files, size=4096):
    machine.must(f"""python3 - <<'END'
import os, shutil
for folder in ("{WORK}", "/tmp/fetched", "/tmp/fetched2"):
    shutil.rmtree(folder, ignore_errors=True)
    os.makedirs(folder)
for number in range({files}):
    folder = f"{WORK}/tree/{{number % 10}}"
    os.makedirs(folder, exist_ok=True)
    with open(f"{{folder}}/{{number}}", "wb") as file:
        file.write(os.urandom({size}))
END""", 300)


def set_option(machine, name, value):
    machine.must(f"sed -i '/^{name}=/d; /^\\[TavolisFileSystem/a {name}={value}' {CONFIG}")


class Meter:
    """Counts the round trips of commands on one computer, each with nothing cached of the share."""

    def __init__(self, context, result):
        self._kind, self._result, self._machine = context.kind, result, context.fleet["alpha"]

    def _settle(self):
        self._machine.must("sync; echo 3 > /proc/sys/vm/drop_caches; sleep 2")

    def _count(self, command):
        self._settle()
        with counted(self._machine, self._kind) as sent:
            self._machine.must(command, 600)
        return sent

    def measure(self, name, command, per=FILES):
        sent = self._count(command)
        self._note(name, sent.total / per, sent.most(per))
        return sent

    def measure_more(self, name, command, one):
        """The round trips of one file, without what a command for `one` file takes in any case."""
        fixed = self.measure(f"{name}, one file", one, 1)
        sent = self._count(command)
        self._note(name, (sent.total - fixed.total) / (FILES - 1), sent.most(FILES))

    def measure_each(self, name, command, few, many):
        """The round trips of one turn: what `many` turns take more than `few` of them."""
        totals = [self._count(f"{command} {count}") for count in (few, many)]
        self._note(name, (totals[1].total - totals[0].total) / (many - few), totals[1].most(many, 9))

    def _note(self, name, each, kinds):
        self._result.figure(f"\n      {name}: {each:.2f} ({kinds})")
        if name in MOST:
            most = MOST[name][KIND_COLUMN[self._kind.name]]
            self._result.expect(round(each, 1) <= most, f"{name}: {each:.2f} round trips, at most {most}")


def requests(context, result):
    alpha = new_store(context)
    make_tree(alpha, FILES)
    alpha.must(f"{TVL} table create turns.dat --key1 32 --record 32")
    meter = Meter(context, result)
    set_option(alpha, "SafeOnTransfert", 0)
    meter.measure("put, first", PUT)
    meter.measure("put, again, hash", PUT)
    set_option(alpha, "FileCompare", "time")
    meter.measure("put, again, time", PUT)
    meter.measure_more("get", GET, GET_ONE)
    meter.measure("sync, nothing changed", SYNC)
    set_option(alpha, "SafeOnTransfert", 1)
    alpha.must(f"rm -rf {STORE}/tree")
    meter.measure("put, first, safe", PUT)
    for tool in ("cp -a", "rsync -a"):
        meter.measure(f"{tool}, to the share", f"{tool} {WORK}/tree {STORE}/{tool.split()[0]}")
    meter.measure("rsync -a, again", f"rsync -a {WORK}/tree {STORE}/rsync")
    meter.measure("cp -a, from the share", f"cp -a {STORE}/tree /tmp/fetched2/cp")
    meter.measure("rsync -a, from the share", f"rsync -a {STORE}/tree /tmp/fetched2/rsync")
    meter.measure_each("lock and unlock", f"store_user turns {CONFIG}", 5, 25)
    meter.measure_each("keyed read", f"store_user reads {CONFIG}", 5, 55)


def _copy_and_put(machine, number):
    """The seconds that each of them takes for new files."""
    machine.must(f"rm -rf {STORE}/tree; sync; sleep 2", 300)
    seconds = []
    for command in (f"cp -a {WORK}/tree {STORE}/copy{number}", PUT):
        done = machine.begin(command).wait(600)
        if done.status != 0:
            raise Failed(f"status {done.status} of {command}: {done.output[-300:]}")
        seconds.append(done.seconds)
    return seconds


def slow_network(context, result):
    """A delay of 1 ms in each direction, level 1 of safe transfers, 2,000 files in rounds."""
    alpha = new_store(context)
    make_tree(alpha, SLOW_FILES)
    set_option(alpha, "SafeOnTransfert", 1)
    machines = (alpha, context.fleet.server)
    try:
        for machine in machines:
            machine.must("modprobe sch_netem; tc qdisc add dev vec1 root netem delay 1ms")
        copies, puts = zip(*(_copy_and_put(alpha, number) for number in range(SLOW_ROUNDS)))
    finally:
        for machine in machines:
            machine.run("tc qdisc del dev vec1 root")
    ratio = sum(puts) / sum(copies)
    result.figure(f"{SLOW_ROUNDS} times {SLOW_FILES} files: cp -a {sum(copies):.1f} s, put -r {sum(puts):.1f} s, ratio {ratio:.2f}")
    most = SLOWER_THAN_CP_ON_SMB if context.kind.is_smb else SLOWER_THAN_CP
    result.expect(ratio <= most, f"put -r takes more than {most} times the time of cp -a")


CASES = (Case("requests", requests), Case("slow network", slow_network))
