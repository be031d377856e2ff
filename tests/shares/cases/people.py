"""Users who keep their files to themselves, a server that trusts no root, and a client on the server's own disk."""

from lab.kinds import MOUNT, SQUASHED
from lab.witness import Witness

from . import CONFIG, STORE, TVL, Case, new_store
from .exclusion import begin_contenders, judge


def as_user(user, command):
    """`command` as a user whose umask shuts everybody else out; it has no single quotes."""
    return f"runuser -u {user} -- sh -c 'umask 077; cd /tmp; {command}'"


STEPS = (  # computer, user, command, its status
    ("alpha", "ann", f"tvl init --shared team {STORE}", 0),
    ("alpha", "ann", "mkdir -p /tmp/ann/docs && echo one > /tmp/ann/docs/a.txt", 0),
    ("beta", "bob", "mkdir -p /tmp/bob", 0),
    ("alpha", "ann", f"{TVL} --work /tmp/ann put -r docs", 0),
    ("beta", "bob", f"{TVL} --work /tmp/bob get docs/a.txt && grep -q one /tmp/bob/docs/a.txt", 0),
    ("beta", "bob", f"echo two > /tmp/bob/docs/a.txt && {TVL} --work /tmp/bob put docs/a.txt", 0),
    ("alpha", "ann", f"{TVL} --work /tmp/ann get docs/a.txt && grep -q two /tmp/ann/docs/a.txt", 0),
    ("beta", "bob", f"{TVL} env set FROM_BOB 1", 0),
    ("alpha", "ann", f"{TVL} env set FROM_ANN 1 && {TVL} env get FROM_BOB", 0),
    ("alpha", "ann", f"{TVL} table create data.dat --key1 8 --record 8", 0),
    ("beta", "bob", f"{TVL} table info data.dat", 0),
    ("alpha", "ann", f"{TVL} lock job -- true", 0),
    ("beta", "bob", f"{TVL} lock job -- true", 0),
    ("beta", "bob", f"{TVL} rm -r docs", 0),
)


def _steps(context, result):
    for machine in context.fleet.clients:
        machine.run("rm -rf /tmp/ann /tmp/bob")
    for name, user, command, status in STEPS:
        done = context.fleet[name].run(as_user(user, command), 120)
        result.expect(done.status == status, f"{user} on {name}: status {done.status} of: {command}: {done.output[-300:].strip()}")


def _locks(context, result):
    """A lock of ann's bars bob, and is his once her process was killed."""
    alpha, beta = context.fleet.clients
    owner = alpha.begin(as_user("ann", f"exec {TVL} lock job -- sh -c \"echo holds; sleep 300\""))
    if not result.expect(owner.wait_for("holds", 60), f"ann got no lock: {owner.output[-300:]}"):
        return
    refused = beta.run(as_user("bob", f"{TVL} lock job -- true"))
    result.expect(refused.status == 4, f"bob: status {refused.status} while ann holds the lock: {refused.output[-300:].strip()}")
    alpha.run("pkill -KILL -x tvl")
    taken = beta.run(as_user("bob", f"{TVL} lock --wait 20 job -- true"))
    result.expect(taken.status == 0, f"bob: status {taken.status} after ann's death: {taken.output[-300:].strip()}")


def users(context, result):
    context.fleet.mount(context.kind)
    context.fleet.server.must(f"chgrp team {context.kind.folder}; chmod 2777 {context.kind.folder}")
    if context.kind.is_smb:
        _mount_as_themselves(context)
    _steps(context, result)
    _locks(context, result)


def _mount_as_themselves(context):
    """On SMB the account of the mount is what counts on the server."""
    for machine, user in zip(context.fleet.clients, ("ann", "bob")):
        own = context.kind.command.replace("user=ann", f"user={user},uid={user},gid=team,file_mode=0770,dir_mode=0770")
        machine.must(f"umount {MOUNT} && {own}")


def root_squash(context, result):
    """Like `users`, on an export with root_squash; root is refused and does no harm."""
    squashed = type(context)(context.fleet, SQUASHED, context.options)
    squashed.fleet.mount(SQUASHED)
    squashed.fleet.server.must("chgrp team /data/squash; chmod 2770 /data/squash")
    _steps(squashed, result)
    for command in (f"{TVL} lock job -- true", f"{TVL} env set FROM_ROOT 1", f"{TVL} rm tvl.ini"):
        done = squashed.fleet["alpha"].run(command, 60)
        result.expect(done.status not in (0, None), f"root: status {done.status} of: {command}: {done.output[-200:]}")
        result.figure(f"root: {done.status}")
    _locks(squashed, result)


def _configure_samba(server, edit):
    server.must(f"{edit} && smbcontrol smbd reload-config && sleep 1")


def server_disk(context, result):
    """A client on the file server itself, on the folder that is exported, next to one over the share."""
    if not context.kind.is_smb:
        return _fight_on_server_disk(context, result)
    server = context.fleet.server
    # With a lease on a file, a computer keeps its locks to itself.
    _configure_samba(server, "sed -i.bak '/^\\[smb\\]/a oplocks = no' /etc/samba/smb.conf")
    try:
        _fight_on_server_disk(context, result)
    finally:
        _configure_samba(server, "mv /etc/samba/smb.conf.bak /etc/samba/smb.conf")


def _fight_on_server_disk(context, result):
    new_store(context).must(f"{TVL} table create turns.dat --key1 32 --record 32")
    server, alpha = context.fleet.server, context.fleet["alpha"]
    server.must(f"mkdir -p {MOUNT}; mountpoint -q {MOUNT} && umount {MOUNT}; mount --bind {context.kind.folder} {MOUNT}")
    fighters = begin_contenders((server, alpha), context.options.seconds, Witness())
    for fighter in fighters:
        fighter.wait()
    judge(result, fighters, alpha.run(f"store_user list {CONFIG}"))
    server.run(f"umount {MOUNT}")


CASES = (Case("users", users), Case("root squash", root_squash, every_kind=False), Case("server's own disk", server_disk))
