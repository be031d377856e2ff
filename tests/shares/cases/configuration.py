"""Writes to tvl.ini and to transfer targets that a program on the same computer keeps open."""

import re

from . import CONFIG, STORE, TVL, Case, new_store

KEEP_OPEN = "python3 -uc \"import sys, time; f = open(sys.argv[1]); f.read(1); print('open'); time.sleep(float(sys.argv[2]))\""
WRITES = 10


def values(context, result):
    """One value, another while the configuration is kept open for a moment and for long, then two writers on each computer."""
    alpha, beta = new_store(context), context.fleet["beta"]
    _set_and_get(result, alpha, beta, "plain")
    for name, seconds in (("open_for_3_s", 3), ("kept_open", 600)):
        reader = alpha.begin(f"{KEEP_OPEN} {CONFIG} {seconds}")
        reader.wait_for("open", 30)
        if context.kind.is_smb and seconds == 600:
            _set_while_refused(result, alpha, name, reader)
        else:
            _set_and_get(result, alpha, beta, name)
        reader.end()
    _four_writers(context, result)


def _set_while_refused(result, alpha, name, reader):
    """SMB loses a file that a rename is refused for: the new contents stay in the part, which the message names."""
    done = alpha.run(f"{TVL} env set {name} v", 60)
    result.expect(done.status == 1 and "tvlpart" in done.output, f"{name}: set: status {done.status}: {done.output.strip()}")
    result.figure(f"{name.replace('_', ' ')}: refused after {done.seconds:.1f} s")
    reader.end()
    part = f"{STORE}/.tvl.ini.tvlpart"
    moved = alpha.run(f"sleep 2; grep -q '^{name}=v' {part} && mv {part} {CONFIG}")
    result.expect(moved.status == 0, f"{name}: the part is not complete: {moved.output.strip()}")


def _set_and_get(result, alpha, beta, name):
    done = alpha.run(f"{TVL} env set {name} v", 60)
    result.expect(done.status == 0, f"{name}: set: status {done.status}: {done.output.strip()}")
    result.figure(f"{name.replace('_', ' ')}: {done.seconds:.1f} s")
    for machine in (alpha, beta):
        read = machine.run(f"{TVL} env get {name}", 60)
        result.expect(read.output.splitlines()[-1:] == ["v"], f"{name}: get on {machine.name}: {read.output.strip()}")


def _four_writers(context, result):
    alpha, beta = context.fleet.clients
    writers = [machine.begin(f"for i in $(seq {WRITES}); do {TVL} env set {machine.name}{number}_$i $i || echo refused; done", 300)
               for machine in (alpha, beta) for number in (1, 2)]
    lines = [line for writer in writers for line in writer.wait().output.splitlines()]
    refused = lines.count("refused")
    why = sorted({line for line in lines if line.startswith("tvl: env set")})
    present = alpha.run(f"grep -cE '^(alpha|beta)[12]_' {CONFIG}").output.strip()
    result.expect(refused == 0, f"{refused} of {4 * WRITES} values refused: {why[:3]}")
    result.expect(present == str(4 * WRITES), f"{present} of {4 * WRITES} values present")
    result.figure(f"{4 * WRITES} values by 4 writers: {max(writer.seconds for writer in writers):.1f} s")


def _take_named_part(result, machine, output, contents):
    """A refused rename may cost SMB the old file; the part that the message names has the new contents."""
    part = re.search(r"/\S*\.tvlpart", output)
    if part:
        stored = machine.run(f"cat {part.group()} && rm {part.group()}").output.strip()
        result.expect(stored == contents, f"{part.group()}: '{stored}', not '{contents}'")


def open_targets(context, result):
    """A put over a file that a program on the same computer keeps open: it succeeds, or fails and nothing is lost."""
    alpha = new_store(context)
    alpha.must("rm -rf /tmp/desk && mkdir /tmp/desk && echo old > /tmp/desk/a.txt")
    alpha.must(f"sed -i '/^\\[TavolisFileSystem/a SafeOnTransfert=2' {CONFIG} && {TVL} --work /tmp/desk put a.txt")
    for seconds, name in ((600, "kept open"), (3, "closed after 3 s")):
        reader = alpha.begin(f"{KEEP_OPEN} {STORE}/a.txt {seconds}")
        reader.wait_for("open", 30)
        alpha.must(f"echo '{name}' > /tmp/desk/a.txt")
        done = alpha.run(f"{TVL} --work /tmp/desk put a.txt", 60)
        stored = context.fleet.server.run(f"cat {context.kind.folder}/store/a.txt").output.strip()  # no cache between
        result.figure(f"{name}: status {done.status} after {done.seconds:.1f} s")
        result.expect(stored == (name if done.status == 0 else "old"),
                      f"{name}: put: status {done.status}, but the store has '{stored}': {done.output[-200:].strip()}")
        result.expect(done.status == 0 or seconds == 600, f"{name}: put: {done.output[-200:].strip()}")
        if context.kind.is_smb and done.status != 0:
            _take_named_part(result, alpha, done.output, name)
        reader.end()
    left = alpha.run(f"ls -A {STORE} | grep tvlpart")
    result.expect(not left.output, f"parts left: {left.output.strip()}")


CASES = (Case("values", values), Case("open targets", open_targets))
