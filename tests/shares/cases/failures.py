"""The owner of a lock, its machine, its cable or the file server fails: when is the lock free, and when is the old owner notified."""

import time

from lab.machine import Failed

from . import CONFIG, TVL, Case, new_store

LEASE = 20  # seconds, as guest/server sets it
CABLE_OUT = LEASE + 13
PATIENCE = 150
# Work that prints when it starts and when it must end. If it prints neither, its machine was lost.
WORK = "sh -c 'trap \"echo stopped; exit 0\" TERM; echo holds; while :; do sleep 0.2; done'"


def begin_owner(machine, patience=PATIENCE):
    return machine.begin(f"{TVL} lock --wait {patience} job -- {WORK}; echo status $?", 900)


def must_hold(owner):
    if not owner.wait_for("holds", 120):
        raise Failed(f"no lock: {owner.output[-300:]}")
    return owner


def status_of(owner):
    """The status with which `tvl lock` ended, None while it runs."""
    return next((int(line.split()[1]) for line in owner.lines if line.startswith("status ")), None)


def judge_handover(result, old, new, event):
    """The new owner has the lock only after the old one's work has ended, and the old one is notified."""
    taken, stopped = new.when("holds"), old.when("stopped")
    old.wait_for("status", 60)
    if taken is None:
        result.figure("the lock stayed with its owner" if status_of(old) is None else f"owner ended with {status_of(old)}")
        result.expect(status_of(old) in (None, 5), f"owner ended with {status_of(old)}: {old.output[-300:]}")
        return
    result.figure(f"free after {taken - event:.1f} s")
    if result.expect(status_of(old) == 5, f"the old owner got status {status_of(old)}, not 5: {old.output[-300:]}"):
        result.figure(f"old owner notified after {old.when('status') - event:.1f} s")
    stopped = old.when("stopped") or old.when("status")
    if stopped is None or stopped > taken:
        result.expect(False, "both held the lock" + (f" for {stopped - taken:.1f} s" if stopped else ", without end"))


def owner_killed(context, result):
    new_store(context)
    alpha, beta = context.fleet.clients
    must_hold(begin_owner(alpha))
    event = time.monotonic()
    alpha.run("pkill -KILL -x tvl")
    done = beta.run(f"{TVL} lock --wait {PATIENCE} job -- true", PATIENCE + 100)
    result.expect(done.status == 0, f"status {done.status}: {done.output[-300:].strip()}")
    result.figure(f"free after {time.monotonic() - event:.1f} s")


def owner_off(context, result):
    """A server of NFS 3 knows no lease: it frees the lock once the owner's machine has booted again."""
    new_store(context)
    alpha, beta = context.fleet.clients
    must_hold(begin_owner(alpha))
    event = time.monotonic()
    alpha.switch_off()
    new = begin_owner(beta)
    if context.kind.name == "nfs3":
        result.expect(not new.wait_for("holds", 40), "the lock was free before its machine was back")
        back = time.monotonic()
        context.fleet["alpha"].plug()
        if result.expect(new.wait_for("holds", 100), f"not free after the owner's machine is back: {new.output[-300:]}"):
            result.figure(f"free {new.when('holds') - back:.1f} s after the machine was switched on again")
    elif result.expect(new.wait_for("holds", PATIENCE), f"not free after {PATIENCE} s: {new.output[-300:]}"):
        result.figure(f"free after {new.when('holds') - event:.1f} s")
    new.end()
    context.fleet.restart("alpha")


def cable_out(context, result):
    """Another client starts to lock other objects meanwhile, so the server may have to take back leases of the owner's machine."""
    new_store(context)
    alpha, beta = context.fleet.clients
    old = must_hold(begin_owner(alpha))
    event = time.monotonic()
    alpha.unplug()
    busy = beta.begin(f"store_user turns {CONFIG} 50", 200)
    new = begin_owner(beta, CABLE_OUT + 30)
    time.sleep(CABLE_OUT)
    alpha.plug()
    new.wait_for("holds", 60)
    judge_handover(result, old, new, event)
    result.expect(busy.wait().status == 0, f"another client: status {busy.status}: {busy.output[-300:].strip()}")
    _check_cured(context, result, alpha)
    for command in (old, new):
        command.end()
    context.fleet.restart("alpha", "beta")


def _check_cured(context, result, machine):
    """A new process on the machine that lost its lease works with the store again."""
    done = machine.run(f"{TVL} lock --wait 20 other -- true", 120)
    result.expect(done.status == 0, f"a new process after the failure: status {done.status}: {done.output[-300:].strip()}")


def server_rebooted(context, result):
    new_store(context)
    alpha, beta = context.fleet.clients
    old = must_hold(begin_owner(alpha))
    event = time.monotonic()
    context.fleet.server.switch_off()
    _check_patience(result, beta)
    new = begin_owner(beta)
    context.fleet.server.run("true")
    result.figure(f"server back after {time.monotonic() - event:.1f} s")
    _check_cured(context, result, beta)
    result.figure(f"first lock after {time.monotonic() - event:.1f} s")
    new.wait_for("holds", 30)
    judge_handover(result, old, new, event)
    for command in (old, new):
        command.end()
    context.fleet.restart("alpha", "beta")


def _check_patience(result, machine):
    """A call that is blocked in the kernel: `--timeout` ends the command, and before that it says what it waits for."""
    done = machine.begin(f"tvl --timeout 6{TVL.removeprefix('tvl')} lock third -- true", 300)
    if result.expect(done.wait_for("wait", 5), "no word after 5 s of what a blocked command waits for"):
        result.figure(f"says what it waits for after {done.when('wait') - done.began:.1f} s")
    try:
        done.wait(30)
        result.expect(done.status == 5, f"--timeout: status {done.status}: {done.output[-200:].strip()}")
        result.figure(f"--timeout 6 ends after {done.seconds:.1f} s")
    except Failed:
        result.expect(False, "--timeout 6 has not ended a command after 30 s")
        done.end()


CASES = (
    Case("owner killed", owner_killed),
    Case("owner's machine off", owner_off),
    Case("owner's cable out", cable_out),
    Case("server rebooted", server_rebooted),
)
