"""Counts who is inside at once, over the control network: a share that fails cannot deceive it."""

import socket
import threading

ADDRESS = "10.8.0.254"


class Witness:
    """`i` enters and `o` leaves; the answer is `k`, or `X` to anyone who enters while another is inside."""

    def __init__(self):
        self._inside = 0
        self._lock = threading.Lock()
        self._listener = socket.create_server((ADDRESS, 0))
        self.port = self._listener.getsockname()[1]
        threading.Thread(target=self._accept, daemon=True).start()

    def _accept(self):
        while True:
            connection, _ = self._listener.accept()
            connection.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
            threading.Thread(target=self._serve, args=(connection,), daemon=True).start()

    def _serve(self, connection):
        held = 0
        while word := connection.recv(1):
            with self._lock:
                answer = b"X" if word == b"i" and self._inside else b"k"
                step = 1 if word == b"i" else -1
                held += step
                self._inside += step
            connection.sendall(answer)
        with self._lock:
            self._inside -= held
