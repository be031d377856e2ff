"""Headless Chromium, driven over the WebDriver protocol."""

import base64
import json
import socket
import subprocess
import time
import urllib.error
import urllib.request

PATIENCE = 20
TRIES = 20
FLAGS = (
    "--headless=new", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run", "--disable-background-networking",
    "--disable-component-update", "--disable-sync", "--disable-dev-shm-usage", "--no-proxy-server", "--hide-scrollbars",
    "--lang=en-GB",
)


def start_driver():
    """The driver and its port. With port 0 it would pick one that is free for IPv6 only, and need it for IPv4 too."""
    for _ in range(TRIES):
        with socket.create_server(("127.0.0.1", 0)) as free:
            port = free.getsockname()[1]
        driver = subprocess.Popen(
            ["chromedriver", f"--port={port}"], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True
        )
        if any("started successfully" in line for line in driver.stdout):
            return driver, port
        driver.wait()
    raise RuntimeError("chromedriver does not start")


class Chromium:
    """A browser with a profile of its own in `folder`."""

    def __init__(self, folder, size=(1280, 1090)):
        self.driver, port = start_driver()
        self.url = f"http://127.0.0.1:{port}/session"
        options = {"args": [*FLAGS, f"--user-data-dir={folder}", "--window-size={},{}".format(*size)]}
        capabilities = {"goog:chromeOptions": options, "goog:loggingPrefs": {"browser": "ALL"}}
        session = self.call("POST", "", {"capabilities": {"alwaysMatch": capabilities}})
        self.url += "/" + session["sessionId"]

    def __enter__(self):
        return self

    def __exit__(self, *_):
        try:
            self.call("DELETE", "")
        finally:
            self.driver.terminate()
            self.driver.wait()

    def call(self, method, path, body=None):
        data = None if method != "POST" else json.dumps(body or {}).encode()
        request = urllib.request.Request(self.url + path, data, {"Content-Type": "application/json"}, method=method)
        try:
            with urllib.request.urlopen(request, timeout=60) as answer:
                return json.load(answer)["value"]
        except urllib.error.HTTPError as problem:
            raise RuntimeError(json.load(problem)["value"]["message"]) from problem

    def open(self, url):
        self.call("POST", "/url", {"url": url})

    def run(self, script):
        """What the script returns, as the body of a function."""
        return self.call("POST", "/execute/sync", {"script": script, "args": []})

    def wait_for(self, script, what):
        """Waits until the script, an expression, is true."""
        end = time.monotonic() + PATIENCE
        while not self.run(f"return Boolean({script})"):
            if time.monotonic() > end:
                raise AssertionError(f"{what}: never came; the page is:\n{self.run('return document.body.innerText')}")
            time.sleep(0.05)

    def messages(self):
        """What the browser has complained about since the last call."""
        return [entry["message"] for entry in self.call("POST", "/se/log", {"type": "browser"})]

    def picture(self):
        return base64.b64decode(self.call("GET", "/screenshot"))
