"""The status page in a browser: it goes live, shows what happens, and takes names of files for nothing but text."""

import argparse
import sys
import tempfile
import threading
import time
from contextlib import ExitStack
from pathlib import Path

from chromium import Chromium
from store import Client, Server, create_store, keep_going

HOSTILE = "<img src=x onerror=\"window.hacked='name'\">.txt"

LIVE = "document.getElementById('state').className === 'live'"


def cells(table):
    """Script: the texts of all cells of a table."""
    return f"[...document.querySelectorAll('#{table} td')].map((cell) => cell.textContent)"


def shows(table, text):
    return f"{cells(table)}.includes({text!r})"


def expect(holds, what):
    if not holds:
        raise AssertionError(what)


def shows_what_clients_do(browser, server):
    """Names are text, whatever is in them; rows come and go with what they are about."""
    browser.open(f"http://127.0.0.1:{server.status_port}/")
    browser.wait_for(LIVE, "the first event")
    browser.wait_for(shows("clients", "No clients are connected."), "an empty list of clients")
    client, other = Client(server, "pc1", "<b>ann"), Client(server, "pc2", "bob")
    client.begin_put(HOSTILE.encode(), b"x" * 30000)
    other.begin_put(b"b\xe4r\xe2\x80\xae")
    Client(server, "pc3", "eve", greet=False)
    browser.wait_for(shows("transfers", HOSTILE), "the hostile name as text")
    browser.wait_for(shows("transfers", "b\\xe4r\\xe2\\x80\\xae"), "a name that is not UTF-8")
    browser.wait_for(shows("clients", "pc1 / <b>ann"), "the hostile user as text")
    browser.wait_for(shows("refusals", "full"), "the refusal")
    other.close()
    browser.wait_for(f"!{shows('clients', 'pc2 / bob')}", "the end of a client")
    other = Client(server, "pc2", "bob")
    other.lock("ORD\u202e1")
    browser.wait_for(shows("locks", "ORD\\u202e1"), "a lock whose name changes the direction of text")
    browser.wait_for(shows("locks", "alive"), "a living owner")
    expect(browser.run("return document.querySelectorAll('img, b').length") == 0, "a name became an element")
    expect(browser.run("return window.hacked === undefined"), "a name was executed")
    expect(browser.messages() == [], "the browser complains")
    for ended in (client, other):
        ended.close()


def runs_no_script_of_others(browser, server):
    browser.open(f"http://127.0.0.1:{server.status_port}/")
    browser.run(
        "const script = document.createElement('script'); script.textContent = 'window.hacked = true';"
        "document.body.append(script);"
        "const image = document.createElement('img'); image.setAttribute('onerror', 'window.hacked = true');"
        "image.src = '/nothing'; document.body.append(image);"
    )
    browser.wait_for(LIVE, "the first event")
    expect(browser.run("return window.hacked === undefined"), "a script that is not the server's ran")
    complaints = browser.messages()
    expect(any("Content Security Policy" in complaint for complaint in complaints), f"no complaint: {complaints}")


def comes_back_with_the_server(browser, server):
    browser.open(f"http://127.0.0.1:{server.status_port}/")
    browser.wait_for(LIVE, "the first event")
    server.stop()
    browser.wait_for("document.getElementById('state').textContent === 'reconnecting'", "the end of the server")
    server.start(server.status_port)
    browser.wait_for(LIVE, "the next server")


CASES = (shows_what_clients_do, runs_no_script_of_others, comes_back_with_the_server)


def work_for_picture(server, stack):
    """Some clients at work until the stack is closed."""
    stop = threading.Event()
    people = [("pc7", "ann"), ("pc12", "bob"), ("lab-3", "carla"), ("pc9", "dario")]
    clients = [stack.enter_context(ended(Client(server, *names))) for names in people]
    for client, objects in zip(clients, (["ORD4711", "ORD4712"], ["drawings/bridge.dwg"], [], ["ORD4690"])):
        for name in objects:
            client.lock(name)
    (server.store / "maps.tar").write_bytes(bytes(400_000_000))
    clients[0].ask(b"Gmaps.tar\t@")
    clients[1].begin_put("drawings/Br\u00fccke.dwg".encode(), b"x" * 30000)
    threads = [
        keep_going(lambda: clients[0].ask(b"0"), 0.004, stop),
        keep_going(lambda: clients[1].ask(b"0" + b"x" * 30000), 0.03, stop),
    ]
    for names in (("pc40", "guest"), ("kiosk", "nobody")):
        stack.enter_context(ended(Client(server, *names, greet=False)))
    stack.callback(lambda: [thread.join() for thread in threads])
    stack.callback(stop.set)


class ended:
    """Closes a client at the end of a block."""

    def __init__(self, client):
        self.client = client

    def __enter__(self):
        return self.client

    def __exit__(self, *_):
        self.client.close()


def take_picture(browser, programs, folder, target):
    store = folder / "picture"
    create_store(programs, store)
    with ExitStack() as stack:
        dying = Server(programs, store, folder / "dying")
        dying.start()
        left = Client(dying, "pc31", "emil")
        left.lock("ORD4655")
        dying.kill()
        server = Server(programs, store, folder / "pictured", ["--max-clients", "4"])
        server.start()
        stack.callback(server.stop)
        work_for_picture(server, stack)
        browser.open(f"http://127.0.0.1:{server.status_port}/")
        browser.wait_for(shows("locks", "dead"), "the lock of a dead owner")
        browser.wait_for("document.querySelectorAll('#transfers tbody tr').length === 2", "the transfers")
        time.sleep(3)  # for rates of more than a moment
        target.write_bytes(browser.picture())


def run_case(case, browser, server):
    try:
        case(browser, server)
        print(f"-- {case.__name__}: passed", flush=True)
        return True
    except (AssertionError, RuntimeError, OSError) as failure:
        print(f"-- {case.__name__}: FAILED: {failure}", flush=True)
        return False


def main():
    parser = argparse.ArgumentParser(prog="scripts/test browser")
    parser.add_argument("--programs", type=Path, required=True, help=argparse.SUPPRESS)
    parser.add_argument("--picture", type=Path, metavar="FILE", help="also write a picture of the page")
    options = parser.parse_args()
    with tempfile.TemporaryDirectory() as scratch, ExitStack() as stack:
        folder = Path(scratch)
        create_store(options.programs, folder / "store")
        server = Server(options.programs, folder / "store", folder / "served", ["--max-clients", "2"])
        server.start()
        stack.callback(lambda: server.stop())
        browser = stack.enter_context(Chromium(folder / "profile"))
        results = [run_case(case, browser, server) for case in CASES]
        if options.picture:
            take_picture(browser, options.programs, folder, options.picture)
    return 0 if all(results) else 1


if __name__ == "__main__":
    sys.exit(main())
