"""Tests against the built library. TVL_LIBRARY names it, TVL_SERVER the server program."""

from __future__ import annotations

import asyncio
import errno
import os
import signal
import subprocess
import sys
import tempfile
import unittest
from decimal import Decimal
from pathlib import Path

import tavolis
from tavolis import Operation, Store

HERE = Path(__file__).parent
SCHEMA = "customer-D8 total-F7.2 count-F4"

# Another process: holds a lock until it is killed.
HOLDER = """
import sys
from tavolis import Store
store = Store.directory(sys.argv[1], class_name="hold")
with store.lock("ORD1"):
    print("locked", flush=True)
    sys.stdin.read()
"""

# A process that is interrupted by Ctrl-C in the middle of a tree.
INTERRUPTED = """
import os, signal, sys
from tavolis import Store
seen = []
def progress(path, size):
    seen.append(path)
    if len(seen) == 2:
        os.kill(os.getpid(), signal.SIGINT)
store = Store.directory(sys.argv[1], work=sys.argv[2])
try:
    store.put_tree("many", "many", progress)
except KeyboardInterrupt:
    store.put("many/0")
    print("interrupted after", len(seen))
"""


def start(code: str, *arguments: str) -> subprocess.Popen[str]:
    return subprocess.Popen(
        [sys.executable, "-c", code, *arguments],
        stdin=subprocess.PIPE,
        stdout=subprocess.PIPE,
        text=True,
    )


