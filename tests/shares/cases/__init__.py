"""The suite's cases. Each is a function (context, result) that records failures."""

from dataclasses import dataclass
from typing import Callable

from lab.fleet import Fleet
from lab.kinds import MOUNT, Kind

STORE = f"{MOUNT}/store"
CONFIG = f"{STORE}/tvl.ini"
TVL = f"tvl --config {CONFIG}"


@dataclass(frozen=True)
class Context:
    fleet: Fleet
    kind: Kind | None  # None where the case makes its own mounts
    options: object


@dataclass(frozen=True)
class Case:
    name: str
    run: Callable
    every_kind: bool = True


def new_store(context, *machines):
    """An empty share on the clients, with a new store on it."""
    context.fleet.mount(context.kind, *machines)
    machine = machines[0] if machines else context.fleet["alpha"]
    machine.must(f"tvl init {STORE}")
    return machine
