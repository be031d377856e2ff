"""The machines' network: two bridges in the network namespace that this process runs in.

`share` carries file traffic and can be unplugged for each machine; `control` carries the suite's commands only.
"""

import subprocess

BRIDGES = {"share": "10.9.0.254", "control": "10.8.0.254"}


def ip(*words):
    subprocess.run(["ip", *words], check=True, capture_output=True, text=True)


def set_up():
    ip("link", "set", "lo", "up")
    for bridge, address in BRIDGES.items():
        ip("link", "add", bridge, "type", "bridge")
        ip("address", "add", f"{address}/24", "dev", bridge)
        ip("link", "set", bridge, "up")


def add_cable(tap, bridge):
    ip("tuntap", "add", "dev", tap, "mode", "tap")
    ip("link", "set", tap, "master", bridge)
    ip("link", "set", tap, "up")


def unplug(tap):
    """The device itself stays up, because a machine never uses a device again that went down."""
    ip("link", "set", tap, "nomaster")


def plug(tap):
    ip("link", "set", tap, "master", "share")


def set_delay(tap, milliseconds):
    """Delays what the machine receives. Zero removes the delay."""
    subprocess.run(["tc", "qdisc", "del", "dev", tap, "root"], capture_output=True)
    if milliseconds:
        subprocess.run(["tc", "qdisc", "add", "dev", tap, "root", "netem", "delay", f"{milliseconds}ms"], check=True)
