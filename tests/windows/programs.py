"""Usage: programs.py LINUX_TVL WINDOWS_TVL SERVER
Uses a store with tvl for Linux and for Windows, under Wine, through its folder and through a server for Linux: the
commands of a working day, what one of them writes and the other reads, and the end of a command with its lock."""

import json
import os
import random
import subprocess
import sys
import tempfile
import time
from contextlib import contextmanager
from pathlib import Path

LINUX, WINDOWS = [sys.argv[1]], ["wine", sys.argv[2]]
SERVER = sys.argv[3]
NAME = "größe 日本.txt"
NOISE = random.Random(7).randbytes(300_000)
SCHEMA = "name-D12 total-F7.2"
ROWS = "key1,name,total\n0001,Käse,12.50\n0002,Brot,-3.00\n"
HELD, NO_SUCH_PROGRAM = 4, 127


def run(tvl, *words, expect=0, folder=None, config=None, text=None):
    """Runs tvl and returns what it prints on standard output."""
    environment = {**os.environ, **({"TVL_CONFIG": str(config)} if config else {})}
    done = subprocess.run([*tvl, *map(str, words)], cwd=folder, env=environment, input=text, capture_output=True,
                          encoding="utf-8", timeout=120)
    assert done.returncode == expect, f"{tvl[0]} {words}: exit {done.returncode}: {done.stdout}{done.stderr}"
    return done.stdout


@contextmanager
def store_of(tvl):
    """A new store, and the configuration with which both programs find it."""
    with tempfile.TemporaryDirectory() as name:
        folder = Path(name) / "pläne"
        folder.mkdir()
        run(tvl, "init", "store", folder=folder)
        config = folder / "store/tvl.ini"
        # A path without a drive is the same for both.
        config.write_text(config.read_text().replace("DocumentRoot=Z:", "DocumentRoot="))
        (folder / NAME).write_bytes(NOISE)
        yield folder, config


def check_day(folder, config):
    def windows(*words, **options):
        return run(WINDOWS, *words, folder=folder, config=config, **options)

    def linux(*words, **options):
        return run(LINUX, *words, folder=folder, config=config, **options)

    windows("put", NAME)
    assert (folder / "store" / NAME).read_bytes() == NOISE
    assert windows("ls", "-l") == linux("ls", "-l")
    assert windows("hash", NAME) == linux("hash", NAME)
    windows("mkdir", "-p", "a/b")
    windows("cp", NAME, "a/b/copy")
    windows("mv", "a/b/copy", "a/b/moved")
    linux("get", "-r", "a")
    assert (folder / "a/b/moved").read_bytes() == NOISE
    (folder / "a/b/new").write_bytes(b"new")
    windows("get", "a\\b\\moved", "--as", str(folder / "full"))
    assert (folder / "full").read_bytes() == NOISE

    windows("sync", "push", "a", "a")
    (folder / "a/b/moved").unlink()
    windows("sync", "push", "a", "a", "--delete", "--plan", "plan.json")
    windows("sync", "run", "plan.json", "--check")
    assert [each.name for each in (folder / "store/a/b").iterdir()] == ["new"]
    windows("sync", "pull", "a", "back")
    assert (folder / "back/b/new").read_bytes() == b"new"

    windows("env", "set", "Größe", "1")
    assert linux("env", "get", "Größe") == "1\n"
    windows("table", "create", "t.dat", "--key1", "4", "--schema", SCHEMA)
    windows("table", "import", "t.dat", "-", "--schema", SCHEMA, text=ROWS)
    exported = linux("table", "export", "t.dat", "--schema", SCHEMA)
    assert "Käse" in exported and windows("table", "export", "t.dat", "--schema", SCHEMA) == exported

    for words in ("status",), ("doctor",), ("doctor", "--fix"), ("who",), ("packs", "x"), ("config", "show"):
        windows(*words)
    assert not list((folder / "store").glob(".tvl-doctor*"))
    windows("init", "other", "--postgresql", "x", expect=1)
    windows("init", "other", "--group", "users", expect=2)
    windows("backup", "copy", expect=1)
    windows("get", "missing", expect=6)
    windows("rm", "-r", "a")
    assert not (folder / "store/a").exists()


def waits_for(condition):
    until = time.monotonic() + 60
    while not condition():
        assert time.monotonic() < until, "did not happen within 60 s"
        time.sleep(0.1)


@contextmanager
def locked(tvl, config, *words):
    """`tvl lock` for an object of this name, with its lock."""
    command = [*tvl, "--config", str(config), "--json", "lock", *words]
    with subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE, encoding="utf-8") as process:
        try:
            yield json.loads(process.stdout.readline()), process
        finally:
            process.stdin.close()


def check_locks(config):
    command = ("lock", "object", "--")
    assert run(WINDOWS, *command, "cmd", "/c", "exit 3", config=config, expect=3) == ""
    run(WINDOWS, *command, "no-such-program", config=config, expect=NO_SUCH_PROGRAM)
    words = ["a b", 'c"d', "e\\", 'f\\"g', ""]
    echoed = run(WINDOWS, *command, sys.argv[2], "--json", "hash", *words, config=config, expect=1)
    assert [json.loads(line)["subject"] for line in echoed.splitlines()] == words
    for holder, other in (LINUX, WINDOWS), (WINDOWS, LINUX):
        with locked(holder, config, "object"):
            run(other, *command, "true", config=config, expect=HELD)
        run(other, "lock", "object", config=config, text="")


def check_killed(config):
    """The inner tvl holds another lock until it ends."""
    inner = [sys.argv[2], "--config", str(config), "--json", "lock", "inner"]
    with locked(WINDOWS, config, "outer", "--", *inner) as (lock, process):
        assert lock["object"] == "inner"
        locks = json.loads(run(LINUX, "--json", "locks", config=config))["locks"]
        outer = next(each["pid"] for each in locks if each["object"] == "outer")
        subprocess.run(["wine", "taskkill", "/f", "/pid", str(outer)], capture_output=True, check=True, timeout=60)

        def is_free(name):
            return subprocess.run([*LINUX, "--config", config, "lock", name], stdin=subprocess.DEVNULL,
                                  capture_output=True, timeout=60).returncode == 0

        waits_for(lambda: is_free("outer") and is_free("inner"))
        process.wait(timeout=60)


def check_server(folder, config):
    port = folder / "port"
    command = [SERVER, "--config", config, "--listen", "127.0.0.1:0", "--port-file", port]
    with subprocess.Popen(command, stderr=subprocess.DEVNULL) as server:
        try:
            waits_for(lambda: port.exists() and port.read_text().strip())
            tcp = ("--tcp", f"127.0.0.1:{port.read_text().strip()}")
            run(WINDOWS, *tcp, "ping")
            run(WINDOWS, *tcp, "put", NAME, "--as", "sent", folder=folder)
            run(WINDOWS, *tcp, "get", "sent", folder=folder)
            assert (folder / "sent").read_bytes() == NOISE
            run(WINDOWS, *tcp, "lock", "object", "--", "cmd", "/c", "exit 5", expect=5)
            with locked(WINDOWS, config, "object"):
                run(WINDOWS, *tcp, "lock", "object", "--", "cmd", expect=HELD)
        finally:
            server.terminate()


for maker in (LINUX, WINDOWS):
    with store_of(maker) as (work, ini):
        check_day(work, ini)
        check_locks(ini)
        check_killed(ini)
        check_server(work, ini)
print("commands, locks and a server, in stores of both programs: all as expected")
