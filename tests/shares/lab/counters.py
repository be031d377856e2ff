"""How many round trips to the file server a client has made."""

import re
from contextlib import contextmanager

from .kinds import MOUNT
from .wire import Wire


def _nfs_requests(machine):
    """As the client's kernel counts them. The lock manager of NFS 3 counts its own apart, and they are not in here."""
    text = machine.must("cat /proc/self/mountstats")
    mounted = text[text.index(f"mounted on {MOUNT} "):].split("\ndevice ", 1)[0]
    return {name: int(count) for name, count in re.findall(r"^\s+([A-Z_0-9]+): (\d+) \d+ \d+ \d+ \d+ \d+ \d+ \d+", mounted, re.M)}


class Sent:
    """What was sent while a `counted` block ran."""

    def __init__(self):
        self.by_kind = {}

    @property
    def total(self):
        return sum(self.by_kind.values())

    def most(self, per, number=6):
        """The commonest kinds of request, each divided by `per`."""
        ranked = sorted(self.by_kind.items(), key=lambda item: -item[1])[:number]
        return ", ".join(f"{name.lower()} {count / per:.1f}" for name, count in ranked if count)


@contextmanager
def counted(machine, kind):
    sent = Sent()
    if kind.is_smb:
        wire = Wire(machine.cable)
        yield sent
        sent.by_kind = wire.end()
        return
    before = _nfs_requests(machine)
    yield sent
    after = _nfs_requests(machine)
    sent.by_kind = {name: after[name] - before.get(name, 0) for name in after if after[name] > before.get(name, 0)}
