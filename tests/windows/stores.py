"""Usage: stores.py LINUX_PEER WINDOWS_PEER SERVER ENGINE
Lets a client for Linux and one for Windows, under Wine, use a store through its folder and through a server for Linux:
what one puts, the other gets byte for byte; values and locks of one are seen by the other. Locks in the folder are left out if ENGINE, the one for Windows, is missing."""

import random
import subprocess
import sys
import tempfile
import time
from contextlib import contextmanager
from pathlib import Path

LINUX, WINDOWS = [sys.argv[1]], ["wine", sys.argv[2]]
BOTH_WAYS = ((LINUX, WINDOWS), (WINDOWS, LINUX))
SERVER = sys.argv[3]
ENGINE = Path(sys.argv[4])


def says(peer, store, work, *words):
    command = [*peer, str(store), str(work), *words]
    return subprocess.run(command, capture_output=True, text=True, timeout=120).stdout.strip()


def expect(expected, peer, store, work, *words):
    said = says(peer, store, work, *words)
    assert said == expected, f"{peer} {words}: {said}, expected {expected}"


@contextmanager
def new_store(zips):
    with tempfile.TemporaryDirectory() as name:
        folder = Path(name)
        for each in ("a", "b"):
            (folder / each).mkdir()
        # Its configuration names a path without a drive, which is the same under Wine.
        subprocess.run([*LINUX, folder / "root"], check=True)
        ini = folder / "root/tvl.ini"
        ini.write_text(ini.read_text().replace("ZipOnTransfert=0", f"ZipOnTransfert={zips}"))
        yield folder


@contextmanager
def served(folder):
    port = folder / "port"
    command = [SERVER, "--config", folder / "root/tvl.ini", "--listen", "127.0.0.1:0", "--port-file", port]
    with subprocess.Popen(command, stderr=subprocess.DEVNULL) as server:
        try:
            until = time.monotonic() + 60
            while not (port.exists() and port.read_text().strip()):
                assert server.poll() is None and time.monotonic() < until, "the server does not listen"
            yield port.read_text().strip()
        finally:
            server.terminate()


def check_files(folder, store, kind):
    noise = random.Random(7).randbytes(200_000)
    for number, (writer, reader) in enumerate(BOTH_WAYS):
        for name, data in (("noise", noise), ("text", b"line\r\nline\n" * 9000), ("empty", b"")):
            path = f"{kind}{number}-{name}"
            (folder / "a" / path).write_bytes(data)
            expect("transferred", writer, store, folder / "a", "put", path)
            expect("transferred", reader, store, folder / "b", "get", path)
            assert (folder / "root" / path).read_bytes() == data, path
            assert (folder / "b" / path).read_bytes() == data, path
            expect("equal", reader, store, folder / "b", "get", path)
            expect("equal", writer, store, folder / "a", "put", path)


def check_values(folder, store):
    for writer, reader in BOTH_WAYS:
        for value in ("first", "second = 'x' ; y"):
            expect("set", writer, store, folder / "a", "set", "key", value)
            expect(value, reader, store, folder / "b", "value", "key")


# Kills the holder, or lets it end.
def check_locks(folder, store, kills):
    for holder, other in BOTH_WAYS:
        command = [*holder, str(store), str(folder / "a"), "lock", "object"]
        with subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True) as process:
            line = process.stdout.readline().strip()
            assert line == "held", line
            expect("locked", other, store, folder / "b", "lock", "object")
            if kills:
                process.kill()
        # Wine releases the locks of a process that was killed a moment later.
        until = time.monotonic() + 30
        while kills and time.monotonic() < until and says(other, store, folder / "b", "lock", "object") != "held":
            pass
        expect("held", other, store, folder / "b", "lock", "object")


for zips in (0, 1):
    with new_store(zips) as shared:
        check_files(shared, shared / "root/tvl.ini", "folder")
        check_values(shared, shared / "root/tvl.ini")
        for kills in (False, True) if ENGINE.exists() else ():
            check_locks(shared, shared / "root/tvl.ini", kills)
        with served(shared) as tcp:
            check_files(shared, tcp, "server")
            check_locks(shared, tcp, False)
print("files, values and locks, both ways, through the folder and through a server: all as expected")
