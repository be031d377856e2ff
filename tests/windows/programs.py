"""Usage: programs.py LINUX_TVL WINDOWS_TVL SERVER
Uses a store with tvl for Linux and for Windows, under Wine, through its folder and through a server for Linux: the
commands of a working day, what one of them writes and the other reads, backups, and the end of a command with its lock."""

import json
import os
import random
import shutil
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


def check_wildcards(folder, config):
    (folder / "few").mkdir()
    for name in ("a.txt", "b.TXT", "c d.txt", "é.txt", "e.txt2"):
        (folder / "few" / name).write_bytes(b"x")
    run(WINDOWS, "put", "few\\?.txt", "*.none", folder=folder, config=config, expect=1)
    names = {each.name for each in (folder / "store/few").iterdir()}
    assert names == {"a.txt", "b.TXT", "é.txt"}, names
    # Wine quotes a word with a space.
    run(WINDOWS, "put", "few\\c *.txt", folder=folder, config=config, expect=1)


def tree_of(folder):
    """Each document with its bytes, and each name with its time in seconds."""
    return {str(each.relative_to(folder)): (int(each.stat().st_mtime), each.is_file() and each.read_bytes())
            for each in sorted(folder.rglob("*"))}


def check_backups(folder, config):
    """Documents and tables; a table file is compared by its rows."""
    documents = folder / "store/docs/deep"
    documents.mkdir(parents=True)
    (documents / NAME).write_bytes(NOISE)
    (documents / "sparse").write_bytes(b"x" + bytes(1_000_000))
    (documents / "empty").mkdir()
    (documents / ".1.2.tvlpart").write_bytes(b"half")
    os.utime(documents / NAME, (1_000_000_000, 1_000_000_007))
    os.utime(documents, (1_000_000_000, 1_000_000_009))
    rows = run(LINUX, "table", "export", "t.dat", "--schema", SCHEMA, config=config)
    expected = {name: each for name, each in tree_of(folder / "store/docs").items() if not name.endswith("part")}
    for number, (writer, reader) in enumerate([(WINDOWS, LINUX), (LINUX, WINDOWS), (WINDOWS, WINDOWS)]):
        saved, new = folder / f"saved{number}", folder / f"new{number}"
        saved.mkdir()
        run(writer, "backup", saved, "-n", config=config)
        assert not list(saved.iterdir())
        run(writer, "backup", f"saved{number}", folder=folder, config=config)
        assert (saved / "backup.ini").exists() and not list(folder.glob("*.tvlpart*"))
        run(writer, "backup", saved, config=config, expect=1)
        run(writer, "backup", folder / "store/docs/saved", config=config, expect=1)
        run(reader, "restore", saved, saved / "new", expect=1)
        run(reader, "restore", saved, new)
        assert tree_of(new / "docs") == expected, (writer, reader)
        restored = new / "tvl.ini"
        assert run(reader, "table", "export", "t.dat", "--schema", SCHEMA, config=restored) == rows
        run(reader, "doctor", config=restored)
    check_interrupted_backup(folder, config)


def check_interrupted_backup(folder, config):
    """A backup of the same folder is refused while one is running, and removes what a killed one left."""
    (folder / "store/many").mkdir()
    for number in range(200):
        (folder / "store/many" / f"{number:0100}").touch()
    for holder, other in (WINDOWS, LINUX), (LINUX, WINDOWS):
        command = [*holder, "--config", config, "-v", "backup", folder / "late"]
        # Its output fills the pipe, so it cannot end.
        with subprocess.Popen(command, stdout=subprocess.PIPE, bufsize=0, pipesize=4096) as process:
            process.stdout.read(1)
            run(other, "backup", folder / "late", config=config, expect=HELD)
            process.kill()
        waits_for(lambda: subprocess.run([*other, "--config", config, "backup", folder / "late"], capture_output=True,
                                         timeout=60).returncode == 0)
        assert not list(folder.glob("late.tvlpart*"))
        shutil.rmtree(folder / "late")


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
        check_wildcards(work, ini)
        check_backups(work, ini)
        check_locks(ini)
        check_killed(ini)
        check_server(work, ini)
print("commands, backups, locks and a server, in stores of both programs: all as expected")
