"""Usage: tables.py LINUX_PEER WINDOWS_PEER [SECONDS]
Lets a client for Linux and one for Windows, under Wine, use the same tables: both write one table for some time and lose
nothing, and each rolls back what the other had not committed when it was killed."""

import sqlite3
import subprocess
import sys
import tempfile
from pathlib import Path

LINUX, WINDOWS = [sys.argv[1]], ["wine", sys.argv[2]]
BOTH_WAYS = ((LINUX, WINDOWS), (WINDOWS, LINUX))
SECONDS = int(sys.argv[3]) if len(sys.argv) > 3 else 60
STALLED = 10_000  # milliseconds: as long as a call waits for others


def start(peer, *words):
    return subprocess.Popen([*peer, *map(str, words)], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)


def says(peer, *words):
    return subprocess.run([*peer, *map(str, words)], check=True, stdout=subprocess.PIPE, text=True, timeout=120).stdout.strip()


def hears(process):
    return process.stdout.readline().strip()


def kill(process):
    process.kill()
    process.wait()


def select(table, statement):
    with sqlite3.connect(table) as database:
        return [row[0] for row in database.execute(statement)]


def check_writers(folder):
    table = folder / "shared.dat"
    says(LINUX, "create", table)
    writers = {name: start(peer, "write", table, name, SECONDS) for name, peer in (("linux", LINUX), ("wine", WINDOWS))}
    reports = {name: writer.communicate(timeout=SECONDS + 60)[0] for name, writer in writers.items()}
    counted = 0
    for name, report in reports.items():
        assert writers[name].returncode == 0, f"{name} failed"
        rows, counts, slowest = map(int, report.split())
        counted += counts
        found = select(table, f"SELECT count(*) FROM records WHERE CAST(key1 AS TEXT) LIKE '{name}%'")[0]
        assert found == rows, f"{name}: {found} of {rows} rows"
        assert rows > SECONDS and slowest < STALLED, f"{name}: {report}"
        print(f"{name}: {rows} rows, the slowest in {slowest} ms")
    for peer in (LINUX, WINDOWS):
        assert int(says(peer, "number", table, "counter")) == counted
    assert select(table, "PRAGMA integrity_check") == ["ok"]


def check_killed_writer(folder, writer, other):
    table = folder / "spilled.dat"
    says(other, "create", table)
    before = table.read_bytes()
    process = start(writer, "spill", table)
    assert hears(process) == "spilled"
    assert table.stat().st_size > len(before) and Path(f"{table}-journal").stat().st_size > 0
    kill(process)
    assert says(other, "number", table, "row00000000") == "-1"
    assert says(other, "number", table, "counter") == "0"
    assert table.stat().st_size == len(before)
    assert select(table, "PRAGMA integrity_check") == ["ok"]


with tempfile.TemporaryDirectory() as name:
    shared = Path(name)
    check_writers(shared)
    for killed, survivor in BOTH_WAYS:
        check_killed_writer(shared, killed, survivor)
print("two writers of one table, and the journal of a killed one, both ways: all as expected")
