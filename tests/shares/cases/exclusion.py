"""Two processes on each of two computers fight for one lock and write rows under it; a witness watches off the share."""

import json

from lab.witness import ADDRESS, Witness

from . import CONFIG, TVL, Case, new_store

SHARE_OF_TURNS = 0.1  # of the fastest process, for the slowest
READING_SECONDS = 30
LONGEST_GAP = 5  # seconds between two rows of a writer


def begin_contenders(machines, seconds, witness, variables=("", "")):
    """Two on each computer, with the computer's variables of the environment."""
    return [machine.begin(f"{variable} store_user contend {CONFIG} {machine.name}{number} {seconds} {ADDRESS} {witness.port}",
                          seconds + 300)
            for machine, variable in zip(machines, variables) for number in (1, 2)]


def judge(result, fighters, listing, least_share=SHARE_OF_TURNS):
    """Compares the results of the contestants with the contents of the table."""
    totals, acknowledged = [], []
    for fighter in fighters:
        lines = fighter.output.splitlines()
        acknowledged += [line[4:] for line in lines if line.startswith("row ")]
        totals += [json.loads(line[6:]) for line in lines if line.startswith("total ")]
        for line in lines:
            if line.startswith("refused "):
                result.figure(line)
        result.expect(fighter.status == 0, f"status {fighter.status} of {fighter.command}: {fighter.output[-200:].strip()}")
    present = set(listing.output.splitlines())
    lost = [key for key in acknowledged if key not in present]
    result.expect(listing.status == 0, f"the table cannot be listed: {listing.output[-300:]}")
    result.expect(not lost, f"{len(lost)} of {len(acknowledged)} acknowledged rows lost, such as {lost[:3]}")
    for name, fault in (("doubles", "entered while another held the lock"), ("nobody", "state 0"),
                        ("kept", "lock kept by its release"), ("refused", "row refused")):
        count = sum(total[name] for total in totals)
        result.expect(count == 0, f"{fault}: {count} times")
    turns = sorted(total["turns"] for total in totals)
    if turns:
        result.expect(turns[0] >= turns[-1] * least_share and turns[-1] > 0, f"unfair: turns {turns}")
        result.figure(f"turns {'/'.join(map(str, turns))}, {len(acknowledged)} rows, "
                      f"longest call {max(total['longest'] for total in totals):.1f} s")


def check_integrity(result, machine, name):
    """Asks SQLite itself, on a copy."""
    done = machine.run(f"cp {name} /tmp/copy.dat && python3 -c \"import sqlite3; "
                       "print(sqlite3.connect('/tmp/copy.dat').execute('pragma integrity_check').fetchone()[0])\"")
    result.expect(done.output.strip() == "ok", f"integrity of {name}: {done.output.strip()[-300:]}")


def exclusion(context, result):
    new_store(context).must(f"{TVL} table create turns.dat --key1 32 --record 32")
    machines = context.fleet.clients
    fighters = begin_contenders(machines, context.options.seconds, Witness())
    for fighter in fighters:
        fighter.wait()
    judge(result, fighters, machines[0].run(f"store_user list {CONFIG}"))
    for name in ("turns.dat", "tmp/locks/dtlocks.dat"):
        check_integrity(result, machines[0], f"$(dirname {CONFIG})/{name}")


def readers(context, result):
    """Two readers on one computer and a writer on each: the locks that readers share must not outlast them."""
    alpha, beta = new_store(context), context.fleet["beta"]
    alpha.must(f"{TVL} table create turns.dat --key1 32 --record 32")
    reading = (f"end=$((SECONDS + {READING_SECONDS})); while [ $SECONDS -lt $end ]; "
               f"do store_user reads {CONFIG} 100 || exit 1; done")
    readers = [alpha.begin(reading) for _ in range(2)]
    writers = [machine.begin(f"store_user rows {CONFIG} {machine.name}") for machine in (alpha, beta)]
    for reader in readers:
        reader.wait()
        result.expect(reader.status == 0, f"reader: status {reader.status}: {reader.output[-200:].strip()}")
    for writer in writers:
        writer.end()
        gaps = [later - earlier for earlier, later in zip(writer.times, writer.times[1:])]
        longest = max(gaps, default=READING_SECONDS)
        result.expect(longest < LONGEST_GAP, f"no row for {longest:.1f} s")
        result.figure(f"{len(writer.lines)} rows, longest gap {longest:.1f} s")


CASES = (Case("exclusion", exclusion), Case("readers", readers))
