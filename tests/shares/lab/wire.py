"""Round trips of SMB as they pass a cable. The kernel's own counters count each request of a chain, and a chain is one message
with one answer."""

import socket
import struct
import threading
import time

PORT = 445
ALL_PROTOCOLS = 0x0003
FORCED_BUFFER = 33  # SO_RCVBUFFORCE
BUFFER = 64 << 20
QUIET_SECONDS = 0.3
COMMANDS = ("negotiate", "sessionsetup", "logoff", "treeconnect", "treedisconnect", "create", "close", "flush", "read", "write",
            "lock", "ioctl", "cancel", "echo", "querydirectory", "changenotify", "queryinfo", "setinfo", "oplockbreak")
IN_PASSING = {"echo", "oplockbreak"}  # nobody waits for these


def _tcp_to_server(frame):
    """The sender's port, sequence number, flags and payload of a segment to the file server; None for other frames."""
    if frame[12:14] != b"\x08\x00" or frame[23] != socket.IPPROTO_TCP:
        return None
    tcp = 14 + 4 * (frame[14] & 15)
    source, target, sequence = struct.unpack_from("!HHI", frame, tcp)
    end = 14 + struct.unpack_from("!H", frame, 16)[0]
    return (source, sequence, frame[tcp + 13], frame[tcp + 4 * (frame[tcp + 12] >> 4):end]) if target == PORT else None


class _Stream:
    """The bytes of one connection, in order."""

    def __init__(self):
        self._next, self._early, self.bytes = None, {}, bytearray()

    def take(self, sequence, payload):
        if self._next is None:
            self._next = sequence
        self._early[sequence] = payload
        for start in sorted(self._early, key=lambda start: (start - self._next + 2**31) % 2**32):
            ahead = (start - self._next + 2**31) % 2**32 - 2**31
            if ahead > 0:
                return
            new = self._early.pop(start)[-ahead:]
            self.bytes += new
            self._next = (self._next + len(new)) % 2**32

    def messages(self):
        while len(self.bytes) >= 4 and len(self.bytes) >= 4 + (size := struct.unpack_from("!I", self.bytes)[0] & 0xFFFFFF):
            yield bytes(self.bytes[4:4 + size])
            del self.bytes[:4 + size]


def _chain(message):
    """The names of the requests that a message consists of."""
    names, at = [], 0
    while message[at:at + 4] == b"\xfeSMB":
        names.append(COMMANDS[struct.unpack_from("<H", message, at + 12)[0]])
        following = struct.unpack_from("<I", message, at + 20)[0]
        if following == 0:
            break
        at += following
    return "+".join(names) or "other"


class Wire:
    """Counts the messages to the file server that pass a cable, by the requests that they consist of, until `end`."""

    def __init__(self, cable):
        self.by_kind, self._streams, self._last = {}, {}, time.monotonic()
        self._socket = socket.socket(socket.AF_PACKET, socket.SOCK_RAW, socket.htons(ALL_PROTOCOLS))
        self._socket.setsockopt(socket.SOL_SOCKET, FORCED_BUFFER, BUFFER)
        self._socket.bind((cable, 0))
        self._socket.settimeout(QUIET_SECONDS)
        self._ending = False
        self._thread = threading.Thread(target=self._watch, daemon=True)
        self._thread.start()

    def _watch(self):
        while True:
            try:
                segment = _tcp_to_server(self._socket.recv(1 << 17))
            except TimeoutError:
                if self._ending:
                    return
                continue
            if segment:
                self._take(*segment)

    def _take(self, source, sequence, flags, payload):
        if flags & 2:  # a new connection
            self._streams.pop(source, None)
        if not payload:
            return
        stream = self._streams.setdefault(source, _Stream())
        stream.take(sequence, payload)
        for message in stream.messages():
            kind = _chain(message)
            if kind not in IN_PASSING:
                self.by_kind[kind] = self.by_kind.get(kind, 0) + 1

    def end(self):
        """Waits until the cable is quiet; returns the counts."""
        self._ending = True
        self._thread.join()
        self._socket.close()
        return self.by_kind
