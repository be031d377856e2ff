"""Usage: sharing.py LINUX_PEER WINDOWS_PEER
Lets a program for Linux and one for Windows, under Wine, share a folder: holds count for both, files are copied byte for
byte, and two writers of an INI file at the same time lose nothing."""

import subprocess
import sys
import tempfile
from pathlib import Path

LINUX, WINDOWS = [sys.argv[1]], ["wine", sys.argv[2]]
VALUES = 100


def start(peer, *words):
    return subprocess.Popen([*peer, *map(str, words)], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)


def run(peer, *words):
    return subprocess.run([*peer, *map(str, words)], capture_output=True, text=True, timeout=120)


def says(peer, *words):
    return run(peer, *words).stdout.strip()


def check_holds(folder, holder, other):
    for command in ("hold", "create"):
        path = folder / f"marker-{command}"
        if command == "hold":
            path.touch()
        process = start(holder, command, path)
        assert process.stdout.readline().strip() == "held"
        assert says(other, "try", path) == "held"
        assert says(other, "delete", path) == "refused"
        assert says(other, "hold", path) == "refused"
        process.kill()
        process.wait()
        # Wine releases the locks of a process that was killed a moment later.
        while says(other, "try", path) == "held":
            pass
        assert says(other, "delete", path) == "deleted"
        assert not path.exists()


def check_copies(folder, peer):
    data = bytes(range(256)) * 1500
    (folder / "source").write_bytes(data)
    assert says(peer, "copy", folder / "source", folder / "target") == "copied"
    assert (folder / "target").read_bytes() == data
    assert int((folder / "target").stat().st_mtime) == int((folder / "source").stat().st_mtime)


def check_values(folder):
    ini = folder / "shared.ini"
    ini.write_text("[Env]\n")
    writers = [start(peer, "values", ini, name, VALUES) for peer, name in ((LINUX, "linux"), (WINDOWS, "windows"))]
    assert [writer.wait(timeout=300) for writer in writers] == [0, 0]
    lines = ini.read_text().splitlines()[1:]
    expected = [f"{name}{i}={name}{i}" for name in ("linux", "windows") for i in range(VALUES)]
    assert sorted(lines) == sorted(expected), f"{len(lines)} of {len(expected)} values"


with tempfile.TemporaryDirectory() as name:
    shared = Path(name)
    check_holds(shared, LINUX, WINDOWS)
    check_holds(shared, WINDOWS, LINUX)
    for each in (LINUX, WINDOWS):
        check_copies(shared, each)
    check_values(shared)
print(f"holds both ways, copies, {2 * VALUES} values of two writers: all as expected")
