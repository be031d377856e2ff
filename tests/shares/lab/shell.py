"""For investigating failures: sends commands to the machines from standard input, as `alpha ls /mnt/share`."""

import sys

from . import kinds
from .machine import Failed


def _turn(fleet, name, rest):
    if name == "mount":
        fleet.mount(kinds.KINDS[rest])
    elif rest in ("off", "plug", "unplug"):
        getattr(fleet[name], {"off": "switch_off"}.get(rest, rest))()
    else:
        done = fleet[name].run(rest)
        print(done.output, end="")
        print(f"[{done.status}, {done.seconds:.2f} s]", flush=True)


def serve(fleet):
    print("mount KIND | MACHINE COMMAND | MACHINE off | MACHINE plug | MACHINE unplug", flush=True)
    for line in sys.stdin:
        name, _, rest = line.strip().partition(" ")
        try:
            if name:
                _turn(fleet, name, rest)
        except (Failed, KeyError, OSError) as failure:
            print(f"failed: {failure!r}", flush=True)
