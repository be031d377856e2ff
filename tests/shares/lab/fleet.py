"""The suite's machines as a set: made when first asked for, all gone with the suite's process namespace."""

from . import kinds, network
from .machine import Machine

SPECIFICATIONS = {  # number, role, MiB of memory, MiB of disk
    "server": (1, "server", 448, 4000),
    "alpha": (2, "client", 384, 0),
    "beta": (3, "client", 384, 0),
    "power": (4, "disk", 384, 1500),
}


class Fleet:
    def __init__(self, place):
        self._place = place
        self._machines = {}
        network.set_up()

    def __getitem__(self, name):
        """The machine of that name, running."""
        if name not in self._machines:
            number, role, memory, disk = SPECIFICATIONS[name]
            self._machines[name] = Machine(self._place, name, number, role, memory, disk, on_share=role != "disk")
        machine = self._machines[name]
        return machine if machine.runs else machine.start()

    @property
    def server(self):
        return self["server"]

    @property
    def clients(self):
        return self["alpha"], self["beta"]

    def restart(self, *names):
        """Boots machines again, with nothing left of what hung on them."""
        for name in names:
            self[name].switch_off()
        for name in names:
            self[name].plug()

    def mount(self, kind, *machines):
        """Mounts an emptied share on both clients, or on those that are named."""
        for machine in machines or self.clients:
            machine.plug()
            if not kinds.unmount(machine):
                self.restart(machine.name)
        self.server.must(f"find {kind.folder} -mindepth 1 -delete")
        for machine in machines or self.clients:
            kinds.mount(machine, kind)
