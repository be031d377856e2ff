"""Power cuts on a disk of the machine's own: nothing that was reported may be lost or torn afterwards."""

import random
import time

from . import Case

STORE = "/store/store"
CONFIG = f"{STORE}/tvl.ini"
TVL = f"tvl --config {CONFIG}"
LONGEST = 6  # seconds of work before a cut
PUTS_APART = 40000  # from one cut's numbers to the next one's



class Reported:
    """What the library has reported as done, up to the cut."""

    def __init__(self):
        self.puts, self.rows, self.values = {}, set(), {}
        self.counts = {"puts": 0, "rows": 0, "values": 0}

    def add(self, line):
        match line.split():
            case ["put", name, number]:
                self.puts[name] = int(number)
                self.counts["puts"] += 1
            case ["row", key]:
                self.rows.add(key)
                self.counts["rows"] += 1
            case ["value", name, value]:
                self.values[name] = int(value)
                self.counts["values"] += 1


def _start_work(machine, cut):
    machine.must("mkdir -p /tmp/desk")
    return [machine.begin(f"store_user put {CONFIG} /tmp/desk p{cut % 4} {cut * PUTS_APART}", 300),
            machine.begin(f"store_user rows {CONFIG} power{cut}", 300),
            machine.begin(f"store_user values {CONFIG} V{cut}", 300),
            machine.begin(f"tvl --config {CONFIG} lock held{cut} -- sh -c 'echo holds; sleep 300'", 300)]


def _faults(machine, reported):
    """After the boot: each fault with the number of its cases."""
    expected = "".join(f"{name} {number}\n" for name, number in reported.puts.items())
    (machine.place.shared / "reported").write_text(expected)
    checked = machine.must(f"python3 /lab/guest/check_files.py {STORE} /lab/reported").split("\n")
    faults = {fault: sum(line.startswith(fault) for line in checked) for fault in ("lost", "empty", "torn", "old")}
    rows = set(machine.must(f"store_user list {CONFIG}", 300).split())
    faults["rows lost"] = len(reported.rows - rows)
    stored = dict(line.split("=", 1) for line in machine.must(f"grep -E '^V[0-9]+=' {CONFIG} || true").splitlines())
    faults["values lost"] = sum(int(stored.get(name, -1)) < value for name, value in reported.values.items())
    return faults


def power_cuts(context, result):
    machine = context.fleet["power"]
    machine.must(f"tvl init {STORE} && {TVL} table create turns.dat --key1 32 --record 32")
    machine.must(f"sed -i '/^SafeOnTransfert=/d; /^\\[TavolisFileSystem/a SafeOnTransfert=2' {CONFIG}; sync")
    chance, reported, totals = random.Random(1), Reported(), {}
    for cut in range(context.options.cuts):
        work = _start_work(machine, cut)
        result.expect(work[3].wait_for("holds", 60), f"cut {cut}: old locks block new ones: {work[3].output[-200:]}")
        time.sleep(1 + chance.random() * (LONGEST - 1))
        machine.switch_off()
        for command in work[:3]:
            command.wait(30)
            for line in command.lines:
                reported.add(line)
        machine.start()
        faults = _faults(machine, reported)
        result.expect(not any(faults.values()), f"cut {cut}: {faults}")
        for name, count in faults.items():
            totals[name] = totals.get(name, 0) + count
    counts = ", ".join(f"{count} {name}" for name, count in reported.counts.items())
    result.figure(f"{context.options.cuts} cuts; reported: {counts}; {totals}")


CASES = (Case("power cuts", power_cuts, every_kind=False),)
