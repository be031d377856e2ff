"""A store with a server, and clients that speak its protocol."""

import socket
import subprocess
import threading
import time

CHUNK = 30000
PATIENCE = 20


def create_store(programs, path):
    subprocess.run([programs / "cli" / "tvl", "init", path], check=True, stdout=subprocess.DEVNULL)


class Server:
    """A tvlserver of a store; ports and log are in a folder of its own."""

    def __init__(self, programs, store, folder, options=()):
        self.programs = programs
        self.store = store
        self.folder = folder
        self.options = options
        self.process = None
        folder.mkdir()

    def start(self, status_port=0):
        ports = [self.folder / "port", self.folder / "status.port"]
        command = [
            self.programs / "tvlserver", "--config", self.store / "tvl.ini", "--listen", "127.0.0.1:0",
            "--port-file", ports[0], "--status", str(status_port), "--status-port-file", ports[1], "--log",
            self.folder / "log", *self.options,
        ]
        self.process = subprocess.Popen(command)
        end = time.monotonic() + PATIENCE
        while not all(port.exists() for port in ports):
            if self.process.poll() is not None or time.monotonic() > end:
                raise RuntimeError((self.folder / "log").read_text())
            time.sleep(0.01)
        self.port, self.status_port = (int(port.read_text()) for port in ports)

    def stop(self):
        self.process.terminate()
        self.process.wait()

    def kill(self):
        self.process.kill()
        self.process.wait()


class Client:
    """A connection that has been let in, unless `greet` is False."""

    def __init__(self, server, computer="pc1", user="ann", greet=True):
        self.socket = socket.create_connection(("127.0.0.1", server.port), timeout=PATIENCE)
        texts = b"".join(text.encode() + b"\0" for text in ("mgrx", computer, user, ""))
        payload = b"*00" + texts
        self.socket.sendall((b"#" + (len(payload) + 4).to_bytes(2, "big") + b"\0" + payload).ljust(32, b"\0"))
        self.welcome = self.receive()
        if greet and self.welcome.split(b"\t")[1:2] != [b"0"]:
            raise RuntimeError(self.welcome)

    def read(self, count):
        data = b""
        while len(data) < count:
            more = self.socket.recv(count - len(data))
            if not more:
                raise RuntimeError("the server has ended the connection")
            data += more
        return data

    def receive(self):
        head = self.read(4)
        return self.read(int.from_bytes(head[1:3], "big"))

    def ask(self, payload):
        self.socket.sendall(b"?" + (len(payload) + 4).to_bytes(2, "big") + b"?" + payload)
        return self.receive()

    def lock(self, name):
        return self.ask(b"L" + name.encode())

    def begin_put(self, name, data=b""):
        answer = self.ask(b"P" + name + b"\t@")
        if answer == b"0" and data:
            answer = self.ask(b"0" + data)
        if answer != b"0":
            raise RuntimeError(answer)

    def close(self):
        self.socket.close()


def keep_going(work, pause, stop):
    """Repeats the work on a thread until the event `stop` is set."""

    def run():
        while not stop.wait(pause):
            work()

    thread = threading.Thread(target=run, daemon=True)
    thread.start()
    return thread
