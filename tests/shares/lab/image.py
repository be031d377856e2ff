"""The root image that all machines boot from: Debian, the kernel's modules and our first process."""

import hashlib
import shutil
import subprocess
from pathlib import Path

PACKAGES = (
    "systemd-sysv udev kmod iproute2 ethtool procps util-linux netbase e2fsprogs zlib1g libstdc++6 python3-minimal python3 "
    "nfs-kernel-server nfs-common rpcbind samba cifs-utils keyutils rsync attr strace lsof psmisc"
).split()
MODULES = Path("/usr/lib/uml/modules")
GUEST = Path(__file__).resolve().parent.parent / "guest"
MOUNT_POINTS = ("overlay", "system", "lab", "export", "data", "store", "mnt/share", "opt/tvl")
SPARE_MIB = 256


def _run(*command, log=None):
    output = open(log, "w") if log else subprocess.DEVNULL
    subprocess.run(["nice", *map(str, command)], check=True, stdout=output, stderr=subprocess.STDOUT)


def _recipe():
    """Changes whenever an image made earlier no longer fits."""
    parts = [*PACKAGES, *(path.name for path in sorted(MODULES.iterdir())), (GUEST / "first").read_text()]
    return hashlib.sha256("\n".join(parts).encode()).hexdigest()


def _bootstrap(root, log):
    """Unpacks Debian into `root`; kept for later images, since it is the slow part."""
    stamp = root.with_suffix(".packages")
    if stamp.exists() and stamp.read_text() == " ".join(PACKAGES):
        return
    shutil.rmtree(root, ignore_errors=True)
    _run("debootstrap", "--variant=minbase", "--include=" + ",".join(PACKAGES), "bookworm", root, log=log)
    for archive in (root / "var/cache/apt/archives").glob("*.deb"):
        archive.unlink()
    stamp.write_text(" ".join(PACKAGES))


def _add_modules(root):
    target = root / "usr/lib/modules"
    shutil.rmtree(target, ignore_errors=True)
    shutil.copytree(MODULES, target, symlinks=True)
    for version in target.iterdir():
        _run("chroot", root, "depmod", version.name)


def build(folder):
    """Returns the image's path below `folder`; builds it unless an earlier run did."""
    folder.mkdir(parents=True, exist_ok=True)
    image, stamp = folder / "root.img", folder / "root.recipe"
    if image.exists() and stamp.exists() and stamp.read_text() == _recipe():
        return image
    print("Building the machines' root image; this takes some minutes, once", flush=True)
    root = folder / "root"
    _bootstrap(root, folder / "debootstrap.log")
    _add_modules(root)
    for name in MOUNT_POINTS:
        (root / name).mkdir(parents=True, exist_ok=True)
    shutil.copy(GUEST / "first", root / "first")
    (root / "first").chmod(0o755)
    used = subprocess.run(["du", "-sm", str(root)], check=True, capture_output=True, text=True).stdout
    image.unlink(missing_ok=True)
    _run("mkfs.ext4", "-q", "-O", "^has_journal", "-d", root, image, f"{int(used.split()[0]) + SPARE_MIB}M")
    stamp.write_text(_recipe())
    return image
