"""A virtual machine, which can be started, run commands, be unplugged and be switched off."""

import json
import os
import signal
import socket
import subprocess
import threading
import time
from dataclasses import dataclass
from pathlib import Path

from . import network

AGENT_PORT = 7000
BOOT_SECONDS = 180


class Failed(Exception):
    """A command that had to succeed did not, or a machine did not start."""


@dataclass(frozen=True)
class Place:
    """What all machines have in common: the image, the folder that they see as /lab, and where disks are kept."""

    image: Path
    shared: Path
    disks: Path


class Command:
    """A command that runs on a machine. Its output grows while it runs."""

    def __init__(self, address, command, seconds):
        self.command = command
        self.lines = []
        self.times = []  # when each line came
        self.status = None
        self.began = time.monotonic()
        self.seconds = None
        self._limit = seconds
        self._ended = threading.Event()
        self._changed = threading.Condition()
        self._connection = socket.create_connection((address, AGENT_PORT), 10)
        self._connection.settimeout(None)
        self._connection.sendall((json.dumps({"command": command, "seconds": seconds}) + "\n").encode())
        threading.Thread(target=self._read, daemon=True).start()

    @property
    def output(self):
        return "".join(self.lines)

    def _read(self):
        try:
            for line in self._connection.makefile("r", encoding="utf-8", errors="replace"):
                self._take(json.loads(line))
        except (OSError, ValueError):
            pass
        self.seconds = time.monotonic() - self.began
        self._ended.set()
        with self._changed:
            self._changed.notify_all()

    def _take(self, message):
        if "status" in message:
            self.status = message["status"]
            return
        with self._changed:
            self.lines.append(message["text"])
            self.times.append(time.monotonic())
            self._changed.notify_all()

    def when(self, text):
        """The moment when a line with `text` came; None if none has."""
        return next((moment for line, moment in zip(self.lines, self.times) if text in line), None)

    @property
    def ended(self):
        return self._ended.is_set()

    def wait(self, seconds=None):
        """Waits for the end. A command that lost its machine has no status."""
        if not self._ended.wait(seconds if seconds is not None else self._limit + 20):
            raise Failed(f"no end of: {self.command}\n{self.output[-500:]}")
        return self

    def wait_for(self, text, seconds):
        """Waits until the output contains `text`; returns whether it does."""
        with self._changed:
            self._changed.wait_for(lambda: text in self.output or self.ended, seconds)
        return text in self.output

    def end(self):
        """Kills the command, with all that it started."""
        try:
            self._connection.shutdown(socket.SHUT_RDWR)
        except OSError:
            pass


class Machine:
    """One of the suite's machines. `number` makes its addresses; `disk` is the size of its own disk in MiB, 0 for none."""

    def __init__(self, place, name, number, role, memory, disk=0, on_share=True):
        self.place, self.name, self.role, self.memory, self.disk = place, name, role, memory, disk
        self.address = f"10.9.0.{number}" if on_share else ""
        self.control = f"10.8.0.{number}"
        self._number = number
        self._process = None
        self._commands = []
        network.add_cable(f"control{number}", "control")
        if on_share:
            network.add_cable(self.cable, "share")

    @property
    def cable(self):
        return f"share{self._number}"

    @property
    def disk_image(self):
        return self.place.disks / f"{self.name}.img"

    def _disks(self):
        if not self.disk:
            return []
        if not self.disk_image.exists():
            subprocess.run(["mkfs.ext4", "-q", "-E", "lazy_itable_init=1", self.disk_image, f"{self.disk}M"], check=True)
        return [f"ubd1={self.disk_image}"]

    def _cards(self):
        cards = [f"vec0:transport=tap,ifname=control{self._number},depth=128,mac=52:54:00:08:00:{self._number:02x}"]
        if self.address:
            cards.append(f"vec1:transport=tap,ifname={self.cable},depth=128,mac=52:54:00:09:00:{self._number:02x}")
        return cards

    def start(self):
        """Boots, and returns once the machine takes commands."""
        state = self.place.disks / "uml"
        state.mkdir(parents=True, exist_ok=True)
        options = [f"mem={self.memory}M", f"umid={self.name}", f"uml_dir={state}/", f"ubd0r={self.place.image}", *self._disks(),
                   *self._cards(), "root=/dev/ubda", "ro", "rootfstype=ext4", "init=/first", "quiet", "panic=1",
                   "con0=null,fd:1", "con=null", "ssl=null", f"lab.folder={self.place.shared}", f"lab.name={self.name}",
                   f"lab.role={self.role}", f"lab.control={self.control}"]
        if self.address:
            options.append(f"lab.address={self.address}")
        with open(self.place.disks / f"{self.name}.console", "w") as console:
            self._process = subprocess.Popen(["linux.uml", *options], stdin=subprocess.DEVNULL, stdout=console,
                                             stderr=subprocess.STDOUT, start_new_session=True,
                                             env=dict(os.environ, TMPDIR="/dev/shm"))
        self._wait_for_agent()
        return self

    def _wait_for_agent(self):
        limit = time.monotonic() + BOOT_SECONDS
        while True:
            try:
                socket.create_connection((self.control, AGENT_PORT), 2).close()
                return
            except OSError:
                if time.monotonic() > limit or self._process.poll() is not None:
                    raise Failed(f"{self.name} does not start; see {self.place.disks}/{self.name}.console") from None
                time.sleep(0.2)

    def _processes(self):
        """All host processes of the machine, found by the name that they carry in their command line."""
        mark = f"umid={self.name}\0".encode()
        for folder in Path("/proc").iterdir():
            try:
                if folder.name.isdigit() and mark in (folder / "cmdline").read_bytes():
                    yield int(folder.name)
            except OSError:
                continue

    def switch_off(self):
        """Cuts the power: what the machine has not written to its disk or sent is lost."""
        while processes := list(self._processes()):
            for process in processes:
                try:
                    os.kill(process, signal.SIGKILL)
                except ProcessLookupError:
                    pass
            try:
                self._process.wait(0.1)
            except subprocess.TimeoutExpired:
                pass
        self._process = None
        for command in self._commands:
            command.end()  # nothing comes from a machine without power, not even an end
        self._commands = []

    @property
    def runs(self):
        return self._process is not None

    def unplug(self):
        network.unplug(self.cable)

    def plug(self):
        network.plug(self.cable)

    def begin(self, command, seconds=600):
        """Starts a command and does not wait for it."""
        self._commands = [*(known for known in self._commands if not known.ended), Command(self.control, command, seconds)]
        return self._commands[-1]

    def run(self, command, seconds=120):
        """Runs a command to its end, regardless of its status."""
        return self.begin(command, seconds).wait()

    def must(self, command, seconds=120):
        """Runs a command that has to succeed; returns its output."""
        done = self.run(command, seconds)
        if done.status != 0:
            raise Failed(f"{self.name}: status {done.status} of: {command}\n{done.output[-2000:]}")
        return done.output
