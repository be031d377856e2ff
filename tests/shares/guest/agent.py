"""Runs commands for the suite: a connection for each, closed by the caller to end it.

In: one line of JSON with `command` and `seconds`. Out: lines of JSON, `text` as the command prints it, at last `status`.
"""

import json
import os
import signal
import socket
import subprocess
import threading

PORT = 7000


def kill(process):
    try:
        os.killpg(process.pid, signal.SIGKILL)
    except ProcessLookupError:
        pass


def shut(connection):
    """Ends the connection for both threads that use it."""
    try:
        connection.shutdown(socket.SHUT_RDWR)
    except OSError:
        pass


def end_with_caller(connection, process):
    try:
        connection.recv(1)
    except OSError:
        pass
    if process.poll() is None:
        kill(process)


def answer(connection):
    stream = connection.makefile("rw", encoding="utf-8", errors="replace", newline="\n")
    line = stream.readline()
    if not line:  # only asked whether the machine is up
        return
    request = json.loads(line)
    process = subprocess.Popen(["/bin/bash", "-c", request["command"]], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                               stderr=subprocess.STDOUT, text=True, errors="replace", start_new_session=True)
    limit = threading.Timer(request["seconds"], kill, [process])
    limit.start()
    threading.Thread(target=end_with_caller, args=(connection, process), daemon=True).start()

    def send(**message):
        stream.write(json.dumps(message) + "\n")
        stream.flush()

    try:
        for line in process.stdout:
            send(text=line)
        send(status=process.wait())
    except OSError:
        kill(process)
    limit.cancel()
    shut(connection)


def main():
    listener = socket.create_server(("", PORT), backlog=64)
    while True:
        connection, _ = listener.accept()
        connection.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
        threading.Thread(target=answer, args=(connection,), daemon=True).start()


main()
