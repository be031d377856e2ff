"""What `tvl doctor` says of mounts that lose locks, and of two computers on a sound one."""

from lab import kinds

from . import STORE, Case, new_store


def doctor_peer(context, result):
    """Its two halves, one on each computer, that meet under one name."""
    new_store(context)
    machines = context.fleet.clients
    halves = [machine.begin(f"tvl doctor --peer suite {STORE}", 180) for machine in machines]
    for machine, half in zip(machines, halves):
        half.wait()
        result.expect(half.status == 0, f"{machine.name}: status {half.status}: {half.output[-1500:].strip()}")
    result.figure(f"{max(half.seconds for half in halves):.1f} s")


def doctor_verdicts(context, result):
    """Each unsafe mount is refused, each doubtful one accepted with a warning, in a line that names the option."""
    alpha = context.fleet["alpha"]
    for name, (kind, status, word) in kinds.UNSAFE.items():
        context.fleet.mount(kind, alpha)
        alpha.must(f"mkdir {STORE}")
        done = alpha.run(f"tvl doctor {STORE}", 120)
        judged = done.status == status and word in done.output
        result.expect(judged, f"{name}: status {done.status}: {done.output[-600:].strip()}")
        result.figure(f"{name}: {'refused' if done.status == 1 else 'accepted'}")
    kinds.unmount(alpha)


CASES = (Case("doctor on two computers", doctor_peer), Case("doctor's verdicts", doctor_verdicts, every_kind=False))