class StoreTest(unittest.TestCase):
    def setUp(self) -> None:
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)
        self.work = self.folder / "work"
        self.work.mkdir()
        Store.make(self.folder / "store")
        self.config = self.folder / "store" / "tvl.ini"
        self.store = Store.directory(self.config, work=self.work)
        self.addCleanup(self.store.close)

    def write(self, name: str, text: str) -> None:
        path = self.work / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text, encoding="utf-8")

    def test_files_and_trees(self) -> None:
        self.write("tree/grüße.txt", "abc")
        self.assertTrue(self.store.put("tree/grüße.txt"))
        self.assertFalse(self.store.put("tree/grüße.txt"))
        self.assertTrue(self.store.compare("tree/grüße.txt"))
        self.assertTrue(self.store.get("tree/grüße.txt", "again.txt"))
        self.assertEqual(tavolis.file_hash(self.work / "again.txt")[0], 3)
        with self.assertRaises(tavolis.FileError) as caught:
            self.store.get("none")
        self.assertEqual(caught.exception.errno, errno.ENOENT)
        self.assertEqual(caught.exception.path, str(self.folder / "store" / "none"))
        seen: list[tuple[str, int]] = []
        self.store.copy_tree("tree", "copy", lambda path, size: seen.append((path, size)))
        self.assertEqual([size for _, size in seen], [0, 3])
        self.assertEqual([entry.name for entry in self.store.listing("copy")], ["grüße.txt"])
        with self.assertRaises(tavolis.Stopped):
            self.store.copy_tree("tree", "stopped", lambda path, size: False)
        with self.assertRaises(ZeroDivisionError):
            self.store.copy_tree("tree", "raised", lambda path, size: 1 // 0)
        self.store.remove_tree("copy")
        self.assertFalse(self.store.exists("copy"))
        with self.assertRaises(tavolis.StoreError):
            Store.make(self.folder / "store")
        self.assertTrue(Store.check(self.folder / "store"))

    def test_sync(self) -> None:
        self.write("s/new", "12345")
        (self.folder / "store" / "s").mkdir()
        (self.folder / "store" / "s" / "old").touch()
        with self.store.sync("s", "s", push=True) as sync:
            sync.remove_deletions()
            sync.run()
            done = {result.entry.operation: result for result in sync.results if result.is_done}
        self.assertEqual(done[Operation.COPY].entry.size, 5)
        self.assertIsNone(done[Operation.COPY].failure)
        self.assertNotIn(Operation.DELETE, done)
        self.assertTrue(self.store.exists("s/old"))

    def test_lock_of_a_killed_process(self) -> None:
        with start(HOLDER, str(self.config)) as holder:
            self.assertEqual(holder.stdout and holder.stdout.readline(), "locked\n")
            with self.assertRaises(tavolis.Locked):
                with self.store.lock("ORD1", wait=0.3):
                    self.fail("the lock is held by another process")
            self.assertEqual([row.class_name for row in self.store.who()], ["hold"])
            self.assertEqual(self.store.locks()[0].pid, holder.pid)
            holder.kill()
        with self.store.lock("ORD1", wait=10) as lock:
            self.assertTrue(lock.is_held)
            self.assertEqual(self.store.locks()[0].pid, os.getpid())
        self.assertEqual(self.store.locks(), [])

    def test_interrupt_ends_between_two_files(self) -> None:
        for number in range(20):
            self.write(f"many/{number}", "x")
        with start(INTERRUPTED, str(self.config), str(self.work)) as process:
            output = process.communicate()[0]
        self.assertEqual(output, "interrupted after 2\n")

    def test_values(self) -> None:
        self.assertIsNone(self.store.value("Colour"))
        self.store.set_value("Colour", "grün")
        self.assertEqual(self.store.values()["Colour"], "grün")
        self.assertEqual(self.store.packs(), [])

    def test_table(self) -> None:
        table = self.store.make_table("orders", SCHEMA, key1=6, key2=4)
        table["A1"] = {"customer": "Rossi", "total": Decimal("1.50"), "count": 3}
        with table.batch() as batch:
            batch["A2"] = {"customer": "Bianchi", "total": "-2.25"}
            batch["B1"] = {"customer": "Verdi"}
        row = table["A1"]
        self.assertEqual((row.customer, row.total, row["count"]), ("Rossi", Decimal("1.50"), 3))
        self.assertEqual([(key, row.total) for key, row in table.prefix("A")][1], ("A2", Decimal("-2.25")))
        self.assertEqual(list(table), ["A1", "A2", "B1"])
        with self.assertRaises(RuntimeError), table.batch() as batch:
            del batch["A1"]
            raise RuntimeError
        with table.batch() as batch:
            del batch["A1"]
        self.assertNotIn("A1", table)
        with self.assertRaises(KeyError):
            del table["A1"]
        with self.assertRaises(tavolis.TableError):
            table["A3"] = {"total": "too much"}
        with self.assertRaises(tavolis.ArgumentError):
            table["longer than a key"] = {}
        table.write([("C1", {"customer": "Neri"}, "key2")])
        self.assertEqual([row.customer for _, row in table.by_key2("key2")], ["Neri"])
        self.store.close()
        with self.assertRaises(tavolis.ConnectionFailed):
            table.read(None)

    def test_threads(self) -> None:
        async def put_all() -> list[bool]:
            names = [f"t/{number}" for number in range(30)]
            return await asyncio.gather(*(asyncio.to_thread(self.store.put, name) for name in names))

        for number in range(30):
            self.write(f"t/{number}", str(number))
        self.assertEqual(asyncio.run(put_all()), [True] * 30)

    @unittest.skipUnless("TVL_SERVER" in os.environ, "TVL_SERVER is not set")
    def test_server(self) -> None:
        command = [os.environ["TVL_SERVER"], "--config", str(self.config), "--listen", "127.0.0.1:0"]
        with subprocess.Popen(command, stderr=subprocess.PIPE, text=True) as process:
            try:
                message = process.stderr.readline() if process.stderr else ""
                self.assertIn("listen", message)
                port = int(message.rpartition(":")[2])
                self.write("wire.txt", "over the wire")
                with Store.server("127.0.0.1", port, work=self.work) as store:
                    self.assertTrue(store.put("wire.txt"))
                    self.assertTrue(store.info.is_server)
                    with store.lock("ORD1"), self.assertRaises(tavolis.Locked):
                        with self.store.lock("ORD1"):
                            self.fail("the lock is held over the server")
                    with self.assertRaises(tavolis.NotSupported):
                        store.listing()
            finally:
                process.send_signal(signal.SIGTERM)
        with self.assertRaises(tavolis.ConnectionFailed):
            Store.server("127.0.0.1", port)


if __name__ == "__main__":
    unittest.main()
