"""The kinds of share, by name, and how a client mounts them with default options."""

from dataclasses import dataclass

MOUNT = "/mnt/share"
SERVER = "10.9.0.1"


@dataclass(frozen=True)
class Kind:
    name: str
    folder: str  # on the server's own disk
    command: str  # mounts the share at MOUNT

    @property
    def is_smb(self):
        return "cifs" in self.command


def _nfs(name, options, folder="/data/nfs"):
    exported = folder.removeprefix("/data") if "vers=4" in options else folder
    return Kind(name, folder, f"mount -t nfs -o {options} {SERVER}:{exported} {MOUNT}")


def _smb(name, options=""):
    return Kind(name, "/data/smb", f"mount -t cifs -o user=ann,pass=secret,vers=3.1.1{options} //{SERVER}/smb {MOUNT}")


KINDS = {kind.name: kind for kind in (_nfs("nfs4.2", "vers=4.2"), _nfs("nfs3", "vers=3"), _smb("smb"))}

# Mounts that doctor has to judge: its status, and a part of its remedy.
UNSAFE = {
    "nfs3 nolock": (_nfs("nfs3", "vers=3,nolock"), 1, "without the option"),
    "nfs3 local_lock=posix": (_nfs("nfs3", "vers=3,local_lock=posix"), 1, "local_lock=none"),
    "nfs4.2 soft": (_nfs("nfs4.2", "vers=4.2,soft"), 0, "with the option hard"),
    "smb nobrl": (_smb("smb", ",nobrl"), 1, "without the option nobrl"),
    "smb cache=loose": (_smb("smb", ",cache=loose"), 1, "cache=strict"),
    "smb noserverino": (_smb("smb", ",noserverino"), 0, "with the option serverino"),
}
SQUASHED = _nfs("nfs4.2 root_squash", "vers=4.2", "/data/squash")


def mount(machine, kind):
    unmount(machine)
    machine.must(kind.command, 90)


def unmount(machine):
    """Returns whether nothing is mounted any more."""
    done = machine.run(f"cd /; pkill -KILL -x tvl; while mountpoint -q {MOUNT}; do umount {MOUNT} || umount -l {MOUNT}; done", 60)
    return done.status == 0
